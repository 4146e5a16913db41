// Other encodings, 16-bit text and platform values.

#include "xp/string/encoding.h"

#include "tests/xp/string/strings.h"
#include "xp/object/memory.h"
#include "xp/string/string.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <memory>
#include <random>

namespace {

using namespace std::string_literals;

using string_encoding = leak_check;

std::string swapped(std::string text, size_t unit) {
  for (auto at = text.begin(); at != text.end(); at += static_cast<int64_t>(unit))
    std::reverse(at, at + static_cast<int64_t>(unit));
  return text;
}

TEST_F(string_encoding, sampled_texts_come_back) {
  for (unsigned seed = 1; seed <= 3000; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    std::u32string points;
    for (size_t length = random() % 40; points.size() < length;) {
      auto point = static_cast<char32_t>(random() % (1u << (7 + random() % 15)));
      if (point > 0 && point <= 0x10FFFF && (point < 0xD800 || point > 0xDFFF)) points += point;
    }
    icu::UnicodeString wide = icu::UnicodeString::fromUTF32(reinterpret_cast<const UChar32 *>(points.data()),
                                                            static_cast<int32_t>(points.size()));
    std::string utf8;
    wide.toUTF8String(utf8);
    std::string utf16(reinterpret_cast<const char *>(wide.getBuffer()),
                      static_cast<size_t>(wide.length()) * 2);
    std::string utf32(reinterpret_cast<const char *>(points.data()), points.size() * 4);
    for (auto *make : {xp_str_encmake, xp_str_makedecode}) {
      ASSERT_EQ(taken(make(utf8.data(), bytes_in(utf8), XP_ENC_UTF8)), utf8);
      ASSERT_EQ(taken(make(utf16.data(), bytes_in(utf16), XP_ENC_UTF16LE)), utf8);
      ASSERT_EQ(taken(make(swapped(utf16, 2).data(), bytes_in(utf16), XP_ENC_UTF16BE)), utf8);
      ASSERT_EQ(taken(make(utf32.data(), bytes_in(utf32), XP_ENC_UTF32LE)), utf8);
      ASSERT_EQ(taken(make(swapped(utf32, 4).data(), bytes_in(utf32), XP_ENC_UTF32BE)), utf8);
    }
    utf32 += "\0\0\0\0"s;
    ASSERT_EQ(taken(xp_str_newdecode(utf32.data(), XP_ENC_UTF32LE)), utf8);
    ASSERT_EQ(taken(xp_str_newdecode(swapped(utf32, 4).data(), XP_ENC_UTF32BE)), utf8);
    xp::ref s = xp::ref::adopt(xp_str_wmake(wide.getBuffer(), wide.length()));
    ASSERT_EQ(xp_str_getptr(s.get()), utf8);
    ASSERT_EQ(xp_str_wget(s.get(), nullptr, 0), wide.length());
    // With room for all, and for one unit less: the block ends where the room does.
    for (int64_t room : {wide.length() + 1, wide.length()}) {
      std::unique_ptr<char16_t[]> block(new char16_t[static_cast<size_t>(room)]);
      int64_t units = xp_str_wget(s.get(), block.get(), room);
      int64_t fits = std::max<int64_t>(room - 1, 0);
      if (fits < wide.length() && fits > 0 && U16_IS_TRAIL(wide[static_cast<int32_t>(fits)])) --fits;
      ASSERT_EQ(units, fits);
      ASSERT_TRUE(std::equal(block.get(), block.get() + units, wide.getBuffer()));
      ASSERT_TRUE(room == 0 || block[static_cast<size_t>(units)] == 0);
    }
  }
}

TEST_F(string_encoding, ill_formed_and_marked) {
  const std::string_view bad = "null", mark = "\uFFFD";
  const struct {
    uint32_t encoding;
    std::string_view text, strict, repaired;
  } rows[] = {
      {XP_ENC_UTF8, "a\x80", bad, "a\uFFFD"},
      {XP_ENC_ASCII, "a\x7F", "a\x7F", "(same)"},
      {XP_ENC_ASCII, "\x80", bad, mark},
      {XP_ENC_UTF16, "a\0"sv, "a", "a"},
      {XP_ENC_UTF16, "\xFF\xFE\x61\0"sv, "a", "a"},
      {XP_ENC_UTF16, "\xFE\xFF\0\x61"sv, "a", "a"},
      {XP_ENC_UTF16, "\xFE\xFF", "", ""},
      {XP_ENC_UTF16BE, "\xFE\xFF\0\x61"sv, "\uFEFFa", "\uFEFFa"},
      {XP_ENC_UTF16BE, "\xD8\x00\0\x61"sv, bad, "\uFFFDa"},
      {XP_ENC_UTF16BE, "\xDC\x00"sv, bad, mark},
      {XP_ENC_UTF16BE, "\xD8\x00"sv, bad, mark},
      {XP_ENC_UTF16BE, "\xD8\x00\xDC"sv, bad, "\uFFFD\uFFFD"},
      {XP_ENC_UTF16BE, "\xDB\xFF\xDF\xFF", "\U0010FFFF", "\U0010FFFF"},
      {XP_ENC_UTF32BE, "\0\x10\xFF\xFF"sv, "\U0010FFFF", "\U0010FFFF"},
      {XP_ENC_UTF32BE, "\0\x11\0\0"sv, bad, mark},
      {XP_ENC_UTF32BE, "\0\0\xD8\0"sv, bad, mark},
      {XP_ENC_UTF32BE, "\0\0\0"sv, bad, mark},
      {XP_ENC_UTF32BE, "\xFF\xFF\xFF\xFF", bad, mark},
      {XP_ENC_UTF32BE + 1, "a", bad, "(same)"},
  };
  for (const auto &[encoding, text, strict, repaired] : rows) {
    SCOPED_TRACE(testing::Message() << "encoding " << encoding << " of " << testing::PrintToString(text));
    xp::ref s = str(text);
    EXPECT_EQ(taken(xp_str_encmake(text.data(), bytes_in(text), encoding)), strict);
    EXPECT_EQ(changed(s, xp_str_decode(s.get(), encoding)), repaired);
    EXPECT_EQ(taken(xp_str_makedecode(text.data(), bytes_in(text), encoding)),
              repaired == "(same)" ? strict : repaired);
    EXPECT_EQ(taken(xp_str_encmake(nullptr, 5, encoding)), encoding <= XP_ENC_UTF32BE ? "" : bad);
  }
  EXPECT_EQ(xp_str_decode(nullptr, XP_ENC_LATIN1), nullptr);
}

// All 256 bytes as the platform reads them.
TEST_F(string_encoding, single_byte_tables) {
  std::string bytes(256, '\0');
  for (size_t i = 0; i < 256; ++i)
    bytes[i] = static_cast<char>(i);
  for (auto [encoding, name] :
       {std::pair(XP_ENC_LATIN1, "iso-8859-1"), {XP_ENC_WINDOWS1252, "windows-1252"}}) {
    std::string expected;
    icu::UnicodeString(bytes.data(), 256, name).toUTF8String(expected);
    EXPECT_EQ(taken(xp_str_encmake(bytes.data(), 256, encoding)), expected);
    EXPECT_EQ(taken(xp_str_makedecode(bytes.data(), 256, encoding)), expected);
  }
}

TEST_F(string_encoding, wide_text_that_is_not_whole) {
  const char16_t lone[] = {0xDC00, u'a', 0xD800};
  expect(
      {xp_str_wnew(u"a\u20AC"), xp_str_wnew(nullptr), xp_str_wmake(lone, 3), xp_str_wmake(lone, INT64_MAX)},
      "a\u20AC  \uFFFDa\uFFFD null");
  char16_t buffer[4] = {u'#', u'#', u'#', u'#'};
  xp::ref s = str("\xE2\x82y\U0001F600");
  EXPECT_EQ(xp_str_wget(s.get(), buffer, 4), 2);
  EXPECT_EQ(std::u16string_view(buffer, 4), u"\uFFFDy\0#"sv);
  expect({xp_str_wget(s.get(), buffer, 0), xp_str_wget(nullptr, buffer, 4), buffer[0] == 0}, "0 0 1");
}

TEST_F(string_encoding, platform_values) {
  xp_cf value{.kind = XP_CF_NONE, .text = nullptr, .length = 0, .integer = INT64_MIN, .real = 2.5};
  auto text = [&](auto kind) {
    value.kind = kind;
    return taken(xp_str_cfmake(&value));
  };
  expect({text(XP_CF_INTEGER), text(XP_CF_REAL), text(XP_CF_BOOLEAN), text(XP_CF_TEXT), text(XP_CF_NONE),
          xp_str_cfmake(nullptr)},
         "-9223372036854775808 2.500000 true  null null");
  value.integer = 0;
  expect({text(XP_CF_BOOLEAN)}, "false");
  ASSERT_EQ(xp_str_cfget(str("a\xE2\x82\xAC").get(), &value), 1);
  EXPECT_EQ(value.text, u"a\u20AC"sv);
  expect({value.length, xp_str_cfmake(&value)}, "2 a\xE2\x82\xAC");
  xp_free(value.text);
  EXPECT_EQ(xp_str_cfget(nullptr, &value), 0);
  EXPECT_EQ(value.kind, XP_CF_NONE);
}

}  // namespace
