// Single values as text and back: what is written reads back, in any buffer, and no text harms the readers.

#include "print.h"
#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "tests/support/time_zone.h"
#include "xp/format/escaped_text.h"
#include "xp/format/value_text.h"

#include <math.h>
#include <string.h>

#include <bit>
#include <random>

namespace {

class format_value : public leak_check {
protected:
  std::string bytes(size_t count) {
    std::string all(count, '\0');
    for (char &c : all)
      c = static_cast<char>(random_());
    return all;
  }
  static constexpr unsigned seed_ = 20261121;
  std::mt19937_64 random_{seed_};
  testing::ScopedTrace trace_{__FILE__, __LINE__, "seed " + std::to_string(seed_)};
};

// The text that a writer makes.
template <typename Write, typename... Values>
std::string text_of(Write write, Values... values) {
  return text_in_every_buffer(6, [&](char *buffer, int64_t size) { return write(buffer, size, values...); });
}

TEST_F(format_value, numbers) {
  for (int i = 0; i < 3000; ++i) {
    const auto quad = i == 0 ? INT64_MIN : static_cast<int64_t>(random_()) >> random_() % 64;
    const auto uquad = static_cast<uint64_t>(quad);
    const auto word = static_cast<int32_t>(quad);
    const auto uword = static_cast<uint32_t>(quad);
    char expected[256];
    snprintf(expected, sizeof expected, "%ld %lu %d %u %lx %x %016lX %08X", quad, uquad, word, uword, uquad,
             uword, uquad, uword);
    const std::string quad_text = text_of(xp_fmt_quad, quad), word_text = text_of(xp_fmt_long, word);
    expect({quad_text, text_of(xp_fmt_uquad, uquad), word_text, text_of(xp_fmt_ulong, uword),
            text_of(xp_fmt_xquad, uquad), text_of(xp_fmt_xlong, uword), text_of(xp_fmt_hexquad, uquad),
            text_of(xp_fmt_hexlong, uword)},
           expected);
    ASSERT_TRUE(xp_fmt_getquad(quad_text.c_str(), -1) == quad &&
                xp_fmt_getlong(word_text.c_str(), -1) == word);
    const auto real = i % 2 != 0 ? static_cast<double>(quad) / 1024 : std::bit_cast<double>(quad);
    const std::string text = " \t" + text_of(xp_fmt_double, real) + "]";
    const double back = xp_fmt_getdouble(text.data(), static_cast<int64_t>(text.size()));
    ASSERT_TRUE(isnan(real) ? isnan(back) : std::bit_cast<int64_t>(back) == std::bit_cast<int64_t>(real))
        << text;
  }
  for (const auto &[text, value] :
       pairs_of(">0 +>0 --1>0 0x10>0 -0>-0 -1e-999>-0 1,5>1 +1.5e2x>150 +INFinity>inf 1e999>inf"))
    EXPECT_EQ(print("%g", xp_fmt_getdouble(text.c_str(), -1)), value) << text;
  EXPECT_EQ(xp_fmt_getdouble("1234", 2) + xp_fmt_getdouble(nullptr, 4), 12);
}

TEST_F(format_value, bytes_uuids_and_addresses) {
  for (size_t i = 0; i < 500; ++i) {
    const std::string raw = bytes(16 + i % 9), blank(16, '#');
    std::string text = text_of(xp_fmt_data, raw.data(), static_cast<int64_t>(raw.size())), read = blank;
    for (size_t pair = text.size() / 2; pair-- > 0;)
      text.insert(2 * pair, random_() % 2, ' ');
    ASSERT_EQ(xp_fmt_getdata(text_of(xp_fmt_lowertext, text.data(), -1).data(), -1, nullptr, 0), raw.size());
    ASSERT_EQ(xp_fmt_getdata(text.data(), -1, read.data(), 15), 15) << text;
    ASSERT_EQ(read, raw.substr(0, 15) + "#");

    text = text_of(xp_fmt_uuid, raw.data());
    ASSERT_EQ(text, print("%p{U}", raw.data()));
    read = blank;
    // A byte changed to one that is no digit, no hyphen at its place or a missing end is no UUID.
    std::string damaged = text_of(xp_fmt_uppertext, text.c_str(), -1);
    const size_t at = random_() % 36;
    damaged[at] = damaged[at] == '-' ? '0' : std::string_view("-g \0{", 5)[random_() % 5];
    ASSERT_EQ(xp_fmt_getuuid(damaged.data(), 36, read.data()), -1) << damaged;
    ASSERT_EQ(xp_fmt_getuuid(text.data(), static_cast<int64_t>(at), read.data()), -1);
    ASSERT_EQ(read, blank);
    damaged[at] = text[at];
    ASSERT_EQ(xp_fmt_getuuid(damaged.data(), 36, read.data()), 0) << damaged;
    ASSERT_EQ(read, raw.substr(0, 16));

    const size_t size = i % 2 == 0 ? 4 : 16;
    text = text_of(xp_fmt_addr, raw.data(), static_cast<int64_t>(size));
    read = blank;
    ASSERT_EQ(xp_fmt_getaddr(text.data(), static_cast<int64_t>(text.size()), read.data()), size) << text;
    ASSERT_EQ(read, raw.substr(0, size) + blank.substr(size));
  }
  for (const char *text : {"0", "0x00", "0 0", "00-00", "0g"})
    EXPECT_EQ(xp_fmt_getdata(text, -1, nullptr, 0), -1) << text;
  char address[16];
  for (const std::string &text :
       {std::string("::1\0", 4), std::string("1.2.3.4 "), std::string("fe80::1%eth0")})
    EXPECT_EQ(xp_fmt_getaddr(text.data(), static_cast<int64_t>(text.size()), address), 0) << text;
  EXPECT_EQ(xp_fmt_getaddr(std::string(100, '1').c_str(), -1, address), 0);
  EXPECT_EQ(xp_fmt_addr(nullptr, 0, address, 5) + xp_fmt_addr(nullptr, 0, nullptr, 4), 0);
}

// What the engine's escapes make of a text reads back, where they lose nothing.
TEST_F(format_value, texts_and_times) {
  for (size_t i = 0; i < 3000; ++i) {
    std::string text = bytes(i % 12);
    for (char &c : text)
      c = i % 2 != 0 ? "%&<>'\"#3a;\xC3\xA9"[static_cast<unsigned char>(c) % 12] : c;
    const int length = static_cast<int>(text.size());
    EXPECT_EQ(text_of(xp_fmt_escapetext, text.data(), length), print("%+S", length, text.data()));
    for (const char *format : {"%+S", "%S{:@}", "%S{:/}", "%S{:&}"}) {
      // An escape that was there before is kept by "&" and would be taken back too.
      if (strchr(format, '&') != nullptr && text.find('%') != std::string::npos) continue;
      const std::string escaped = print(format, length, text.data());
      ASSERT_EQ(text_of(xp_fmt_decodetext, escaped.data(), static_cast<int64_t>(escaped.size())), text)
          << escaped;
    }
  }
  const char plain[] = "%%4 %g1 %lt %#; %#256; %#0039; %a";
  EXPECT_EQ(text_of(xp_fmt_decodetext, plain, -1), plain);
  EXPECT_EQ(text_of(xp_fmt_decodetext, "%41%42", 5), "A%4") << "not a byte behind the text";
  EXPECT_EQ(text_of(xp_fmt_decodetext, "%C3%a9%E2%82%AC", -1), "\xC3\xA9\xE2\x82\xAC");
  const time_zone zone(half_hour_zone);
  EXPECT_EQ(text_of(xp_fmt_localtime, int64_t{1794712237}, nullptr), "2026-11-15 08:40:37");
  EXPECT_EQ(text_of(xp_fmt_utctime, int64_t{1794712237}, "{#a}#T"), "{Sun}03:10:37");
}

}  // namespace
