// Making, transforming and the type protocol of strings.

#include "xp/string/string.h"

#include "tests/support/objects.h"
#include "xp/object/type.h"
#include "xp/string/text.h"

#include <string.h>

namespace {

using namespace std::string_view_literals;
using string = leak_check;

TEST_F(string, copies_its_text_and_ends_it) {
  char source[] = "abc";
  xp::ref s = xp::ref::adopt(xp_str_new(source));
  source[0] = 'X';
  expect({s}, "abc");
  EXPECT_EQ(xp_type(s.get()), xp_str_type());
  xp::ref part = str("ab\0cd"sv.substr(0, 4));
  expect({part, xp_str_getptr(part.get())[4]}, "ab\0c 0"sv);
  expect({xp_str_new(nullptr), xp_str_make(nullptr, 5), xp_str_new(""), xp_str_const(nullptr)}, "   ");
  static const char literal[] = "fixed";
  s = xp::ref::adopt(xp_str_const(literal));
  EXPECT_EQ(xp_str_getptr(s.get()), literal);
  EXPECT_EQ(xp_str_length(s.get()), 5);
}

TEST_F(string, null_is_accepted_everywhere) {
  expect({xp_str_length(nullptr), xp_str_getptr(nullptr), xp_str_coerce(nullptr), xp_str_trim(nullptr),
          xp_str_unescape(nullptr), xp_str_concat(nullptr, nullptr), xp_str_valid(nullptr)},
         "0 null null null null null -1");
  EXPECT_EQ(xp_str_length(num(12).get()), 0) << "another type is no string";
}

// What stays as it is gives the string itself.
TEST_F(string, coerce_append_and_concat) {
  xp::ref ab = str("ab"), empty = str(""), cd = str("cd");
  EXPECT_EQ(xp::ref::adopt(xp_str_coerce(ab.get())).get(), ab.get());
  xp::ref mute = xp::ref::adopt(xp_new(xp_code("mute"), 0));
  expect({xp_str_coerce(num(-1234).get()), xp_str_length(xp::ref::adopt(xp_str_coerce(mute.get())).get())},
         "-1234 0");
  expect({xp_str_append(ab.get(), "cdef", 2), xp_str_append(nullptr, "cd", -1),
          xp_str_append(empty.get(), "cd", -1), xp_str_concat(ab.get(), cd.get())},
         "abcd cd cd abcd");
  EXPECT_EQ(xp::ref::adopt(xp_str_append(ab.get(), nullptr, 3)).get(), ab.get());
  EXPECT_EQ(xp::ref::adopt(xp_str_concat(ab.get(), nullptr)).get(), ab.get());
  EXPECT_EQ(xp::ref::adopt(xp_str_concat(empty.get(), cd.get())).get(), cd.get());
  EXPECT_EQ(xp::ref::adopt(xp_str_concat(nullptr, cd.get())).get(), cd.get());
}

TEST_F(string, format_fits_the_stack_or_not) {
  expect({xp_str_format("%s-%d", "a", 5)}, "a-5");
  // At the size of the first buffer, one before it and one past it.
  for (int length : {510, 511, 512, 5000})
    expect({xp_str_format("%*d|%s", length - 2, 7, "x")},
           std::string(static_cast<size_t>(length) - 3, ' ') + "7|x");
}

TEST_F(string, trim) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {" a ", "a"}, {"\t\na b\x01", "a b"}, {"a\0"sv, "a"}, {"\xC3\xA9 ", "\xC3\xA9"}};
  for (const auto &[text, trimmed] : rows)
    expect({xp_str_trim(str(text).get())}, trimmed);
  xp::ref whole = str("a b");
  EXPECT_EQ(xp::ref::adopt(xp_str_trim(whole.get())).get(), whole.get());
  for (std::string_view blank : {""sv, "   "sv, "\0\x1F "sv})
    EXPECT_EQ(xp_str_trim(str(blank).get()), nullptr);
}

TEST_F(string, unescape) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {R"(a\x41\101\q\u0041)", "aAAqu0041"},
      {R"(\n\r\t\"\\\/)", "\n\r\t\"\\/"},
      {R"(\x \xg \x4 \x4z \x414)", "x xg \x04 \x04z A4"},
      {R"(\xe9\XE9)", "\xE9XE9"},
      {R"(a\0b\x00c)", "a\0b\0c"sv},
      {R"(\378\377\400\8)", "\0378\xFF\64\60\60\70"sv},
      {R"(\1\12\1234)", "\001\012S4"sv},
      {"abc\\", "abc"},
      {"\\", ""},
      {"ab\0cd"sv, "ab"},
      {"ab\\\0cd"sv, "ab"},
      {"\\x4\0001"sv, "\x04"},
  };
  for (const auto &[text, plain] : rows) {
    expect({xp_str_unescape(str(text).get())}, plain);
    xp::ref direct = xp::ref::adopt(xp_str_unescaped(text.data(), static_cast<int64_t>(text.size())));
    expect({direct, xp_str_getptr(direct.get())[xp_str_length(direct.get())]}, std::string(plain) + " 0");
  }
  xp::ref plain = str("plain");
  EXPECT_EQ(xp::ref::adopt(xp_str_unescape(plain.get())).get(), plain.get());
  // The first is cut inside the escape.
  expect({xp_str_unescaped(R"(a\tb)", 2), xp_str_unescaped(R"(a\tb)", -1), xp_str_unescaped(nullptr, 4)},
         "a a\tb ");
}

TEST_F(string, textify_never_cuts_a_character) {
  xp::ref s = str("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  const int64_t expected[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
  EXPECT_EQ(xp_str_textify(s.get(), nullptr, 0), 10);
  char buffer[16];
  for (int64_t capacity = 0; capacity < 12; ++capacity) {
    memset(buffer, '#', sizeof buffer);
    int64_t written = xp_str_textify(s.get(), buffer, capacity);
    EXPECT_EQ(written, expected[capacity]) << capacity;
    EXPECT_EQ(buffer[written], '#') << capacity;
  }
  EXPECT_EQ(xp_str_textify(s.get(), buffer, -1), 0);
  // A text that itself ends inside a character is taken whole when it fits.
  EXPECT_EQ(xp_str_textify(str("ab\xE2\x82").get(), buffer, 4), 4);
}

TEST_F(string, streams_and_answers_control_codes) {
  std::string seen;
  auto writer = [](void *context, const char *bytes, int64_t length) -> int64_t {
    static_cast<std::string *>(context)->append(bytes, static_cast<size_t>(length));
    return 42;
  };
  EXPECT_EQ(xp_stream(str("a\0b"sv).get(), writer, &seen), 42);
  EXPECT_EQ(seen, "a\0b"sv);
  expect({xp_falsey(str("").get()), xp_falsey(str("0").get()), xp_value(str(" -12x").get()),
          xp_value(str("").get())},
         "1 0 -12 0");
  xp::ref s = str("abc");
  uint32_t length = 0;
  EXPECT_EQ(xp_control(s.get(), XP_CTL_POINTER, 0, &length), xp::result(xp_str_getptr(s.get())));
  expect({length, xp_control(s.get(), XP_CTL_POINTER, 1, &length),
          xp_control(s.get(), xp_code("what"), 0, nullptr)},
         "3 0 0");
  EXPECT_EQ(xp::ref::adopt(xp_duplicate(s.get(), 0)).get(), s.get());
}

// Writing records is seen in tests/ipc.
TEST_F(string, records_are_read) {
  xp::ref s = str("");
  expect({xp_deserialize(s.get(), 0, "namexstr\0\0\0\2hi"),
          xp_deserialize(s.get(), xp_code("name"), "nametext\0\0\0\2hi"),
          xp_deserialize(s.get(), xp_code("eman"), "namexstr\0\0\0\2hi"),
          xp_deserialize(s.get(), 0, "namedata\0\0\0\2hi")},
         "hi hi null null");
}

// All kinds of faults are compared with the platform's reading in unicode_test.cpp.
TEST_F(string, validity_at_the_end_of_a_text) {
  // The zero byte ends a cut sequence; the bytes behind it would complete it.
  expect({xp_str_txtvalid("a\xE2\x82\0\xAC", -1), xp_str_txtvalid("\xC3\0", 2),
          xp_str_valid(str("a\0b"sv).get()), xp_str_valid(str("12345678\xED\xA0\x80").get())},
         "1 0 -1 8");
  expect({xp_str_sequence("\xE2\x82\xAC", 2), xp_str_sequence("\xE2\x82\xAC", 3),
          xp_str_sequence("\xE2\x82\xAC", -1), xp_str_sequence("", -1), xp_str_sequence("\0", 1)},
         "0 3 3 0 1");
}

}  // namespace
