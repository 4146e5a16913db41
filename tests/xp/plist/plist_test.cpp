#include "xp/plist/plist.h"

#include "tests/support/leak_check.h"
#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/detect.h"
#include "xp/plist/value.h"
#include "xp/service/data.h"
#include "xp/string/string.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using plist = leak_check;

xp::ref parsed(std::string_view text, int32_t style = XP_PLIST_DETECT) {
  return xp::ref::adopt(xp_plist_parse(text.data(), static_cast<int64_t>(text.size()), style));
}

// The compact text of a node; "-" for none.
std::string text_of(const xp::ref &node) {
  if (!node) return "-";
  const xp::ref text = xp::ref::adopt(xp_plist_string(node.get(), XP_PLIST_JSON_BARE, 1));
  return {xp_str_getptr(text.get()), static_cast<size_t>(xp_str_length(text.get()))};
}

std::string at(const xp::ref &list, const char *path) {
  return text_of(xp::ref::adopt(xp_plist_get(list.get(), path)));
}

TEST_F(plist, detection) {
  using kind = xp_plist_kind;
  const struct {
    std::string_view text;
    kind expected;
  } cases[] = {
      {"bplist00", kind::binary},
      {"bplist01", kind::binary},
      {"bplist0", kind::xml},
      {"{}", kind::json},
      {" \n\t{\"a\":1}", kind::json},
      {"\xEF\xBB\xBF{\"a\":1}", kind::json},
      {"[{\"a\":1}]", kind::json},
      {"[\"a\"]", kind::json},
      {"\"a\"", kind::json},
      {"[1,\"a\"]", kind::json},
      {"[1,2]", kind::xml},
      {"[]", kind::xml},
      {"", kind::xml},
      {"body { color: red }", kind::css},
      {"[a]\nb: {c}", kind::json},
      {"[section]\nname: value\n", kind::sections},
      {"[section]\nname=value\n", kind::xml},
      {"a=1&b=2", kind::arguments},
      {"&", kind::arguments},
      {"a=1\nb=2", kind::xml},
      {"<plist a=\"1\">", kind::xml},
      {"a<b{c", kind::xml},
      {"plain text", kind::xml},
      {std::string_view("abc\0{", 5), kind::xml},
  };
  for (const auto &one : cases)
    EXPECT_EQ(xp_plist_detect(one.text), one.expected) << one.text;
}

TEST_F(plist, parse) {
  const struct {
    const char *text;
    int32_t style;
    int32_t result;  // the list's style, -1 for no list
  } cases[] = {
      {"{\"a\":1}", -1, 1}, {"[1,2]", 1, 1},  {"[1,2]", 2, 2}, {"[1,2]", 8, 8}, {"[1,2]", -1, -1},
      {"{\"a\":1", 1, -1},  {"{}{}", 1, -1},  {"{} x", 1, -1}, {"", 1, -1},     {"", -1, -1},
      {"bplist01", -1, -1}, {nullptr, -1, 0}, {nullptr, 3, 3}, {nullptr, 8, 8}, {nullptr, 9, 0},
  };
  for (const auto &one : cases) {
    const xp::ref list = xp::ref::adopt(xp_plist_parse(one.text, -1, one.style));
    EXPECT_EQ(list ? xp_plist_getstyle(list.get()) : -1, one.result) << (one.text ? one.text : "null");
    EXPECT_EQ(xp_type(list.get()), list ? xp_code("plst") : 0);
  }
  EXPECT_EQ(at(parsed("[1,2]junk", 1), ""), "-");
  EXPECT_EQ(at(xp::ref::adopt(xp_plist_parse("[1,2]junk", 5, 1)), ""), "[1,2]");
  EXPECT_EQ(at(xp::ref::adopt(xp_plist_new(nullptr)), "/@"), "{}");
}

TEST_F(plist, paths) {
  const xp::ref list =
      parsed(R"({"a":[10,[20],{"k":30}],"b":{"c":{"D":40}},"#x":50,"@y":60,"n":null,"s":"t"})");
  const struct {
    const char *path, *result;
  } cases[] = {
      {"/a/#1", "[20]"},
      {"/a/#0", "10"},
      {"/a/#1/#0", "20"},
      {"/a/#2/k", "30"},
      {"/b/c/D", "40"},
      {"/B/C/d", "40"},
      {"/@b/@c/@D", "40"},
      {"/@#x", "50"},
      {"/@@y", "60"},
      {"/a/", "[10,[20],{\"k\":30}]"},
      {"/a/#", "[10,[20],{\"k\":30}]"},
      {"/b/c/@", "{\"D\":40}"},
      {"/b/c/", "{\"D\":40}"},
      {"/a/#3", "-"},
      {"/a/#-1", "-"},
      {"/a/#1x", "-"},
      {"/a/#99999999999", "-"},
      {"/a/#4294967296", "-"},
      {"/a/@", "-"},
      {"/a/k", "-"},
      {"/b/#", "-"},
      {"/b/#0", "-"},
      {"/#x", "-"},
      {"/#", "-"},
      {"a", "-"},
      {"//a", "-"},
      {"/@/a", "-"},
      {"/a/#/#0", "-"},
      {"/a//#0", "-"},
      {"/n", "-"},
      {"/n/x", "-"},
      {"/s", "\"t\""},
      {"/s/", "-"},
      {"/s/x", "-"},
      {"/none", "-"},
      {"/b/c/D/", "-"},
  };
  for (const auto &one : cases)
    EXPECT_EQ(at(list, one.path), one.result) << one.path;
  const std::string whole = at(list, "");
  EXPECT_NE(whole, "-");
  for (const char *path : {"/", "/@", static_cast<const char *>(nullptr)})
    EXPECT_EQ(at(list, path), whole);
  EXPECT_EQ(xp_plist_get(nullptr, ""), nullptr);
  const xp::ref dict = xp::ref::adopt(xp_plist_get(list.get(), "/b"));
  EXPECT_EQ(xp_plist_get(dict.get(), ""), nullptr) << "a dictionary is not a property list";
}

TEST_F(plist, set) {
  const struct {
    const char *path, *result;  // what "{"a":[1],"s":"t","n":null}" becomes; null when it is refused
  } cases[] = {
      {"/s", R"({"a":[1],"n":null,"s":7})"},
      {"/S", R"({"a":[1],"n":null,"s":7})"},
      {"/x/y/@#z", R"({"a":[1],"n":null,"s":"t","x":{"y":{"#z":7}}})"},
      {"/n/k", R"({"a":[1],"n":{"k":7},"s":"t"})"},
      {"/a/#0", R"({"a":[7],"n":null,"s":"t"})"},
      {"/a/#1", R"({"a":[1,7],"n":null,"s":"t"})"},
      {"/a/#1/k", R"({"a":[1,{"k":7}],"n":null,"s":"t"})"},
      {"", "7"},
      {"/a/#2", nullptr},
      {"/a/k", nullptr},
      {"/a/#0/k", nullptr},
      {"/s/k", nullptr},
      {"/#0", nullptr},
      {"/x/#0", nullptr},
      {"/x/y/", nullptr},
      {"/x//y", nullptr},
      {"/", nullptr},
      {"/@", nullptr},
      {"/a/#", nullptr},
      {"s", nullptr},
  };
  const xp::ref seven = xp::ref::adopt(xp_number_new(7));
  for (const auto &one : cases) {
    const xp::ref list = parsed(R"({"a":[1],"s":"t","n":null})");
    const std::string before = at(list, "");
    EXPECT_EQ(xp_plist_set(list.get(), one.path, seven.get()), one.result != nullptr ? 0 : -1) << one.path;
    EXPECT_EQ(at(list, ""), one.result != nullptr ? one.result : before) << one.path;
  }
  const xp::ref empty = xp::ref::adopt(xp_plist_make(nullptr));
  EXPECT_EQ(xp_plist_set(empty.get(), "/a/b", seven.get()), 0);
  EXPECT_EQ(at(empty, ""), R"({"a":{"b":7}})");
  EXPECT_EQ(at(empty, "/A/B"), "7") << "dictionaries made on the way ignore case";
  EXPECT_EQ(xp_plist_set(seven.get(), "/a", seven.get()), -1);
}

// What each getter makes of each kind of node.
TEST_F(plist, typed_getters) {
  const xp::ref list = parsed(R"({"t":true,"i":-7,"r":2.5,"s":"text","n":"12.5","y":"Yes","b":"Zm8=",
                                  "z":null,"a":[1],"d":{}})");
  xp_plist_set(list.get(), "/x", xp::ref::adopt(xp_data_new("fo", 2)).get());
  const auto shown = [&](const char *path) {
    const auto object = [](xp_obj *obj) {
      const xp::ref owned = xp::ref::adopt(obj);
      if (xp_type(obj) != xp_code("data")) return text_of(owned);
      return std::string(static_cast<const char *>(xp_data_getptr(obj)),
                         static_cast<size_t>(xp_data_length(obj)));
    };
    char text[8];
    const int64_t length = xp_plist_gettext(list.get(), path, text, sizeof text);
    EXPECT_EQ(xp_plist_gettext(list.get(), path, nullptr, 0), length);
    const char *string = xp_plist_getstring(list.get(), path);
    return std::to_string(xp_plist_getvalue(list.get(), path)) + " " +
           std::to_string(xp_plist_getnumber(list.get(), path)).substr(0, 4) + " " +
           std::to_string(xp_plist_getboolean(list.get(), path)) + " " + (string != nullptr ? string : "-") +
           " " + object(xp_plist_getxpstr(list.get(), path)) + " " +
           std::string(text, static_cast<size_t>(length)) + " " + object(xp_plist_getdata(list.get(), path)) +
           " " + std::to_string(xp_plist_gettag(list.get(), path));
  };
  const struct {
    const char *path, *value;
  } cases[] = {
      {"/t", "1 1.00 1 - \"true\" true - 1"},
      {"/i", "-7 -7.0 1 - \"-7\" -7 - 4294967289"},
      {"/r", "2 2.50 1 - \"2.5\" 2.5 - 2"},
      {"/s", "0 0.00 0 text \"text\" text \xb5\xec\x6d 1954047348"},
      {"/n", "12 12.5 1 12.5 \"12.5\" 12.5 - 892219953"},
      {"/y", "0 0.00 1 Yes \"Yes\" Yes a\xeb 7562585"},
      {"/b", "0 0.00 0 Zm8= \"Zm8=\" Zm8= fo 1027108186"},
      {"/x", "0 0.00 0 - -  fo 0"},
      {"/z", "0 0.00 0 - -  - 0"},
      {"/a", "0 0.00 0 - -  - 0"},
      {"/d", "0 0.00 0 - -  - 0"},
      {"/none", "0 0.00 0 - -  - 0"},
  };
  for (const auto &one : cases)
    EXPECT_EQ(shown(one.path), one.value) << one.path;
  EXPECT_EQ(xp_plist_getboolean(nullptr, "/t"), 0);
}

TEST_F(plist, typed_setters) {
  const xp::ref list = xp::ref::adopt(xp_plist_new(nullptr));
  const auto set = [&](int32_t result) { return std::to_string(result) + " " + at(list, "/a/b"); };
  EXPECT_EQ(set(xp_plist_setboolean(list.get(), "/a/b", 5)), "0 true");
  EXPECT_EQ(set(xp_plist_setnumber(list.get(), "/a/b", -9007199254740991)), "0 -9007199254740991");
  EXPECT_EQ(set(xp_plist_setnumber(list.get(), "/a/b", 9007199254740992)), "0 9007199254740992.0");
  EXPECT_EQ(set(xp_plist_setnumber(list.get(), "/a/b", -0.0)), "0 -0.0");
  EXPECT_EQ(set(xp_plist_setstring(list.get(), "/a/b", "text", 2)), "0 \"te\"");
  EXPECT_EQ(set(xp_plist_setdata(list.get(), "/a/b", "fo", 2)), "0 \"Zm8=\"");
  EXPECT_EQ(set(xp_plist_setdata(list.get(), "/a/b", "fo", -1)), "-1 \"Zm8=\"");
  for (uint32_t tag : {0U, xp_code("ab"), xp_code("a-_d")}) {
    EXPECT_EQ(xp_plist_settag(list.get(), "/a/b", tag), 0);
    EXPECT_EQ(xp_plist_gettag(list.get(), "/a/b"), tag);
  }
  EXPECT_EQ(xp_plist_setboolean(list.get(), "b", 1), -1);
  const struct {
    const char *said, *stored;
  } cases[] = {
      {"TRUE", "true"},       {"false", "false"},   {"null", "-"},
      {"-0.5e3", "-500.0"},   {"0", "0"},           {"007", "\"007\""},
      {"1.2.3", "\"1.2.3\""}, {"1.", "\"1.\""},     {"-", "\"-\""},
      {"", "\"\""},           {"[1,{}]", "[1,{}]"}, {"[1", "\"[1\""},
      {"truer", "\"truer\""}, {" 1", "\" 1\""},     {"{\"a\":1}", "{\"a\":1}"},
  };
  for (const auto &one : cases)
    EXPECT_EQ(set(xp_plist_seteval(list.get(), "/a/b", one.said, -1)), std::string("0 ") + one.stored)
        << one.said;
}

TEST_F(plist, wrapping_and_styles) {
  const xp::ref root = xp::ref::adopt(xp_dict_new(0));
  const xp::ref list = xp::ref::adopt(xp_plist_coerce(root.get()));
  EXPECT_EQ(xp_plist_getstyle(list.get()), 1);
  EXPECT_EQ(xp::ref::adopt(xp_plist_get(list.get(), nullptr)).get(), root.get());
  EXPECT_EQ(xp::ref::adopt(xp_plist_coerce(list.get())).get(), list.get());
  EXPECT_EQ(xp_plist_coerce(nullptr), nullptr);
  for (int32_t style : {0, 8}) {
    EXPECT_EQ(xp_plist_setstyle(list.get(), style), 0);
    EXPECT_EQ(xp_plist_getstyle(list.get()), style);
  }
  for (int32_t style : {-1, 9})
    EXPECT_EQ(xp_plist_setstyle(list.get(), style), -1);
  EXPECT_EQ(xp_plist_setstyle(root.get(), 1), -1);
  EXPECT_EQ(xp_plist_stringify(list.get(), 9, 0, nullptr, 0), 2) << "keeps its own style";
  EXPECT_EQ(xp_plist_stringify(list.get(), 2, 0, nullptr, 0), 4);
  EXPECT_EQ(xp_plist_getstyle(list.get()), 2) << "takes the style it was written in";
}

TEST_F(plist, type_protocol) {
  const xp::ref list = parsed("{\"a\":null,\"b\":[1]}", 1);
  char text[32];
  EXPECT_EQ(xp_textify(list.get(), nullptr, 0), 10);
  EXPECT_EQ(std::string_view(text, static_cast<size_t>(xp_textify(list.get(), text, 5))), "{\"b\":");
  std::string streamed;
  const auto append = [](void *context, const char *bytes, int64_t length) -> int64_t {
    static_cast<std::string *>(context)->append(bytes, static_cast<size_t>(length));
    return length;
  };
  EXPECT_EQ(xp_stream(list.get(), append, &streamed), 10);
  EXPECT_EQ(streamed, "{\"b\":[1]}\n");
  for (uint32_t code : {0U, 1U, 2U, 3U, 4U, 5U, 7U, xp_code("pntr"), xp_code("trav")}) {
    EXPECT_EQ(xp_control(list.get(), code, 0, nullptr), 0) << code;
  }
  EXPECT_EQ(xp_truthy(list.get()), 1);
  EXPECT_EQ(xp::ref::adopt(xp_duplicate(list.get(), 0)).get(), list.get()) << "shared, not copied";
}

}  // namespace
