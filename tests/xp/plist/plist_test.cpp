#include "xp/plist/plist.h"

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "xp/dict/dict.h"
#include "xp/plist/detect.h"
#include "xp/plist/value.h"
#include "xp/service/data.h"
#include "xp/string/string.h"

#include <gtest/gtest.h>

namespace {

using plist = leak_check;
using namespace std::string_view_literals;

xp::ref parsed(std::string_view text, int32_t style = XP_PLIST_DETECT) {
  return xp::ref::adopt(xp_plist_parse(text.data(), std::ssize(text), style));
}

// The compact text of what is at a path; "-" for nothing.
std::string at(const xp::ref &list, const char *path) {
  const xp::ref node = xp::ref::adopt(xp_plist_get(list.get(), path));
  return node ? taken(xp_plist_string(node.get(), XP_PLIST_JSON_BARE, 1)) : "-";
}

TEST_F(plist, detection) {
  const std::pair<xp_plist_kind, std::vector<std::string_view>> cases[] = {
      {xp_plist_kind::binary, {"bplist00", "bplist01"}},
      {xp_plist_kind::json,
       {"{}", " \n\t{\"a\":1}", "\xEF\xBB\xBF{\"a\":1}", "[{\"a\":1}]", "[\"a\"]", "\"a\"", "[1,\"a\"]",
        "[a]\nb: {c}"}},
      {xp_plist_kind::css, {"body { color: red }", "a \"b\" {"}},
      {xp_plist_kind::sections, {"[section]\nname: value\n"}},
      {xp_plist_kind::arguments, {"a=1&b=2", "&"}},
      {xp_plist_kind::xml,
       {"bplist0", "[1,2]", "[]", "", "[section]\nname=value\n", "a=1\nb=2", "<plist a=\"1\">", "a<b{c",
        "plain text", "abc\0{"sv}},
  };
  for (const auto &[kind, texts] : cases) {
    for (std::string_view text : texts)
      EXPECT_EQ(xp_plist_detect(text), kind) << text;
  }
}

TEST_F(plist, parse) {
  const struct {
    int32_t style;
    int32_t result;  // the list's style, -1 for no list
    std::vector<const char *> texts;
  } cases[] = {{-1, -1, {"[1,2]", "", "bplist01", "<plist/>"}},
               {-1, 0, {nullptr}},
               {-1, 1, {"{\"a\":1}"}},
               {-1, 3, {"[a]\nb=c:d"}},
               {-1, 4, {"a=1"}},
               {-1, 5, {"a { b: c; }"}},
               {2, -1, {"<dict></dict>"}},
               {2, 2, {"[1,2]"}},
               {3, 3, {"[a]\nb=1", nullptr}},
               {7, 0, {"<plist><dict/></plist>"}},
               {8, 8, {"[1,2]"}},
               {9, 0, {nullptr}},
               {99, 7, {"<list/>"}}};
  for (const auto &[style, result, texts] : cases) {
    for (const char *text : texts) {
      const xp::ref list = xp::ref::adopt(xp_plist_parse(text, -1, style));
      EXPECT_EQ(list ? xp_plist_getstyle(list.get()) : -1, result) << (text ? text : "null");
      EXPECT_EQ(xp_type(list.get()), list ? xp_code("plst") : 0);
    }
  }
  EXPECT_EQ(at(parsed("[1,2]junk", 1), ""), "-");
  EXPECT_EQ(at(parsed("[1,2]\0junk"sv, 1), ""), "[1,2]") << "ends at a zero byte";
  EXPECT_EQ(at(xp::ref::adopt(xp_plist_new(nullptr)), "/@"), "{}");
}

TEST_F(plist, tells_where_a_text_cannot_be_read) {
  const struct {
    const char *text;
    int32_t style, offset;
    std::string_view reason;
  } cases[] = {{"{\"a\":[1,2", 1, 9, "the text ends inside a container"},
               {"{\"a\" 1}", 1, 1, "a token in the wrong place"},
               {"[1,tru]", 1, 3, "neither a value nor a bracket"},
               {"[1}", 1, 2, "a token in the wrong place"},
               {"{} {}", 1, 3, "a second value after the first"},
               {"[{\"\":7}]", 1, 5, "an empty key"},
               {"]", 1, 0, "a closing bracket without an opening one"},
               {"[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[", 1, 32, "more than 32 nodes in each other"},
               {" ", 1, 1, "no value"},
               {"[]", 1, 0, ""},
               {nullptr, 1, 0, ""}};
  for (const auto &one : cases) {
    xp_plist_fault fault = {.offset = -1, .reason = "unset"};
    const xp::ref list = xp::ref::adopt(xp_plist_read(one.text, -1, one.style, &fault));
    EXPECT_EQ(fault.reason == nullptr ? "" : fault.reason, one.reason);
    EXPECT_EQ(fault.offset, one.offset) << one.reason;
    EXPECT_EQ(static_cast<bool>(list), one.reason.empty());
  }
}

TEST_F(plist, paths) {
  const xp::ref list =
      parsed(R"({"a":[10,[20],{"k":30}],"b":{"c":{"D":40}},"#x":50,"@y":60,"n":null,"s":"t"})");
  for (const auto &[path, result] : pairs_of(R"(
           /a/#1>[20] /a/#0>10 /a/#1/#0>20 /a/#2/k>30 /b/c/D>40 /B/C/d>40 /@b/@c/@D>40 /@#x>50 /@@y>60
           /a/>[10,[20],{"k":30}] /a/#>[10,[20],{"k":30}] /b/c/@>{"D":40} /b/c/>{"D":40} /s>"t"
           /a/#3>- /a/#-1>- /a/#1x>- /a/#99999999999>- /a/#4294967296>- /a/@>- /a/k>- /b/#>- /b/#0>- /#x>- /#>-
           a>- //a>- /@/a>- /a/#/#0>- /a//#0>- /n>- /n/x>- /s/>- /s/x>- /none>- /b/c/D/>-)"))
    EXPECT_EQ(at(list, path.c_str()), result) << path;
  const std::string whole = at(list, "");
  EXPECT_NE(whole, "-");
  for (const char *path : {"/", "/@", static_cast<const char *>(nullptr)})
    EXPECT_EQ(at(list, path), whole);
  EXPECT_EQ(xp_plist_get(nullptr, ""), nullptr);
  const xp::ref dict = xp::ref::adopt(xp_plist_get(list.get(), "/b"));
  EXPECT_EQ(xp_plist_get(dict.get(), ""), nullptr) << "a dictionary is not a property list";
}

TEST_F(plist, set) {
  constexpr const char *before = R"({"a":[1],"n":null,"s":"t"})";
  const xp::ref seven = num(7);
  for (const auto &[path, result] : pairs_of(R"(
           /s>{"a":[1],"n":null,"s":7} /S>{"a":[1],"n":null,"s":7}
           /x/y/@#z>{"a":[1],"n":null,"s":"t","x":{"y":{"#z":7}}} /n/k>{"a":[1],"n":{"k":7},"s":"t"}
           /a/#0>{"a":[7],"n":null,"s":"t"} /a/#1>{"a":[1,7],"n":null,"s":"t"}
           /a/#1/k>{"a":[1,{"k":7}],"n":null,"s":"t"} >7
           /a/#2>- /a/k>- /a/#0/k>- /s/k>- /#0>- /x/#0>- /x/y/>- /x//y>- />- /@>- /a/#>- s>-)")) {
    const xp::ref list = parsed(before);
    EXPECT_EQ(xp_plist_set(list.get(), path.c_str(), seven.get()), result == "-" ? -1 : 0) << path;
    EXPECT_EQ(at(list, ""), result == "-" ? before : result) << path;
  }
  const xp::ref empty = xp::ref::adopt(xp_plist_make(nullptr));
  EXPECT_EQ(xp_plist_set(empty.get(), "/a/b", seven.get()), 0);
  EXPECT_EQ(at(empty, ""), R"({"a":{"b":7}})");
  EXPECT_EQ(at(empty, "/A/B"), "7") << "dictionaries made on the way ignore case";
  EXPECT_EQ(xp_plist_set(seven.get(), "/a", seven.get()), -1);
}

// What each getter makes of each kind of node: value, number, boolean, string, object, text, data, tag.
TEST_F(plist, typed_getters) {
  const xp::ref list = parsed(R"({"t":true,"i":-7,"r":2.5,"s":"word","n":"12.5","y":"Yes","b":"Zm8=",
                                  "z":null,"a":[1],"d":{}})");
  xp_plist_setdata(list.get(), "/x", "fo", 2);
  const auto shown = [&](const char *path) {
    char text[8];
    const int64_t length = xp_plist_gettext(list.get(), path, text, sizeof text);
    EXPECT_EQ(xp_plist_gettext(list.get(), path, nullptr, 0), length);
    const char *string = xp_plist_getstring(list.get(), path);
    const xp::ref data = xp::ref::adopt(xp_plist_getdata(list.get(), path));
    return gave(xp_plist_getvalue(list.get(), path)).text + "," +
           gave(static_cast<int64_t>(10 * xp_plist_getnumber(list.get(), path))).text + "," +
           gave(xp_plist_getboolean(list.get(), path)).text + "," + (string != nullptr ? string : "-") + "," +
           taken(xp_plist_getxpstr(list.get(), path)) + "," + std::string(text, static_cast<size_t>(length)) +
           "," + (data ? gave(xp_data_length(data.get())).text : "-") + "," +
           gave(xp_plist_gettag(list.get(), path)).text;
  };
  for (const auto &[path, values] : pairs_of(R"(
           /t>1,10,1,-,true,true,-,1 /i>-7,-70,1,-,-7,-7,-,4294967289 /r>2,25,1,-,2.5,2.5,-,2
           /s>0,0,0,word,word,word,3,1685221239 /n>12,125,1,12.5,12.5,12.5,-,892219953
           /y>0,0,1,Yes,Yes,Yes,2,7562585 /b>0,0,0,Zm8=,Zm8=,Zm8=,2,1027108186 /x>0,0,0,-,null,,2,0
           /z>0,0,0,-,null,,-,0 /a>0,0,0,-,null,,-,0 /d>0,0,0,-,null,,-,0 /none>0,0,0,-,null,,-,0)"))
    EXPECT_EQ(shown(path.c_str()), values) << path;
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
  for (const auto &[said, stored] : pairs_of(R"(
           TRUE>true false>false null>- -0.5e3>-500.0 0>0 007>"007" 1.2.3>"1.2.3" 1.>"1." ->"-" >""
           [1,{}]>[1,{}] {"a":1}>{"a":1} [1>"[1" truer>"truer")"))
    EXPECT_EQ(set(xp_plist_seteval(list.get(), "/a/b", said.c_str(), -1)), "0 " + stored) << said;
}

TEST_F(plist, wrapping_and_styles) {
  const xp::ref root = xp::ref::adopt(xp_dict_new(0));
  const xp::ref list = xp::ref::adopt(xp_plist_coerce(root.get()));
  EXPECT_EQ(xp_plist_getstyle(list.get()), 1);
  EXPECT_EQ(xp::ref::adopt(xp_plist_get(list.get(), nullptr)).get(), root.get());
  EXPECT_EQ(xp::ref::adopt(xp_plist_coerce(list.get())).get(), list.get());
  EXPECT_EQ(xp::ref::adopt(xp_plist_make(list.get())).get(), list.get());
  EXPECT_EQ(xp_plist_coerce(nullptr), nullptr);
  for (int32_t style : {0, 8, -1, 9}) {
    const bool exists = style == 0 || style == 8;
    EXPECT_EQ(xp_plist_setstyle(list.get(), style), exists ? 0 : -1);
    EXPECT_EQ(xp_plist_getstyle(list.get()), exists ? style : 8);
  }
  EXPECT_EQ(xp_plist_setstyle(root.get(), 1), -1);
  EXPECT_EQ(xp_plist_stringify(list.get(), 9, 0, nullptr, 0), 2) << "keeps its own style";
  EXPECT_EQ(xp_plist_stringify(list.get(), 2, 0, nullptr, 0), 4);
  EXPECT_EQ(xp_plist_getstyle(list.get()), 2) << "takes the style it was written in";
  xp_dict_store(root.get(), "n", 1, nullptr);
  xp_plist_setnulls(list.get(), 1);
  // The list's own setting, unless an argument says otherwise.
  expect({xp_plist_string(list.get(), 8, 0), list}, R"({} {"n":null})");
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
  for (uint32_t code : {0U, 1U, 2U, 3U, 4U, 5U, 7U, xp_code("pntr"), xp_code("trav")})
    EXPECT_EQ(xp_control(list.get(), code, 0, nullptr), 0) << code;
  EXPECT_EQ(xp_truthy(list.get()), 1);
}

}  // namespace
