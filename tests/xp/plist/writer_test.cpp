#include "xp/plist/writer.h"

#include "tests/support/leak_check.h"
#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/boolean.h"
#include "xp/object/null.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/plist.h"
#include "xp/service/data.h"
#include "xp/service/date.h"
#include "xp/string/string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace {

using writer = leak_check;

std::string text_of(xp_obj *string) {
  EXPECT_NE(string, nullptr);
  return {xp_str_getptr(string), static_cast<size_t>(xp_str_length(string))};
}

std::string written(xp_obj *tree, int32_t style = XP_PLIST_JSON_BARE, int32_t nulls = 0) {
  return text_of(xp::ref::adopt(xp_plist_string(tree, style, nulls)).get());
}

// The text of a fresh value, which is released.
std::string written_new(xp_obj *value) {
  return written(xp::ref::adopt(value).get());
}

std::string written_string(std::string_view text) {
  return written_new(xp_str_make(text.data(), static_cast<int64_t>(text.size())));
}

void put(const xp::ref &dict, std::string_view key, xp_obj *value) {
  ASSERT_EQ(xp_dict_adopt(dict.get(), key.data(), static_cast<int64_t>(key.size()), value), 0);
}

void add(const xp::ref &array, xp_obj *value) {
  xp_array_insert(array.get(), xp::ref::adopt(value).get(), -1);
}

xp::ref new_dict() {
  return xp::ref::adopt(xp_dict_new(0));
}
xp::ref new_array() {
  return xp::ref::adopt(xp_array_new(0));
}

// {"a": [true, 2, {"x": []}], "b": 1, "n": null}
xp::ref sample() {
  xp::ref inner = new_dict();
  put(inner, "x", xp_array_new(0));
  xp::ref array = new_array();
  add(array, xp_boolean_new(1));
  add(array, xp_number_new(2));
  add(array, inner.leak());
  xp::ref dict = new_dict();
  put(dict, "n", nullptr);
  put(dict, "b", xp_number_new(1));
  put(dict, "a", array.leak());
  return dict;
}

TEST_F(writer, styles) {
  const xp::ref tree = sample();
  const std::string compact = R"({"a":[true,2,{"x":[]}],"b":1})";
  EXPECT_EQ(written(tree.get(), 1), compact + "\n");
  EXPECT_EQ(written(tree.get(), 8), compact);
  EXPECT_EQ(written(tree.get(), 9), compact + "\n");
  EXPECT_EQ(written(tree.get(), -1), compact + "\n");
  EXPECT_EQ(written(tree.get(), 2),
            "{\n"
            "\t\"a\" : [\n"
            "\t\ttrue,\t\t2,\t\t{\n"
            "\t\t\t\"x\" : [\n"
            "\t\t\t]\n"
            "\t\t}\n"
            "\t],\n"
            "\t\"b\" : 1\n"
            "}\n");
}

TEST_F(writer, nulls) {
  const xp::ref tree = sample();
  EXPECT_EQ(written(tree.get(), 8, 1), R"({"a":[true,2,{"x":[]}],"b":1,"n":null})");
  const xp::ref array = new_array();
  xp_array_insert(array.get(), nullptr, -1);
  EXPECT_EQ(written(array.get()), "[null]");
  EXPECT_EQ(written(nullptr, 1), "null\n");
  const xp::ref list = xp::ref::adopt(xp_plist_make(tree.get()));
  xp_plist_setstyle(list.get(), XP_PLIST_JSON_BARE);
  xp_plist_setnulls(list.get(), 1);
  EXPECT_EQ(written(list.get(), 9, 0), R"({"a":[true,2,{"x":[]}],"b":1})") << "the argument wins";
  EXPECT_EQ(text_of(xp::ref::adopt(xp_str_coerce(list.get())).get()),
            R"({"a":[true,2,{"x":[]}],"b":1,"n":null})");
}

TEST_F(writer, indentation_stops_at_64_tabs) {
  xp::ref tree = new_array();
  for (int i = 0; i < 66; ++i) {
    xp::ref outer = new_array();
    add(outer, tree.leak());
    tree = std::move(outer);
  }
  std::string expected;
  const auto tabs = [](int count) { return std::string(static_cast<size_t>(std::min(count, 64)), '\t'); };
  for (int i = 0; i < 66; ++i)
    expected += "[\n" + tabs(i + 1);
  expected += "[";
  for (int i = 66; i >= 0; --i)
    expected += "\n" + tabs(i) + "]";
  EXPECT_EQ(written(tree.get(), 2), expected + "\n");
}

TEST_F(writer, strings) {
  EXPECT_EQ(written_string(""), "\"\"");
  EXPECT_EQ(written_string("plain text, longer than eight bytes /'\x7f"),
            "\"plain text, longer than eight bytes /'\x7f\"");
  EXPECT_EQ(written_string("a\"b\\c"), R"("a\"b\\c")");
  EXPECT_EQ(written_string("\t\n\r\r\n\x01\x1f."), R"("\t\n\n\n  .")");
  EXPECT_EQ(written_string({"a\0b", 3}), "\"a b\"");
  EXPECT_EQ(written_string("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"),
            "\"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\"");
  // What is not UTF-8 cannot take the closing quote, or an escape's backslash, into a character.
  EXPECT_EQ(written_string("\xC3\""), "\"?\\\"\"");
  EXPECT_EQ(written_string("\xC3"), "\"?\"");
  EXPECT_EQ(written_string("12345678\xF0\x9F\x98"), "\"12345678???\"");
  EXPECT_EQ(written_string("\xED\xA0\x80\xC0\xAF"), "\"?????\"");
  // A special byte is seen at every place of the eight that are looked at together.
  for (size_t at = 0; at < 17; ++at) {
    std::string text(17, 'x');
    text[at] = '"';
    std::string expected = "\"" + text + "\"";
    expected.insert(at + 1, 1, '\\');
    EXPECT_EQ(written_string(text), expected);
  }
}

TEST_F(writer, scalars) {
  EXPECT_EQ(written_new(xp_number_new(INT64_MIN)), "-9223372036854775808");
  EXPECT_EQ(written_new(xp_number_newfloat(2.0)), "2.0");
  EXPECT_EQ(written_new(xp_number_newfloat(-0.1)), "-0.1");
  EXPECT_EQ(written_new(xp_number_newfloat(std::numeric_limits<double>::denorm_min())), "5e-324");
  EXPECT_EQ(written_new(xp_number_newfloat(std::numeric_limits<double>::infinity())), "null");
  EXPECT_EQ(written_new(xp_number_newfloat(std::nan(""))), "null");
  EXPECT_EQ(written_new(xp_boolean_new(0)), "false");
  EXPECT_EQ(written_new(xp_date_make(1794712237)), "\"2026-11-15T03:10:37.000Z\"");
  EXPECT_EQ(written_new(xp_date_make(0)), "\"1970-01-01T00:00:00.000Z\"");
  EXPECT_EQ(written_new(xp_data_new("ab\xFF", 3)), "\"YWL/\"");
  EXPECT_EQ(written_new(xp_data_new(nullptr, 0)), "\"\"");
  // Data is encoded in pieces; 193 bytes are one more than the first.
  EXPECT_EQ(written_new(xp_data_new(nullptr, 193)), "\"" + std::string(258, 'A') + "==\"");
  EXPECT_EQ(written_new(xp_new(xp_code("stmm"), 0)), "null");
  EXPECT_EQ(written_new(xp_null_new()), "\"\"");
  const xp::ref inner = sample();
  EXPECT_EQ(written_new(xp_array_new(0)), "[]");
  const xp::ref array = new_array();
  add(array, xp_plist_make(inner.get()));
  EXPECT_EQ(written(array.get()), R"(["{\"a\":[true,2,{\"x\":[]}],\"b\":1}\n"])");
}

TEST_F(writer, keys_stand_in_byte_order_and_as_stored) {
  const xp::ref dict = new_dict();
  for (const char *key : {"b", "B", "a", "ab", "\xC3\xA4", "1", "a\"\\"})
    put(dict, key, xp_number_new(0));
  EXPECT_EQ(written(dict.get()), "{\"1\":0,\"B\":0,\"a\":0,\"a\"\\\":0,\"ab\":0,\"b\":0,\"\xC3\xA4\":0}");
}

TEST_F(writer, an_object_below_the_top_is_written_like_one_at_the_top) {
  const xp::ref tree = sample();
  const xp_plist_style &style = xp_plist_stylerecord(XP_PLIST_JSON_INDENTED);
  char text[200];
  const int64_t length = xp_plist_itextify(tree.get(), &style, XP_PLIST_NULLS, 2, text, sizeof text);
  EXPECT_EQ(length, xp_plist_itextify(tree.get(), &style, XP_PLIST_NULLS, 2, nullptr, 0));
  const std::string_view written(text, static_cast<size_t>(length));
  EXPECT_TRUE(written.starts_with("{\n\t\t\t\"a\" : [\n\t\t\t\ttrue,"));
  EXPECT_TRUE(written.ends_with("\t\t\t\"n\" : null\n\t\t}"));
  EXPECT_EQ(xp_plist_itextify(tree.get(), nullptr, 0, 0, text, sizeof text), 0);
}

// A random tree: every type, strings with every byte.
class forest {
public:
  explicit forest(unsigned seed) : random_(seed) {}

  xp_obj *tree(int depth) {
    switch (random_() % (depth > 0 ? 9 : 7)) {
      case 0: return nullptr;
      case 1: return xp_boolean_new(static_cast<int64_t>(random_() % 2));
      case 2: return xp_number_new(static_cast<int64_t>(random_()) << random_() % 33);
      case 3:
        return xp_number_newfloat(
            std::ldexp(static_cast<double>(random_()), static_cast<int>(random_() % 200) - 100));
      case 4: return xp_data_new(bytes(400).data(), static_cast<int64_t>(last_.size()));
      case 5: return xp_date_make(static_cast<int64_t>(random_()));
      case 6: return xp_str_make(bytes(700).data(), static_cast<int64_t>(last_.size()));
      case 7: return array(depth);
      default: return dict(depth);
    }
  }

private:
  const std::string &bytes(unsigned most) {
    last_.resize(random_() % most);
    const bool plain = random_() % 2 == 0;
    for (char &byte : last_)
      byte = static_cast<char>(plain ? 'a' + random_() % 26 : random_());
    return last_;
  }

  xp_obj *array(int depth) {
    xp::ref result = new_array();
    for (unsigned i = random_() % 8; i > 0; --i)
      add(result, tree(depth - 1));
    return result.leak();
  }

  xp_obj *dict(int depth) {
    xp::ref result = new_dict();
    for (unsigned i = random_() % 8; i > 0; --i)
      put(result, "k" + std::to_string(random_()), tree(depth - 1));
    return result.leak();
  }

  std::mt19937 random_;
  std::string last_;
};

int64_t append(void *context, const char *bytes, int64_t length) {
  static_cast<std::string *>(context)->append(bytes, static_cast<size_t>(length));
  return length;
}

TEST_F(writer, every_way_to_write_gives_the_same_text) {
  forest trees(20260115);
  for (int i = 0; i < 300; ++i) {
    const xp::ref tree = xp::ref::adopt(trees.tree(5));
    for (int32_t style : {1, 2, 8}) {
      const std::string text = written(tree.get(), style, i % 2);
      const auto size = static_cast<int64_t>(text.size());
      ASSERT_EQ(xp_plist_stringify(tree.get(), style, i % 2, nullptr, 0), size);
      std::string streamed;
      ASSERT_EQ(xp_plist_streamify(tree.get(), style, i % 2, append, &streamed), size);
      ASSERT_EQ(streamed, text);
      for (int64_t room : {int64_t{0}, size / 2, size - 1, size, size + 1}) {
        std::string buffer(static_cast<size_t>(size + 2), '#');
        const int64_t fits = std::max<int64_t>(0, std::min(room, size));
        ASSERT_EQ(xp_plist_stringify(tree.get(), style, i % 2, buffer.data(), room), fits);
        ASSERT_EQ(buffer.substr(0, static_cast<size_t>(fits)), text.substr(0, static_cast<size_t>(fits)));
        ASSERT_EQ(buffer.find_first_not_of('#', static_cast<size_t>(fits)), std::string::npos);
      }
    }
  }
}

TEST_F(writer, a_stream_stops_at_the_first_failure) {
  xp::ref tree = new_array();
  for (int i = 0; i < 2000; ++i)
    add(tree, xp_number_new(i));
  int calls = 0;
  const auto refuse_second = [](void *context, const char *, int64_t length) -> int64_t {
    return ++*static_cast<int *>(context) == 2 ? -9 : length;
  };
  EXPECT_EQ(xp_plist_streamify(tree.get(), 1, 0, refuse_second, &calls), -9);
  EXPECT_EQ(calls, 2);
}

}  // namespace
