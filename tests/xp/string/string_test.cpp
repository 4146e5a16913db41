// Making, transforming and the type protocol of strings.

#include "xp/string/string.h"

#include "tests/xp/string/strings.h"
#include "xp/object/type.h"
#include "xp/string/edit.h"
#include "xp/string/mapping.h"
#include "xp/string/text.h"

#include <string.h>

namespace {

using string = leak_check;

TEST_F(string, copies_its_text_and_ends_it) {
  char source[] = "abc";
  xp::ref s = xp::ref::adopt(xp_str_new(source)), part = str("ab\0cd"sv.substr(0, 4));
  source[0] = 'X';
  expect({s, part, xp_str_getptr(part.get())[4]}, "abc ab\0c 0"sv);
  EXPECT_EQ(xp_type(s.get()), xp_str_type());
  expect({xp_str_new(nullptr), xp_str_make(nullptr, 5), xp_str_new(""), xp_str_const(nullptr)}, "   ");
  static const char literal[] = "fixed";
  s = xp::ref::adopt(xp_str_const(literal));
  EXPECT_EQ(xp_str_getptr(s.get()), literal);
  EXPECT_EQ(xp_str_length(s.get()), 5);
}

TEST_F(string, coerce_append_and_concat) {
  xp::ref ab = str("ab"), empty = str(""), cd = str("cd"), mute = xp::ref::adopt(xp_new(xp_code("mute"), 0));
  expect({xp_str_coerce(num(-1234).get()), xp_str_length(xp::ref::adopt(xp_str_coerce(mute.get())).get()),
          xp_str_length(num(12).get()), changed(ab, xp_str_coerce(ab.get())), xp_str_coerce(nullptr)},
         "-1234 0 0 (same) null");
  expect({xp_str_append(ab.get(), "cdef", 2), xp_str_append(nullptr, "cd", -1),
          xp_str_append(empty.get(), "cd", -1), changed(ab, xp_str_append(ab.get(), nullptr, 3))},
         "abcd cd cd (same)");
  expect({xp_str_concat(ab.get(), cd.get()), changed(ab, xp_str_concat(ab.get(), nullptr)),
          changed(cd, xp_str_concat(empty.get(), cd.get())), changed(cd, xp_str_concat(nullptr, cd.get())),
          xp_str_concat(nullptr, nullptr)},
         "abcd (same) (same) (same) null");
}

TEST_F(string, format_fits_the_stack_or_not) {
  expect({xp_str_format("%s-%d", "a", 5)}, "a-5");
  // At the size of the first buffer, one before it and one past it.
  for (int length : {510, 511, 512, 5000})
    expect({xp_str_format("%*d|%s", length - 2, 7, "x")},
           std::string(static_cast<size_t>(length) - 3, ' ') + "7|x");
}

TEST_F(string, transformations) {
  const struct {
    xp_obj *(*transform)(xp_obj *);
    std::string_view text, expected;
  } rows[] = {
      {xp_str_trim, " a ", "a"},
      {xp_str_trim, "\t\na b\x01", "a b"},
      {xp_str_trim, "a\0"sv, "a"},
      {xp_str_trim, "\xC3\xA9 ", "\xC3\xA9"},
      {xp_str_trim, "a b", "(same)"},
      {xp_str_trim, "", "null"},
      {xp_str_trim, "\0\x1F "sv, "null"},
      {xp_str_clean, "a\tb c\x7F", "(same)"},
      {xp_str_clean, "a\nb\x01\x1F", "a b  "},
      {xp_str_clean, "\n\0\n"sv, " \0\n"sv},
      {xp_str_clean, "a\0\n"sv, "(same)"},
      {xp_str_unescape, R"(a\x41\101\q\u0041)", "aAAqu0041"},
      {xp_str_unescape, R"(\n\r\t\"\\\/)", "\n\r\t\"\\/"},
      {xp_str_unescape, R"(\x \xg \x4 \x4z \x414)", "x xg \x04 \x04z A4"},
      {xp_str_unescape, R"(\xe9\XE9)", "\xE9XE9"},
      {xp_str_unescape, R"(a\0b\x00c)", "a\0b\0c"sv},
      {xp_str_unescape, R"(\378\377\400\8)", "\0378\xFF\64\60\60\70"sv},
      {xp_str_unescape, R"(\1\12\1234)", "\001\012S4"sv},
      {xp_str_unescape, "abc\\", "abc"},
      {xp_str_unescape, "\\", ""},
      {xp_str_unescape, "ab\0cd"sv, "ab"},
      {xp_str_unescape, "ab\\\0cd"sv, "ab"},
      {xp_str_unescape, "\\x4\0001"sv, "\x04"},
      {xp_str_unescape, "plain", "(same)"},
      {xp_str_upper, "aZ@[`{z", "AZ@[`{Z"},
      {xp_str_upper, "ABC 1", "(same)"},
      {xp_str_upper, "\u00C9\u4E2D", "(same)"},
      {xp_str_upper, "a\x80", "(same)"},
      {xp_str_lower, "aZ@[`{z", "az@[`{z"},
      {xp_str_lower, "\u0391\u03A3 \u03A3", "\u03B1\u03C2 \u03C3"},
      {xp_str_lower, "A\x80", "(same)"},
      {xp_str_repair, "a\u00E9", "(same)"},
      {xp_str_repair, "\xE2\x82:", "\uFFFD:"},
      {xp_str_coerce, "any", "(same)"},
  };
  for (const auto &[transform, text, expected] : rows) {
    xp::ref s = str(text), made = xp::ref::adopt(transform(s.get()));
    EXPECT_EQ(changed(s, xp_retain(made.get())), expected) << testing::PrintToString(text);
    EXPECT_TRUE(!made || xp_str_getptr(made.get())[xp_str_length(made.get())] == 0) << "not ended";
    EXPECT_EQ(transform(nullptr), nullptr);
  }
  // At the size of the buffer on the stack and one past it.
  for (size_t length : {510u, 511u, 600u}) {
    xp::ref upper = xp::ref::adopt(xp_str_upper(str(std::string(length, 'a') + "\u00E9").get()));
    expect({upper, changed(upper, xp_str_upper(upper.get()))}, std::string(length, 'A') + "\u00C9 (same)");
  }
  // The first is cut inside the escape.
  expect({xp_str_unescaped(R"(a\tb)", 2), xp_str_unescaped(R"(a\tb)", -1), xp_str_unescaped("ab", 2),
          xp_str_unescaped(nullptr, 4), xp_str_txtrepair(nullptr, 3), xp_str_strrepair("\xF0\x80")},
         "a a\tb ab   \uFFFD\uFFFD");
}

TEST_F(string, textify_never_cuts_a_character) {
  xp::ref s = str("a\u00E9\u20AC\U0001F600");
  const int64_t expected[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
  EXPECT_EQ(xp_str_textify(s.get(), nullptr, 0), 10);
  char buffer[16];
  for (int64_t capacity = 0; capacity < 12; ++capacity) {
    memset(buffer, '#', sizeof buffer);
    int64_t written = xp_str_textify(s.get(), buffer, capacity);
    EXPECT_EQ(written, expected[capacity]) << capacity;
    EXPECT_EQ(buffer[written], '#') << capacity;
  }
  // A text that itself ends inside a character is taken whole when it fits.
  expect({xp_str_textify(s.get(), buffer, -1), xp_str_textify(str("ab\xE2\x82").get(), buffer, 4)}, "0 4");
}

int64_t collect(void *context, const char *bytes, int64_t length) {
  static_cast<std::string *>(context)->append(bytes, static_cast<size_t>(length));
  return 42;
}

TEST_F(string, streams_and_answers_control_codes) {
  xp::ref s = str("a\0b"sv);
  std::string heard;
  uint32_t length = 0;
  EXPECT_EQ(xp_control(s.get(), XP_CTL_POINTER, 0, &length), xp::result(xp_str_getptr(s.get())));
  expect({xp_stream(s.get(), collect, &heard), heard, length, xp_control(s.get(), XP_CTL_POINTER, 1, &length),
          xp_control(s.get(), xp_code("what"), 0, nullptr), changed(s, xp_duplicate(s.get(), 0))},
         "42 a\0b 3 0 0 (same)"sv);
  expect({xp_falsey(str("").get()), xp_falsey(str("0").get()), xp_value(str(" -12x").get()),
          xp_value(str("").get())},
         "1 0 -12 0");
  // Writing records is seen in tests/ipc.
  expect({xp_deserialize(s.get(), 0, "namexstr\0\0\0\2hi"),
          xp_deserialize(s.get(), xp_code("name"), "nametext\0\0\0\2hi"),
          xp_deserialize(s.get(), xp_code("eman"), "namexstr\0\0\0\2hi"),
          xp_deserialize(s.get(), 0, "namedata\0\0\0\2hi")},
         "hi hi null null");
}

// All kinds of faults are compared with the platform's reading in unicode_test.cpp.
TEST_F(string, validity_at_the_end_of_a_text) {
  // The zero byte ends a cut sequence; the bytes behind it would complete it.
  expect({xp_str_txtvalid("a\xE2\x82\0\xAC", -1), xp_str_txtvalid("\xC3\0", 2), xp_str_strvalid("a\xE2\x82"),
          xp_str_valid(str("a\0b"sv).get()), xp_str_valid(nullptr)},
         "1 0 1 -1 -1");
  expect({xp_str_sequence("\xE2\x82\xAC", 2), xp_str_sequence("\xE2\x82\xAC", 3),
          xp_str_sequence("\xE2\x82\xAC", -1), xp_str_sequence("", -1), xp_str_sequence("\0", 1)},
         "0 3 3 0 1");
}

}  // namespace
