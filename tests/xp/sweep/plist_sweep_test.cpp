// Every reader and every writer of property lists without memory, and what is done to lists between the two.

#include "tests/support/leak_check.h"
#include "tests/xp/sweep/sweep.h"
#include "xp/object/boolean.h"
#include "xp/object/ref.h"
#include "xp/plist/checksum.h"
#include "xp/plist/copy.h"
#include "xp/plist/plist.h"
#include "xp/plist/style.h"
#include "xp/plist/value.h"
#include "xp/plist/writer.h"
#include "xp/string/string.h"

#include <string_view>

namespace {

using sweep::story;
using xp::ref;

class plist_sweep : public leak_check {};

constexpr std::string_view binary(
    "bplist00\xd2\x01\x02\x03\x0aQaQd\xa6\x04\x05\x06\x07\x08\x09\x10\x01#@\x04\0\0\0\0\0\0\x09\x43"
    "\x01\x02\x03\x66\0c\0a\0f\0\xe9\0 N\x16_\x10(xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\xd2\x0b"
    "\x0c\x0d\x0eSbigQk\x13\0\0\x01\0\0\0\0\0\x33\x41\xc1\xde\x0c@\0\0\0\x08\x0d\x0f\x11\x18\x1a#$(5"
    "`eikt\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x0f\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0}",
    172);

const struct {
  int32_t style;
  std::string_view text;
} inputs[] = {
    {XP_PLIST_JSON,
     R"({"a":[1,2.5,true,null,"x",[]],"deep":{"er":[{"k":"q\"uoted"},{"k":"c"}]},"n":123456})"},
    {XP_PLIST_DETECT, binary},
    {XP_PLIST_SECTIONS, "[first]\na=1,\nb=\"two, three\"\n[second]\nc=4\n"},
    {XP_PLIST_QUERY, "a=1&b=two%20words&c=%41&d"},
    {XP_PLIST_CSS, "a { b: c; d: \"e;f\"; } g: h;"},
    {XP_PLIST_XML,
     "<plist><dict><key>a</key><array><integer>12</integer><real>1.5</real><true/><data>AAEC</data>"
     "<date>2020-01-01T00:00:00Z</date><string>&lt;x&#65;</string></array><key>b</key><dict/></dict></"
     "plist>"},
    {XP_PLIST_XML,
     "<methodCall><methodName>m</methodName><params><param><value><struct><member><name>a</name><value>"
     "<array><data><value><int>1</int></value><value>text</value></data></array></value></member></struct>"
     "</value></param></params></methodCall>"},
    {XP_PLIST_XML, "<s:Envelope><s:Body><m:call><a>1</a><a>2</a></m:call></s:Body></s:Envelope>"},
    {XP_PLIST_XML, "<dict><translation><string>a</string><string>b</string></translation></dict>"},
    {XP_PLIST_ITEMS,
     "<item><field label=\"a\" type=\"long\">1</field><field label=\"b\"><list><field type=\"text\">x</field>"
     "<field type=\"link\" href=\"http://h/\">y</field></list></field></item>"},
};

int64_t append(void *context, const char *bytes, int64_t length) {
  static_cast<std::string *>(context)->append(bytes, static_cast<size_t>(length));
  return length;
}

// A list is read whole or not at all, and then for lack of memory alone.
ref read(std::string_view text, int32_t style) {
  xp_plist_fault fault = {};
  ref list = ref::adopt(xp_plist_read(text.data(), std::ssize(text), style, &fault));
  const std::string_view reason = fault.reason != nullptr ? fault.reason : "none";
  EXPECT_EQ(reason, list ? "none" : "out of memory") << text;
  return list;
}

// A text is written whole, or the writer says that it failed.
void write_all_styles(story &told, const ref &list) {
  for (int32_t style = 0; style < XP_PLIST_STYLES; ++style) {
    const ref text = list ? ref::adopt(xp_plist_string(list.get(), style, 1)) : ref();
    told.wrote(text ? xp_str_getptr(text.get()) : "");
    std::string streamed;
    const int64_t result = list ? xp_plist_streamify(list.get(), style, 1, append, &streamed) : -1;
    told.wrote(result < 0 ? "" : streamed);
    told.gave(list ? xp_plist_stringify(list.get(), style, 1, nullptr, 0) : -1);
  }
}

void read_and_write(story &told) {
  for (const auto &input : inputs) {
    const ref list = read(input.text, input.style);
    write_all_styles(told, list);
    told.gave(xp_plist_checksum(list.get()));
    const ref copy = ref::adopt(xp_plist_copy(list.get()));
    told.gave(xp_plist_checksum(copy.get()));
    told.gave(xp_plist_bookmark(copy.get()));
  }
}

TEST_F(plist_sweep, read_written_copied_and_summed_up) {
  for (const auto &input : inputs)
    EXPECT_TRUE(read(input.text, input.style)) << input.text;
  sweep::run(read_and_write);
}

// What is set is there, or nothing has changed.
void set(story &told) {
  const ref list = read(R"({"a":[1,2]})", XP_PLIST_JSON);
  const auto text = [&] {
    std::string written;
    return list && xp_plist_streamify(list.get(), XP_PLIST_JSON_BARE, 0, append, &written) >= 0 ? written
                                                                                                : "";
  };
  const auto keeps = [&](auto change) {
    const std::string before = text();
    const int32_t result = change();
    EXPECT_EQ(text() == before, result != 0);
    told.gave(result);
  };
  const ref value = ref::adopt(xp_boolean_new(1));
  for (const char *path : {"/a/#0", "/a/#2", "/b/c/d", "/a/#2/e"})
    keeps([&] { return xp_plist_set(list.get(), path, value.get()); });
  keeps([&] { return xp_plist_setnumber(list.get(), "/x/n", 1000); });
  keeps([&] { return xp_plist_setstring(list.get(), "/x/s", "text", -1); });
  keeps([&] { return xp_plist_setdata(list.get(), "/x/d", "data", 4); });
  keeps([&] { return xp_plist_settag(list.get(), "/x/t", xp_code("tag ")); });
  keeps([&] { return xp_plist_seteval(list.get(), "/x/e", "[1,{\"a\":\"b\"}]", -1); });
  told.made(xp_plist_getxpstr(list.get(), "/x/n"));
  const ref made = ref::adopt(xp_plist_make(value.get()));
  const ref coerced = ref::adopt(xp_plist_coerce(value.get()));
  told.gave(xp_plist_checksum(made.get()), 0);
  told.gave(xp_plist_checksum(coerced.get()), 0);
  told.made(xp_plist_string(ref::adopt(xp_plist_new(nullptr)).get(), XP_PLIST_JSON, 0), "null\n");
}

TEST_F(plist_sweep, set_or_unchanged) {
  sweep::run(set);
}

}  // namespace
