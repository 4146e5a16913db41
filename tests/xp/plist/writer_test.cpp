#include "xp/plist/writer.h"

#include "tests/support/leak_check.h"
#include "tests/xp/plist/random_tree.h"
#include "xp/object/null.h"
#include "xp/plist/checksum.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <regex>

namespace {

using writer = leak_check;
using xp::ref;

std::string written(xp_obj *tree, int32_t style = XP_PLIST_JSON_BARE, int32_t nulls = 0) {
  return taken(xp_plist_string(tree, style, nulls));
}

// The text of a fresh value, which is released.
std::string written_new(xp_obj *value, int32_t style = XP_PLIST_JSON_BARE) {
  return written(ref::adopt(value).get(), style);
}

// Every kind of node, and texts that need care.
ref sample() {
  ref root = tree(R"({"n":null,"r":1e30,"v":[],
                      "s":{"list":[1,null,false,{"k<&>\"":" x"}],"t":"a<b]]>\r\"\n"}})");
  xp_dict_adopt(root.get(), "d", 1, xp_data_new("ab\xFF", 3));
  xp_dict_adopt(root.get(), "e", 1, xp_date_make(1794712237));
  xp_dict_adopt(root.get(), "u", 1, xp_url_new("a?b", -1));
  return root;
}

TEST_F(writer, each_style) {
  const std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  const std::string text = "<![CDATA[a<b]]]]><![CDATA[>]]>&#13;<![CDATA[\"\n]]>";
  const std::string json =
      R"({"d":"YWL/","e":"2026-11-15T03:10:37.000Z","n":null,"r":1e+30,)"
      R"("s":{"list":[1,null,false,{"k<&>\"":" x"}],"t":"a<b]]>\n\"\n"},"u":"a?b","v":[]})";
  const std::string items =
      xml + R"(<item><field label="d" type="data">YWL/</field>)" +
      R"(<field label="e" type="date">2026-11-15T03:10:37.000Z</field><field label="n" />)" +
      R"(<field label="r" type="real">1e+30</field><field label="s"><item>)" +
      R"(<field label="list"><list><field type="long">1</field><field /><field type="false" />)" +
      R"(<item><field label="k&lt;&amp;&gt;\&quot;" type="text"> x</field></item></list></field>)" +
      R"(<field label="t" type="text">)" + text + R"(</field></item></field>)" +
      R"(<field label="u" type="link">a?b</field><field label="v"><list></list></field></item>)" + "\n";
  const std::pair<std::vector<int32_t>, std::string> styles[] = {
      {{0},
       xml +
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\"><dict>\n"
           "\t<key>d</key><data>YWL/</data>\n"
           "\t<key>e</key><string>2026-11-15T03:10:37.000Z</string>\n"
           "\t<key>r</key><real>1e+30</real>\n"
           "\t<key>s</key><dict>\n"
           "\t\t<key>list</key><array>\n"
           "\t\t\t<integer>1</integer>\n\t\t\t\n\t\t\t<false />\n\t\t\t<dict>\n"
           "\t\t\t\t<key>k&lt;&amp;&gt;\\&quot;</key><string> x</string>\n\t\t\t</dict>\n"
           "\t\t</array>\n"
           "\t\t<key>t</key><string>" +
           text +
           "</string>\n\t</dict>\n"
           "\t<key>u</key><string>a?b</string>\n"
           "\t<key>v</key><array>\n\t</array>\n"
           "</dict>\n</plist>\n"},
      {{1, 9, -1}, json + "\n"},
      {{8}, json},
      {{2},
       "{\n\t\"d\" : \"YWL/\",\n\t\"e\" : \"2026-11-15T03:10:37.000Z\",\n\t\"n\" : null,\n\t\"r\" : 1e+30,\n"
       "\t\"s\" : {\n"
       "\t\t\"list\" : [\n\t\t\t1,\t\t\tnull,\t\t\tfalse,\t\t\t{\n\t\t\t\t\"k<&>\\\"\" : \" x\"\n"
       "\t\t\t}\n\t\t],\n"
       "\t\t\"t\" : \"a<b]]>\\n\\\"\\n\"\n\t},\n\t\"u\" : \"a?b\",\n\t\"v\" : [\n\t]\n}\n"},
      {{3},
       "[d]=YWL/,\n[e]=2026-11-15T03:10:37.000Z,\n[r]=1e+30,\n[s]\n"
       R"(list="[1,null,false,{""k<&>\"""":"" x""}]",)"
       "\nt=\"a<b]]>\r\"\"\n\",\n[u]=a?b,\n[v]=\"[]\"\n"},
      {{4},
       "d=YWL%2F&e=2026-11-15T03%3A10%3A37.000Z&r=1e%2B30&s=%7B%22list%22%3A%5B1%2Cnull%2Cfalse%2C%7B%22"
       "k%3C%26%3E%5C%22%22%3A%22%20x%22%7D%5D%2C%22t%22%3A%22a%3Cb%5D%5D%3E%5Cn%5C%22%5Cn%22%7D&u=a%3Fb"
       "&v=%5B%5D"},
      {{5},
       "d:YWL/;\ne:2026-11-15T03:10:37.000Z;\nr:1e+30;\ns {\n"
       "\tlist:\"[1,null,false,{\"\"k<&>\\\"\"\"\":\"\" x\"\"}]\";\n"
       "\tt:\"a<b]]>\r\"\"\n\";\n}\nu:a?b;\nv:[];\n"},
      {{6}, items}};
  const ref tree = sample();
  for (const auto &[numbers, whole] : styles) {
    for (const int32_t style : numbers)
      EXPECT_EQ(written(tree.get(), style, 1), whole) << style;
  }
  // Style 7 is style 6 with line breaks and tabs around elements.
  const std::string indented = written(tree.get(), 7, 1);
  EXPECT_TRUE(
      indented.starts_with(xml + "<item>\n\t<field label=\"d\" type=\"data\">YWL/</field>\n\t<field"));
  EXPECT_EQ(std::regex_replace(indented, std::regex("\n\t*<"), "<"),
            std::regex_replace(items, std::regex("\n<"), "<"));
}

TEST_F(writer, values_at_the_top) {
  for (const auto &[style, text, real] :
       {std::tuple{0, "<string>a</string>\n</plist>\n", "<real>-inf</real>\n</plist>\n"},
        {1, "\"a\"\n", "null\n"},
        {3, "a\n", "-inf\n"},
        {4, "a", "-inf"},
        {5, "a;\n", "-inf;\n"},
        {6, "<field type=\"text\">a</field>\n", "<field type=\"real\">-inf</field>\n"}}) {
    EXPECT_TRUE(written(str("a").get(), style).ends_with(text)) << style;
    EXPECT_TRUE(written_new(xp_number_newfloat(-INFINITY), style).ends_with(real)) << style;
  }
  EXPECT_TRUE(written(nullptr, 0).ends_with("<plist version=\"1.0\">\n</plist>\n"));
  EXPECT_TRUE(written(nullptr, 7).ends_with("?>\n<field />\n"));
  EXPECT_EQ(written(nullptr, 1), "null\n");
  EXPECT_EQ(written(nullptr, 4), "");
}

int64_t append(void *context, const char *bytes, int64_t length) {
  static_cast<std::string *>(context)->append(bytes, static_cast<size_t>(length));
  return length;
}

// So many containers in each other.
ref nested(int levels, uint32_t type) {
  ref tree = ref::adopt(xp_array_new(0));
  while (--levels > 0) {
    ref outer = ref::adopt(type == xp_dict_type() ? xp_dict_new(0) : xp_array_new(0));
    xp_dict_store(outer.get(), "k", 1, tree.get());
    xp_array_insert(outer.get(), tree.get(), -1);
    tree = std::move(outer);
  }
  return tree;
}

TEST_F(writer, indentation_stops_at_64_tabs) {
  std::string expected;
  const auto tabs = [](int count) { return std::string(static_cast<size_t>(std::min(count, 64)), '\t'); };
  for (int i = 0; i < 66; ++i)
    expected += "[\n" + tabs(i + 1);
  expected += "[";
  for (int i = 66; i >= 0; --i)
    expected += "\n" + tabs(i) + "]";
  EXPECT_EQ(written(nested(67, xp_array_type()).get(), 2), expected + "\n");
}

// Whether there is a text, however it is asked for, and a checksum.
void expect_text(const ref &tree, bool has_text) {
  char byte;
  std::string streamed;
  for (int32_t style = 0; style < XP_PLIST_STYLES; ++style) {
    const int64_t length = xp_plist_stringify(tree.get(), style, 0, nullptr, 0);
    EXPECT_EQ(length > 0, has_text) << style;
    EXPECT_EQ(xp_plist_stringify(tree.get(), style, 0, &byte, 1), has_text ? 1 : -1) << style;
    EXPECT_EQ(xp_plist_streamify(tree.get(), style, 0, append, &streamed), has_text ? length : -1) << style;
    EXPECT_EQ(static_cast<bool>(ref::adopt(xp_plist_string(tree.get(), style, 0))), has_text) << style;
  }
  const ref list = ref::adopt(xp_plist_make(tree.get()));
  EXPECT_EQ(xp_plist_bookmark(list.get()) >= 0, has_text);
  EXPECT_EQ(xp_plist_modified(list.get()), has_text ? 0 : -1);
}

TEST_F(writer, levels_at_the_limit_and_past_it) {
  for (const uint32_t type : {xp_array_type(), xp_dict_type()}) {
    expect_text(nested(XP_PLIST_DEEPEST, type), true);
    for (const int levels : {XP_PLIST_DEEPEST + 1, 100'000})
      expect_text(nested(levels, type), false);
  }
  const ref inside_itself = ref::adopt(xp_array_new(0));
  for (int i = 0; i < 3; ++i)
    xp_array_insert(inside_itself.get(), inside_itself.get(), -1);
  expect_text(inside_itself, false);
  for (int i = 0; i < 3; ++i)
    xp_array_set(inside_itself.get(), nullptr, i);
}

TEST_F(writer, json_scalars) {
  for (const auto &[value, text] : {std::pair{xp_number_new(INT64_MIN), "-9223372036854775808"},
                                    {xp_number_newfloat(2.0), "2.0"},
                                    {xp_number_newfloat(std::numeric_limits<double>::denorm_min()), "5e-324"},
                                    {xp_number_newfloat(std::nan("")), "null"},
                                    {xp_date_make(0), "\"1970-01-01T00:00:00.000Z\""},
                                    {xp_new(xp_code("stmm"), 0), "null"},
                                    {xp_null_new(), "\"\""}})
    EXPECT_EQ(written_new(value), text);
  // Data is encoded in pieces; 193 bytes are one more than the first.
  EXPECT_EQ(written_new(xp_data_new(nullptr, 193)), "\"" + std::string(258, 'A') + "==\"");
  const ref array = tree("[]");
  xp_array_insert(array.get(), ref::adopt(xp_plist_make(tree("{}").get())).get(), -1);
  EXPECT_EQ(written(array.get()), R"(["{}\n"])") << "a list in a list is a text";
}

TEST_F(writer, keys_stand_in_byte_order_and_in_json_as_stored) {
  const ref dict = ref::adopt(xp_dict_new(0));
  for (const char *key : {"b", "B", "a", "ab", "\xC3\xA4", "1", "a\"\\"})
    xp_dict_store(dict.get(), key, -1, num(0).get());
  EXPECT_EQ(written(dict.get()), "{\"1\":0,\"B\":0,\"a\":0,\"a\"\\\":0,\"ab\":0,\"b\":0,\"\xC3\xA4\":0}");
}

TEST_F(writer, an_object_below_the_top_is_written_like_one_at_the_top) {
  const ref object = tree(R"({"a":null,"v":[]})");
  const xp_plist_style &style = xp_plist_stylerecord(XP_PLIST_JSON_INDENTED);
  char text[80];
  const int64_t length = xp_plist_itextify(object.get(), &style, XP_PLIST_NULLS, 2, text, sizeof text);
  EXPECT_EQ(length, xp_plist_itextify(object.get(), &style, XP_PLIST_NULLS, 2, nullptr, 0));
  EXPECT_EQ(std::string_view(text, static_cast<size_t>(length)),
            "{\n\t\t\t\"a\" : null,\n\t\t\t\"v\" : [\n\t\t\t]\n\t\t}");
  EXPECT_EQ(xp_plist_itextify(object.get(), nullptr, 0, 0, text, sizeof text), 0);
}

// Trees of everything, strings and keys of any bytes and all sizes around those of a window. Locked
// containers and large dictionaries are walked in other ways than the rest, and the records of compact JSON
// have a writer of their own: a copy of a record goes the way of all styles.
TEST_F(writer, every_way_to_write_gives_the_same_text) {
  random_trees trees({.kinds = "nifbtdussAADD", .lowest_byte = 0, .longest = 3000}, 20261121);
  for (int i = 0; i < 300; ++i) {
    const ref tree = trees.dict();
    for (int32_t style = 0; style < XP_PLIST_STYLES; ++style) {
      SCOPED_TRACE("seed 20261121, " + std::to_string(i) + ", style " + std::to_string(style));
      const std::string text = written(tree.get(), style, i % 2);
      const auto size = static_cast<int64_t>(text.size());
      const xp_plist_style copy = xp_plist_stylerecord(style);
      std::string plain(copy.document.before);
      xp_plist_istream(tree.get(), &copy, static_cast<uint32_t>(i % 2) * XP_PLIST_NULLS, 0, append, &plain);
      ASSERT_EQ(plain.append(copy.document.after), text);
      ASSERT_EQ(xp_plist_stringify(tree.get(), style, i % 2, nullptr, 0), size);
      std::string streamed;
      ASSERT_EQ(xp_plist_streamify(tree.get(), style, i % 2, append, &streamed), size);
      ASSERT_EQ(streamed, text);
      for (int64_t room : {int64_t{0}, size / 2, size - 1, size, size + 1}) {
        std::string buffer(text.size() + 2, '#');
        const int64_t fits = std::clamp<int64_t>(room, 0, size);
        ASSERT_EQ(xp_plist_stringify(tree.get(), style, i % 2, buffer.data(), room), fits);
        ASSERT_EQ(buffer, text.substr(0, static_cast<size_t>(fits)) +
                              std::string(buffer.size() - static_cast<size_t>(fits), '#'));
      }
    }
  }
}

TEST_F(writer, a_stream_stops_at_the_first_failure) {
  const ref long_text = str(std::string(10000, 'a'));
  int calls = 0;
  const auto refuse_second = [](void *context, const char *, int64_t length) -> int64_t {
    return ++*static_cast<int *>(context) == 2 ? -9 : length;
  };
  EXPECT_EQ(xp_plist_streamify(long_text.get(), 1, 0, refuse_second, &calls), -9);
  EXPECT_EQ(calls, 2);
}

}  // namespace
