#include "xp/plist/json.h"

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "xp/object/ref.h"
#include "xp/plist/json_tree.h"
#include "xp/plist/plist.h"
#include "xp/string/string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using json = leak_check;
using namespace std::string_view_literals;

std::string repeated(std::string_view text, int times) {
  std::string result;
  while (times-- > 0)
    result += text;
  return result;
}

std::string arrays(int depth) {
  return repeated("[", depth) + repeated("]", depth);
}

// `levels` objects in each other, under a key each; the innermost holds `inside`.
std::string objects(int levels, const std::string &inside) {
  return repeated("{\"k\":", levels - 1) + "{" + inside + "}" + repeated("}", levels - 1);
}

TEST_F(json, result_codes) {
  const std::pair<int64_t, std::vector<std::string>> cases[] = {
      {0,
       {"", " \t\r\n\x01\x80\xff", "{}", "{}[]{}", ",,[,]", "{,\"a\":1,,\"b\" :\n2,}", "{\"a\":1\"b\":2}",
        "{\"a\":}", "[truefalse]", "[1-2+3.e]", "\xEF\xBB\xBF[1]", arrays(32),
        repeated("[", 31) + "1" + repeated("]", 31), objects(16, ""),
        objects(16, "\"a\":"),                     // the 32nd node is the key
        "[" + repeated("{\"a\":1}", 100) + "]"}},  // places are given back
      {XP_JSON_TOO_DEEP, {arrays(33), repeated("[", 32) + "1" + repeated("]", 32), objects(16, "\"a\":1")}},
      {XP_JSON_NOT_OPEN, {"]", "[]]"}},
      {XP_JSON_TRUNCATED, {"[", "{\"a\":", "[\"abc", "[\"abc\\", "[\"abc\\\"]"}},
      {XP_JSON_BAD_TOKEN,
       {"tru", "[nul1]", "[truex]", "[+1]", "[\x7f]", "['a']", "[:]", "{\"a\"::1}", "{yes:1}"}},
      {XP_JSON_BAD_SYNTAX,
       {"5", "\"a\"", "{\"a\" 1}", "{\"a\",1}", "{\"a\":,1}", "{\"a\":1]", "{[", "{5:1}", "{\"a\"",
        "{\"a\\"}},
  };
  for (const auto &[code, texts] : cases) {
    for (const std::string &text : texts) {
      EXPECT_EQ(xp_json_parse(text.c_str(), nullptr, nullptr), code) << text;
      // Not terminated, and in a block of its own size, where a step too far is seen.
      const auto block = std::make_unique<char[]>(text.size());
      text.copy(block.get(), text.size());
      EXPECT_EQ(xp_json_parsetext(block.get(), std::ssize(text), nullptr, nullptr), code) << text;
    }
  }
  EXPECT_EQ(xp_json_parse(nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(xp_json_parsetext("[1]\0]", 5, nullptr, nullptr), 0) << "a zero byte ends the text";
}

// Writes each event down: its number, the node's kind and text, its key, the link and the parent's kind.
struct transcript {
  std::string lines;
  int64_t stop_at = -1;  // the event that returns 77
};

int64_t record(xp_json_event event, xp_json_node *node, void *context, int64_t link) {
  auto &log = *static_cast<transcript *>(context);
  const auto text = [](const xp_json_node *of) {
    return of->text == nullptr ? std::string("-") : std::string(of->text, static_cast<size_t>(of->length));
  };
  log.lines += std::to_string(event) + " " + std::to_string(node->kind) + " " + text(node);
  if (node->previous != nullptr) {
    EXPECT_EQ(link, static_cast<int64_t>(reinterpret_cast<intptr_t>(node->previous)));
    EXPECT_EQ(node->previous->parent, node->parent);
    log.lines += " key " + text(node->previous);
  } else {
    log.lines += " link " + std::to_string(link);
  }
  log.lines += node->parent == nullptr ? "\n" : " in " + std::to_string(node->parent->kind) + "\n";
  return --log.stop_at == -1 ? 77 : 0;
}

TEST_F(json, events_and_nodes) {
  const char *text = R"({"a\"b":[TRUE,"x\\",-1.5e3],"o":{"n":null,"f":false},"e":""})";
  const std::string lines =
      "1 0 - link 0\n"
      "1 1 - key a\\\"b in 0\n"
      "0 4 1 link 1 in 1\n"
      "0 2 x\\\\ link 1 in 1\n"
      "0 3 -1.5e3 link 1 in 1\n"
      "2 1 - key a\\\"b in 0\n"
      "1 0 - key o in 0\n"
      "0 5 - key n in 0\n"
      "0 4 0 key f in 0\n"
      "2 0 - key o in 0\n"
      "0 2  key e in 0\n"
      "2 0 - link 0\n";
  for (int64_t stop_at = -1; stop_at < 12; ++stop_at) {
    transcript log{.lines = {}, .stop_at = stop_at};
    EXPECT_EQ(xp_json_parse(text, record, &log), stop_at < 0 ? 0 : 77);
    EXPECT_EQ(log.lines, lines.substr(0, log.lines.size()));
    EXPECT_EQ(std::ranges::count(log.lines, '\n'), stop_at < 0 ? 12 : stop_at + 1);
  }
}

xp_json_node node_of(std::string_view text) {
  return {.parent = nullptr,
          .previous = nullptr,
          .kind = XP_JSON_NUMBER,
          .length = static_cast<int64_t>(text.size()),
          .text = text.data()};
}

TEST_F(json, node_values) {
  for (const auto &[text, value] : pairs_of(R"(
           >0 12>12 -3>0 12x4>12 1.9>1 0x1F>31 0XfFz>255 0x>0 0xg>0 x1>0 4K>4096 2M>2097152 3G>3221225472
           1KM>1024 4k>4 K>0 18446744073709551615>18446744073709551615 18446744073709551617>1)")) {
    const xp_json_node node = node_of(text);
    EXPECT_EQ(std::to_string(xp_json_nodevalue(&node)), value) << text;
  }
  EXPECT_EQ(xp_json_nodevalue(nullptr), 0U);
}

TEST_F(json, node_names) {
  const xp_json_node node = node_of("Name");
  xp_json_node empty = node_of("");
  expect({xp_json_nodenamed(&node, "nAME", 4), xp_json_nodenamed(&node, "name", -1),
          xp_json_nodenamed(&node, "names", 4), xp_json_nodenamed(&node, "names", 5),
          xp_json_nodenamed(&node, "nam", 3), xp_json_nodenamed(nullptr, "name", 4),
          xp_json_nodenamed(&empty, "", 0)},
         "1 1 1 0 0 0 1");
  empty.kind = XP_JSON_NULL;
  EXPECT_EQ(xp_json_nodenamed(&empty, "", 0), 0);
}

// The text of the tree of a text, with nulls; "-" when there is no tree.
std::string through_tree(std::string_view text) {
  const xp::ref root = xp::ref::adopt(xp_plist_jsontree(text.data(), static_cast<int64_t>(text.size())));
  if (!root) return "-";
  return taken(xp_plist_string(root.get(), XP_PLIST_JSON_BARE, 1));
}

TEST_F(json, text_to_tree_to_text) {
  for (const auto &[text, result] : pairs_of(R"(
           [1,,2]>[1,2] [TRUE,True,tRue,FALSE,Null]>[true,true,true,false,null]
           {"n":null,"a":[null,[],{}]}>{"a":[null,[],{}],"n":null} {"Name":1,"x":2,"NAME":3}>{"Name":3,"x":2}
           {"a":}>{} ["a\u0041","a\x41","\101\/\"\\","\q"]>["au0041","aA","A/\"\\","q"]
           ["\n\r\t"]>["\n\n\t"] {"a\"b\n":1}>{"a\"b\n":1} [01,-0,007,1-2,12abc]>- [01,-0,007,1-2]>[1,0,7,1]
           [9223372036854775807,-9223372036854775808]>[9223372036854775807,-9223372036854775808]
           [1.5,1e3,-2.5E-1,1E400,-1e400]>[1.5,1000.0,-0.25,null,null]
           {"":1}>- {}[]>- {"a":{"b":[1,"x">- >-)"))
    EXPECT_EQ(through_tree(text), result) << text;
  EXPECT_EQ(through_tree("[1 2 3]"), "[1,2,3]");
  EXPECT_EQ(through_tree(R"(["a\0b","\x00c"])"), R"(["a b"," c"])");
}

TEST_F(json, strings_are_written_as_the_string_stage_writes_them) {
  constexpr uint32_t seed = 20240612;
  SCOPED_TRACE("seed " + std::to_string(seed));
  // What escaping changes, parts of characters and whole ones; a piece is some bytes of it.
  static constexpr std::string_view bytes =
      "\n\r\n\t\"\\\x01\x7F\0\xC3\xB6\xE2\x82\xAC\xF0\x9F\x98\x80\xED\xA0\x80\xFF/"sv;
  std::mt19937 random(seed);
  for (int i = 0; i < 20000; ++i) {
    std::string text;
    for (size_t left = random() % 40; left > 0; --left)
      text += random() % 4 == 0 ? bytes.substr(random() % bytes.size(), random() % 5) : "a";
    const xp::ref string = str(text);
    ASSERT_EQ(taken(xp_plist_string(string.get(), XP_PLIST_JSON_BARE, 0)),
              taken(xp_str_format("\"%p{O:~}\"", string.get())));
  }
}

TEST_F(json, a_long_key_is_cut_but_never_inside_an_escape) {
  for (const auto &[size, tail, kept] : {std::tuple{254, "ab", "a"},
                                         {254, R"(\"b)", ""},
                                         {253, R"(\\\"b)", R"(\\)"},
                                         {253, R"(\"b)", R"(\")"}}) {
    const std::string head = "{\"" + std::string(static_cast<size_t>(size), 'k');
    EXPECT_EQ(through_tree(head + tail + "\":1}"), head + kept + "\":1}");
  }
}

TEST_F(json, the_builder_refuses_what_it_cannot_place) {
  xp_plist_jsonstate state{};
  xp_json_node array = node_of("");
  array.kind = XP_JSON_ARRAY;
  xp_json_node number = node_of("5");
  const auto event = [&](xp_json_event what, xp_json_node *node) {
    return xp_plist_jsonparser(what, node, &state, 0);
  };
  expect({event(XP_JSON_CLOSE, &array), event(XP_JSON_OPEN, &number), event(XP_JSON_OPEN, nullptr)},
         "-1 -1 -1");
  for (int i = 0; i < 32; ++i)
    EXPECT_EQ(event(XP_JSON_OPEN, &array), 0);
  expect({event(XP_JSON_OPEN, &array), event(XP_JSON_VALUE, &number), event(XP_JSON_CLOSE, &number)},
         "-1 0 -1");
  xp_plist_jsonclear(&state);
  // The second root is refused.
  expect({event(XP_JSON_VALUE, &number), event(XP_JSON_VALUE, &number)}, "0 -1");
  xp_plist_jsonclear(&state);
}

}  // namespace
