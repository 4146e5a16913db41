// Other encodings, 16-bit text and platform values.

#include "xp/string/encoding.h"

#include "tests/support/objects.h"
#include "xp/object/memory.h"
#include "xp/string/string.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <memory>
#include <random>

namespace {

using namespace std::literals;

using string_encoding = leak_check;

int64_t bytes_of(std::string_view text) {
  return static_cast<int64_t>(text.size());
}

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
      ASSERT_EQ(taken(make(utf8.data(), bytes_of(utf8), XP_ENC_UTF8)), utf8);
      ASSERT_EQ(taken(make(utf16.data(), bytes_of(utf16), XP_ENC_UTF16LE)), utf8);
      ASSERT_EQ(taken(make(swapped(utf16, 2).data(), bytes_of(utf16), XP_ENC_UTF16BE)), utf8);
      ASSERT_EQ(taken(make(utf32.data(), bytes_of(utf32), XP_ENC_UTF32LE)), utf8);
      ASSERT_EQ(taken(make(swapped(utf32, 4).data(), bytes_of(utf32), XP_ENC_UTF32BE)), utf8);
    }
    ASSERT_EQ(taken(xp_str_newdecode((utf32 + "\0\0\0\0"s).data(), XP_ENC_UTF32LE)), utf8);
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
  struct row {
    uint32_t encoding;
    std::string_view text, strict, repaired = strict;
  };
  const std::string_view bad = "null", mark = "\xEF\xBF\xBD";
  const row rows[] = {
      {XP_ENC_UTF8, "a\x80", bad, "a\xEF\xBF\xBD"},
      {XP_ENC_ASCII, "a\x7F", "a\x7F"},
      {XP_ENC_ASCII, "\x80", bad, mark},
      {XP_ENC_UTF16, "a\0"sv, "a"},
      {XP_ENC_UTF16, "\xFF\xFE\x61\0"sv, "a"},
      {XP_ENC_UTF16, "\xFE\xFF\0\x61"sv, "a"},
      {XP_ENC_UTF16, "\xFE\xFF", ""},
      {XP_ENC_UTF16BE, "\xFE\xFF\0\x61"sv, "\xEF\xBB\xBF\x61"},
      {XP_ENC_UTF16BE, "\xD8\x00\0\x61"sv, bad, "\xEF\xBF\xBD\x61"},
      {XP_ENC_UTF16BE, "\xDC\x00"sv, bad, mark},
      {XP_ENC_UTF16BE, "\xD8\x00"sv, bad, mark},
      {XP_ENC_UTF16BE, "\xD8\x00\xDC"sv, bad, "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {XP_ENC_UTF16BE, "\xDB\xFF\xDF\xFF", "\xF4\x8F\xBF\xBF"},
      {XP_ENC_UTF32BE, "\0\x10\xFF\xFF"sv, "\xF4\x8F\xBF\xBF"},
      {XP_ENC_UTF32BE, "\0\x11\0\0"sv, bad, mark},
      {XP_ENC_UTF32BE, "\0\0\xD8\0"sv, bad, mark},
      {XP_ENC_UTF32BE, "\0\0\0"sv, bad, mark},
      {XP_ENC_UTF32BE, "\xFF\xFF\xFF\xFF", bad, mark},
      {XP_ENC_UTF32BE + 1, "a", bad},
  };
  for (const row &r : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &r - rows);
    EXPECT_EQ(taken(xp_str_encmake(r.text.data(), bytes_of(r.text), r.encoding)), r.strict);
    EXPECT_EQ(taken(xp_str_makedecode(r.text.data(), bytes_of(r.text), r.encoding)), r.repaired);
    xp::ref s = str(r.text);
    xp::ref decoded = xp::ref::adopt(xp_str_decode(s.get(), r.encoding));
    bool known = r.repaired != bad;
    EXPECT_EQ(decoded.get() == s.get(), r.repaired == r.text || !known);
    EXPECT_EQ(xp_str_getptr(decoded.get()), known ? r.repaired : r.text);
  }
  for (uint32_t encoding = XP_ENC_UTF8; encoding <= XP_ENC_UTF32BE; ++encoding)
    EXPECT_EQ(taken(xp_str_encmake(nullptr, 5, encoding)), "");
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
  EXPECT_EQ(taken(xp_str_wnew(u"a\u20AC")), "a\xE2\x82\xAC");
  EXPECT_EQ(taken(xp_str_wnew(nullptr)), "");
  const char16_t lone[] = {0xDC00, u'a', 0xD800};
  EXPECT_EQ(taken(xp_str_wmake(lone, 3)), "\xEF\xBF\xBD\x61\xEF\xBF\xBD");
  EXPECT_EQ(xp_str_wmake(lone, INT64_MAX), nullptr);
  char16_t buffer[4] = {u'#', u'#', u'#', u'#'};
  xp::ref s = str(("\xE2\x82y\xF0\x9F\x98\x80"));
  EXPECT_EQ(xp_str_wget(s.get(), buffer, 4), 2);
  EXPECT_EQ(std::u16string_view(buffer, 4), u"\uFFFDy\0#"sv);
  EXPECT_EQ(xp_str_wget(s.get(), buffer, 0), 0);
  EXPECT_EQ(xp_str_wget(nullptr, buffer, 4), 0);
  EXPECT_EQ(buffer[0], 0);
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
