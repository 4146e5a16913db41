// Sections, CSS-like blocks and URL arguments: what is read, where faults lie, and that what the writer makes
// is read back.

#include "tests/support/leak_check.h"
#include "tests/xp/plist/random_tree.h"
#include "xp/plist/checksum.h"
#include "xp/plist/css.h"
#include "xp/plist/ini.h"
#include "xp/plist/plist.h"

namespace {

using text_forms = leak_check;

// A text as its tree in JSON, or as the place of its fault and the reason.
std::string read(int32_t style, std::string_view text) {
  xp_plist_fault fault{};
  const xp::ref list =
      xp::ref::adopt(xp_plist_read(text.data(), static_cast<int64_t>(text.size()), style, &fault));
  if (!list) return std::to_string(fault.offset) + " " + fault.reason;
  return text_of(xp::ref::adopt(xp_plist_get(list.get(), nullptr)).get());
}

struct example {
  std::string_view text;
  std::string_view result;
};

void expect_all(int32_t style, std::initializer_list<example> examples) {
  for (const example &each : examples)
    EXPECT_EQ(read(style, each.text), each.result) << each.text;
}

TEST_F(text_forms, sections) {
  expect_all(XP_PLIST_SECTIONS,
             {{"", "{}"},
              {"\xEF\xBB\xBF; c\n # d\ra = 1 \r\n\n[s]\nb=2;#\n[ t ] # c\n[S],\nB = 3 ,\nc=,",
               R"({"a":"1","s":{"b":"3","c":""},"t":{}})"},
              {"a=C:\\d=e f\nb='x'\nc=x,,", R"({"a":"C:\\d=e f","b":"'x'","c":"x,"})"},
              {"\"a=\"\"\n\" = \" b \"\"\n\" ,\nc=\"\"", "{\"a=\"\n\":\" b \\\"\\n\",\"c\":\"\"}"},
              {"a=\"b\" c\nd=\"e\n\"f=g\"h\n", R"({""f":"g\"h","a":"\"b\" c","d":"\"e"})"},
              {"[s]\na=1\n[\"s\"]=2,\nb=3", R"({"b":"3","s":"2"})"},
              {"a=1\nb", "4 a line without an equals sign"},
              {"\"a=b\"", R"({""a":"b\""})"},
              {"a=1\n =2", "5 a value without a name"},
              {"[]", "0 a section without a name"},
              {"a=\n[s\n]", "3 a section's name without its end"},
              {"[s] a=1", "4 text behind a section's name"}});
}

TEST_F(text_forms, css) {
  expect_all(XP_PLIST_CSS, {{" ;/**/ ", "{}"},
                            {"\xEF\xBB\xBF"
                             "a , b/* c */{/*{*/ x : 1px solid/*;*/ red /* d */ ;;y:a:b}",
                             R"({"a , b":{"x":"1px solid/*;*/ red","y":"a:b"}})"},
                            {"a:hover{b:{c{}d:1}e f: {g:2}}h:3",
                             R"({"a:hover":{"b":{"c":{},"d":"1"},"e f":{"g":"2"}},"h":"3"})"},
                            {"a{b:1;c:2}A{B:3;d:}c:1;c{}", R"({"a":{"b":"3","c":"2","d":""},"c":{}})"},
                            {R"("a:{"{"b;":"c}""";d:url(";") 'e;f:it's})",
                             R"({"a:{":{"b;":"c}\"","d":"url(\";\") 'e","f":"it's"}})"},
                            {"@import \"x;\";@a:1;@b{c:2}", R"({"@a":"1","@b":{"c":"2"}})"},
                            {"a{b:1", "5 a block without its end"},
                            {"a{}}", "3 a brace that closes nothing"},
                            {"a{b\"c", "3 a quote without its end"},
                            {"a{b:/*}", "4 a comment without its end"},
                            {"a{b;}", "2 a value without a colon"},
                            {"a{:b}", "2 a value without a name"},
                            {"a{{}", "2 a block without a name"}});
  const auto nested = [](size_t levels) {
    std::string text;
    for (size_t i = 0; i < levels; ++i)
      text += "a{";
    return text + std::string(levels, '}');
  };
  EXPECT_TRUE(read(XP_PLIST_CSS, nested(511)).starts_with("{\"a\":{\"a\":"));
  EXPECT_EQ(read(XP_PLIST_CSS, nested(512)), "1023 too many blocks inside each other");
}

TEST_F(text_forms, arguments) {
  expect_all(XP_PLIST_QUERY,
             {{"", "{}"},
              {" ?a=1&&b=x+y%2b%3D&=z&c&A=2&d=%zz\n", R"({"a":"2","b":"x y+=","c":"","d":"%zz"})"},
              {"%26=%C3%A4&??", R"({"&":"ä","??":""})"}});
}

// A parser tells what it meets, stops where its handler says so, and needs no handler.
TEST_F(text_forms, handlers_stop_the_parsers) {
  xp_plist_fault fault{};
  const auto stop_ini = [](xp_ini_event event, const xp_ini_node *, void *) -> int64_t { return event * 7; };
  EXPECT_EQ(xp_ini_parse("[a]\n b=1\n[c]=2", -1, stop_ini, nullptr, &fault), XP_INI_VALUE * 7);
  EXPECT_EQ(fault.offset, 5);
  const auto stop_css = [](xp_css_event event, const xp_css_node *, void *) -> int64_t {
    return event == XP_CSS_CLOSE ? 7 : 0;
  };
  EXPECT_EQ(xp_css_parse("a{b:1}c", -1, stop_css, nullptr, &fault), 7);
  EXPECT_EQ(fault.offset, 5);
  EXPECT_EQ(xp_ini_parse("[a]\nb", -1, nullptr, nullptr, &fault), -1);
  EXPECT_EQ(xp_css_parse("a{b:1}", -1, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(xp_plist_cssparser(XP_CSS_CLOSE, nullptr, nullptr), -1);
}

TEST_F(text_forms, what_a_style_can_hold_reads_back) {
  static constexpr std::string_view everything = "ifbdtusnAADD";
  const std::pair<int32_t, tree_shape> styles[] = {
      {XP_PLIST_XML, {.kinds = "ifbdsAADD"}},
      {XP_PLIST_SECTIONS, {.kinds = "sD", .levels = 2, .lowest_byte = 1}},
      {XP_PLIST_QUERY, {.kinds = "s", .levels = 1, .lowest_byte = 0}},
      {XP_PLIST_CSS, {.kinds = "sD", .levels = 6, .lowest_byte = 1}},
      {XP_PLIST_ITEMS, {.kinds = everything}},
      {XP_PLIST_ITEMS_INDENTED, {.kinds = everything}}};
  for (const auto &[style, shape] : styles) {
    random_trees trees(shape, 20261121);
    for (int i = 0; i < 400; ++i) {
      const xp::ref tree = trees.dict();
      const std::string text = taken(xp_plist_string(tree.get(), style, 1));
      xp_plist_fault fault{};
      const xp::ref list =
          xp::ref::adopt(xp_plist_read(text.data(), static_cast<int64_t>(text.size()), style, &fault));
      ASSERT_TRUE(list) << "seed 20261121, tree " << i << ", style " << style << ": " << fault.reason << "\n"
                        << text;
      const xp::ref root = xp::ref::adopt(xp_plist_get(list.get(), nullptr));
      const auto sum = [](const xp::ref &node) {
        return xp_plist_ichecksum(node.get(), &xp_plist_stylerecord(XP_PLIST_ITEMS), 0);
      };
      ASSERT_EQ(sum(root), sum(tree)) << "seed 20261121, tree " << i << ", style " << style << "\n" << text;
    }
  }
}

// XML stays well formed whatever strings and keys hold; what it has no characters for is replaced.
TEST_F(text_forms, xml_holds_any_bytes) {
  std::mt19937 random(20261121);
  for (int i = 0; i < 300; ++i) {
    std::string bytes(random() % 40, '\0');
    for (char &byte : bytes)
      byte = i % 2 == 0 ? static_cast<char>(random()) : "\xEF\xBF\xBE<&>]\"\r\x1F\xC3"[random() % 11];
    const xp::ref tree = xp::ref::adopt(xp_dict_new(0));
    xp_dict_store(tree.get(), ("k" + bytes).data(), static_cast<int64_t>(bytes.size() + 1), str(bytes).get());
    for (const int32_t style : {0, 6, 7}) {
      const std::string text = taken(xp_plist_string(tree.get(), style, 0));
      ASSERT_TRUE(read(style, text).starts_with("{\"k")) << "seed 20261121, bytes " << i << "\n" << text;
    }
  }
  EXPECT_EQ(read(0, taken(xp_plist_string(
                        str(std::string_view("\0\x1F\t\xC3\xEF\xBF\xBF\xED\xA0\x80", 10)).get(), 0, 0))),
            "  \t?????");
}

}  // namespace
