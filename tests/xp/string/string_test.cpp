// Making, transforming and the type protocol of strings.

#include "xp/string/string.h"

#include "tests/support/leak_check.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/string/text.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <string_view>

namespace {

using namespace std::string_view_literals;

class string : public leak_check {};

xp::ref make(std::string_view text) {
  return xp::ref::adopt(xp_str_make(text.data(), static_cast<int64_t>(text.size())));
}

std::string text_of(const xp::ref &s) {
  return xp_str_getptr(s.get()) == nullptr
             ? "(null)"
             : std::string(xp_str_getptr(s.get()), static_cast<size_t>(xp_str_length(s.get())));
}

TEST_F(string, copies_its_text_and_ends_it) {
  char source[] = "abc";
  xp::ref s = xp::ref::adopt(xp_str_new(source));
  source[0] = 'X';
  EXPECT_EQ(text_of(s), "abc");
  EXPECT_EQ(xp_type(s.get()), xp_str_type());
  xp::ref part = make("ab\0cd"sv.substr(0, 4));
  EXPECT_EQ(text_of(part), "ab\0c"sv);
  EXPECT_EQ(xp_str_getptr(part.get())[4], '\0');
  for (xp_obj *empty :
       {xp_str_new(nullptr), xp_str_make(nullptr, 5), xp_str_new(""), xp_str_const(nullptr)}) {
    EXPECT_EQ(xp_str_length(empty), 0);
    EXPECT_STREQ(xp_str_getptr(empty), "");
    xp_release(empty);
  }
}

TEST_F(string, constant_borrows_its_text) {
  static const char literal[] = "fixed";
  xp::ref s = xp::ref::adopt(xp_str_const(literal));
  EXPECT_EQ(xp_str_getptr(s.get()), literal);
  EXPECT_EQ(xp_str_length(s.get()), 5);
}

TEST_F(string, null_is_accepted_everywhere) {
  EXPECT_EQ(xp_str_length(nullptr), 0);
  EXPECT_EQ(xp_str_getptr(nullptr), nullptr);
  EXPECT_EQ(xp_str_coerce(nullptr), nullptr);
  EXPECT_EQ(xp_str_trim(nullptr), nullptr);
  EXPECT_EQ(xp_str_unescape(nullptr), nullptr);
  EXPECT_EQ(xp_str_concat(nullptr, nullptr), nullptr);
  EXPECT_LT(xp_str_valid(nullptr), 0);
  xp::ref number = xp::ref::adopt(xp_number_new(12));
  EXPECT_EQ(xp_str_length(number.get()), 0) << "another type is no string";
}

TEST_F(string, coerce_shares_strings_and_prints_the_rest) {
  xp::ref s = make("text");
  xp::ref same = xp::ref::adopt(xp_str_coerce(s.get()));
  EXPECT_EQ(same.get(), s.get());
  xp::ref number = xp::ref::adopt(xp_number_new(-1234));
  EXPECT_EQ(text_of(xp::ref::adopt(xp_str_coerce(number.get()))), "-1234");
  xp::ref mute = xp::ref::adopt(xp_new(xp_code("mute"), 0));
  EXPECT_EQ(text_of(xp::ref::adopt(xp_str_coerce(mute.get()))), "");
}

TEST_F(string, append_and_concat) {
  xp::ref ab = make("ab");
  xp::ref empty = make("");
  EXPECT_EQ(text_of(xp::ref::adopt(xp_str_append(ab.get(), "cdef", 2))), "abcd");
  EXPECT_EQ(text_of(xp::ref::adopt(xp_str_append(nullptr, "cd", -1))), "cd");
  EXPECT_EQ(text_of(xp::ref::adopt(xp_str_append(empty.get(), "cd", -1))), "cd");
  EXPECT_EQ(xp::ref::adopt(xp_str_append(ab.get(), nullptr, 3)).get(), ab.get());
  xp::ref cd = make("cd");
  EXPECT_EQ(text_of(xp::ref::adopt(xp_str_concat(ab.get(), cd.get()))), "abcd");
  EXPECT_EQ(xp::ref::adopt(xp_str_concat(ab.get(), nullptr)).get(), ab.get());
  EXPECT_EQ(xp::ref::adopt(xp_str_concat(empty.get(), cd.get())).get(), cd.get());
  EXPECT_EQ(xp::ref::adopt(xp_str_concat(nullptr, cd.get())).get(), cd.get());
}

TEST_F(string, format_fits_the_stack_or_not) {
  EXPECT_EQ(text_of(xp::ref::adopt(xp_str_format("%s-%d", "a", 5))), "a-5");
  // At the size of the first buffer, one before it and one past it.
  for (int length : {510, 511, 512, 5000}) {
    xp::ref s = xp::ref::adopt(xp_str_format("%*d|%s", length - 2, 7, "x"));
    EXPECT_EQ(xp_str_length(s.get()), length);
    EXPECT_EQ(text_of(s), std::string(static_cast<size_t>(length) - 3, ' ') + "7|x");
  }
}

TEST_F(string, trim) {
  struct row {
    std::string_view text, expected;
  };
  for (const row &r : {row{" a ", "a"}, {"\t\na b\x01", "a b"}, {"a\0"sv, "a"}, {"\xC3\xA9 ", "\xC3\xA9"}}) {
    EXPECT_EQ(text_of(xp::ref::adopt(xp_str_trim(make(r.text).get()))), r.expected);
  }
  xp::ref whole = make("a b");
  EXPECT_EQ(xp::ref::adopt(xp_str_trim(whole.get())).get(), whole.get());
  for (std::string_view blank : {""sv, "   "sv, "\0\x1F "sv})
    EXPECT_EQ(xp_str_trim(make(blank).get()), nullptr);
}

TEST_F(string, unescape) {
  struct row {
    std::string_view text, expected;
  };
  const row rows[] = {
      {R"(a\x41\101\q)", "aAAq"},
      {R"(\n\r\t)", "\n\r\t"},
      {R"(\"\\\/)", R"("\/)"},
      {R"(\x)", "x"},
      {R"(\xg)", "xg"},
      {R"(\x4)", "\x04"},
      {R"(\x4z)", "\x04z"},
      {R"(\xe9\XE9)", "\xE9XE9"},
      {R"(\x414)", "A4"},
      {R"(\0)", "\0"sv},
      {R"(a\0b\x00c)", "a\0b\0c"sv},
      {R"(\378)", "\0378"sv},
      {R"(\377)", "\xFF"},
      {R"(\400\8)", "4008"},
      {R"(\1\12\1234)", "\001\012S4"sv},
      {R"(\u0041)", "u0041"},
      {"abc\\", "abc"},
      {"\\", ""},
      {"ab\0cd"sv, "ab"},
      {"ab\\\0cd"sv, "ab"},
      {"\\x4\0001"sv, "\x04"},
  };
  for (const row &r : rows) {
    SCOPED_TRACE(r.text);
    EXPECT_EQ(text_of(xp::ref::adopt(xp_str_unescape(make(r.text).get()))), r.expected);
    xp::ref direct = xp::ref::adopt(xp_str_unescaped(r.text.data(), static_cast<int64_t>(r.text.size())));
    EXPECT_EQ(text_of(direct), r.expected);
    EXPECT_EQ(xp_str_getptr(direct.get())[xp_str_length(direct.get())], '\0');
  }
  xp::ref plain = make("plain");
  EXPECT_EQ(xp::ref::adopt(xp_str_unescape(plain.get())).get(), plain.get());
  EXPECT_EQ(text_of(xp::ref::adopt(xp_str_unescaped(R"(a\tb)", 2))), "a") << "cut inside the escape";
  EXPECT_EQ(text_of(xp::ref::adopt(xp_str_unescaped(R"(a\tb)", -1))), "a\tb");
  EXPECT_EQ(text_of(xp::ref::adopt(xp_str_unescaped(nullptr, 4))), "");
}

TEST_F(string, textify_never_cuts_a_character) {
  xp::ref s = make("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  const int64_t expected[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
  EXPECT_EQ(xp_str_textify(s.get(), nullptr, 0), 10);
  for (int64_t capacity = 0; capacity < 12; ++capacity) {
    char buffer[16];
    memset(buffer, '#', sizeof buffer);
    int64_t written = xp_str_textify(s.get(), buffer, capacity);
    EXPECT_EQ(written, expected[capacity]) << capacity;
    EXPECT_EQ(buffer[written], '#') << capacity;
  }
  char buffer[4];
  EXPECT_EQ(xp_str_textify(s.get(), buffer, -1), 0);
  // A text that itself ends inside a character is taken whole when it fits.
  EXPECT_EQ(xp_str_textify(make("ab\xE2\x82").get(), buffer, 4), 4);
}

TEST_F(string, stream_hands_on_the_text_and_the_result) {
  std::string seen;
  auto writer = [](void *context, const char *bytes, int64_t length) -> int64_t {
    static_cast<std::string *>(context)->append(bytes, static_cast<size_t>(length));
    return 42;
  };
  EXPECT_EQ(xp_stream(make("a\0b"sv).get(), writer, &seen), 42);
  EXPECT_EQ(seen, "a\0b"sv);
}

TEST_F(string, control) {
  EXPECT_EQ(xp_falsey(make("").get()), 1);
  EXPECT_EQ(xp_falsey(make("0").get()), 0);
  EXPECT_EQ(xp_value(make(" -12x").get()), -12);
  EXPECT_EQ(xp_value(make("").get()), 0);
  xp::ref s = make("abc");
  uint32_t length = 0;
  EXPECT_EQ(xp_control(s.get(), XP_CTL_POINTER, 0, &length), xp::result(xp_str_getptr(s.get())));
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(xp_control(s.get(), XP_CTL_POINTER, 1, &length), 0);
  EXPECT_EQ(xp_control(s.get(), xp_code("what"), 0, nullptr), 0);
  EXPECT_EQ(xp::ref::adopt(xp_duplicate(s.get(), 0)).get(), s.get());
}

// A record set that notes what is added to it.
struct recorder : xp_obj {
  static constexpr uint32_t code = xp_code("reco");
  xp_record record;
};

int64_t recorder_control(xp_obj *obj, uint32_t code, int64_t, void *pointer) {
  if (code != XP_CTL_ADDRECORD) return 0;
  xp::as<recorder>(obj)->record = *static_cast<xp_record *>(pointer);
  return 77;
}

constexpr xp::ops recorder_ops = {.retain = xp_obj_retain,
                                  .release = xp_obj_release,
                                  .compare = nullptr,
                                  .textify = nullptr,
                                  .control = recorder_control};

TEST_F(string, records) {
  auto *set = xp::make<recorder>(recorder_ops);
  xp::ref owner = xp::ref::adopt(set);
  xp::ref s = make("wxyz!");
  EXPECT_EQ(xp_control(s.get(), XP_CTL_SERIALIZE, xp_code("name"), set), 77);
  EXPECT_EQ(set->record.name, xp_code("name"));
  EXPECT_EQ(set->record.type, xp_code("xstr"));
  EXPECT_EQ(std::string_view(static_cast<const char *>(set->record.data), set->record.length), "wxyz!");

  EXPECT_EQ(text_of(xp::ref::adopt(xp_deserialize(s.get(), 0, "namexstr\0\0\0\2hi"))), "hi");
  EXPECT_EQ(text_of(xp::ref::adopt(xp_deserialize(s.get(), xp_code("name"), "nametext\0\0\0\2hi"))), "hi");
  EXPECT_EQ(xp_deserialize(s.get(), xp_code("eman"), "namexstr\0\0\0\2hi"), nullptr);
  EXPECT_EQ(xp_deserialize(s.get(), 0, "namedata\0\0\0\2hi"), nullptr);
}

TEST_F(string, validity_is_rfc_3629) {
  struct row {
    std::string_view text;
    int64_t fault;  // -1: valid
  };
  const row rows[] = {
      {"", -1},
      {"plain text of more than eight bytes", -1},
      {"\x7F\xC2\x80\xDF\xBF", -1},              // U+0080, U+07FF
      {"\xE0\xA0\x80\xEF\xBF\xBF", -1},          // U+0800, U+FFFF
      {"\xED\x9F\xBF\xEE\x80\x80", -1},          // around the surrogates
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", -1},  // U+10000, U+10FFFF
      {"a\0b"sv, -1},
      {"ab\x80", 2},  // continuation without a lead
      {"\xC0\x80", 0},
      {"\xC1\xBF", 0},  // overlong
      {"\xE0\x9F\xBF", 0},
      {"\xF0\x8F\xBF\xBF", 0},
      {"12345678\xED\xA0\x80", 8},
      {"\xED\xBF\xBF", 0},  // surrogates
      {"\xF4\x90\x80\x80", 0},
      {"\xF5\x80\x80\x80", 0},  // above U+10FFFF
      {"\xF8\x88\x80\x80\x80", 0},
      {"\xFE", 0},
      {"\xFF", 0},
      {"a\xC3", 1},
      {"a\xE2\x82", 1},
      {"a\xF0\x9F\x98", 1},  // cut
      {"\xC3\"", 0},
      {"\xE2\x82\"", 0},
      {"\xE2\"\xAC", 0},
      {"\xC3\0"sv, 0},
      {"\xC3\xA9\xC3\xC3\xA9", 2},
  };
  for (const row &r : rows) {
    EXPECT_EQ(xp_str_valid(make(r.text).get()), r.fault) << r.text;
    EXPECT_EQ(xp_str_txtvalid(r.text.data(), static_cast<int64_t>(r.text.size())), r.fault) << r.text;
  }
  // The zero byte ends a cut sequence; the bytes behind it would complete it.
  EXPECT_EQ(xp_str_txtvalid("a\xE2\x82\0\xAC", -1), 1);
  EXPECT_EQ(xp_str_sequence("\xE2\x82\xAC", 2), 0);
  EXPECT_EQ(xp_str_sequence("\xE2\x82\xAC", 3), 3);
  EXPECT_EQ(xp_str_sequence("\xE2\x82\xAC", -1), 3);
  EXPECT_EQ(xp_str_sequence("", -1), 0);
  EXPECT_EQ(xp_str_sequence("\0", 1), 1);
}

}  // namespace
