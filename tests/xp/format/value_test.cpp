// Single values as text and back: what is written reads back, in any buffer, and no text harms the readers.

#include "print.h"
#include "tests/support/leak_check.h"
#include "tests/support/time_zone.h"
#include "xp/format/escaped_text.h"
#include "xp/format/value_text.h"

#include <math.h>
#include <stdio.h>
#include <string.h>

#include <memory>
#include <random>
#include <string>

namespace {

class format_value : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    SCOPED_TRACE(seed);
  }
  std::string bytes(size_t count) {
    std::string all(count, '\0');
    for (char &c : all)
      c = static_cast<char>(random_());
    return all;
  }
  static constexpr unsigned seed = 20261121;
  std::mt19937_64 random_{seed};
};

// The text that a writer makes, checked against its measure and every shorter buffer.
template <typename Write, typename... Values>
std::string text_of(Write write, Values... values) {
  const int64_t length = write(nullptr, 0, values...);
  std::string text(static_cast<size_t>(length), '\0');
  EXPECT_EQ(write(text.data(), length + 1, values...), length);
  const bool is_utf8 = xp_str_txtvalid(text.data(), length) < 0;
  for (int64_t size = 0; size <= length; ++size) {
    auto exact =
        std::make_unique<char[]>(static_cast<size_t>(size));  // a byte more is found by the sanitizer
    const int64_t written = write(exact.get(), size, values...);
    EXPECT_TRUE(size == 0 ? written == 0 : exact[static_cast<size_t>(written)] == 0) << text;
    EXPECT_EQ(memcmp(text.data(), exact.get(), static_cast<size_t>(written)), 0) << text << " in " << size;
    EXPECT_TRUE(!is_utf8 || xp_str_txtvalid(exact.get(), written) < 0) << text << " in " << size;
    EXPECT_LE(size, written + 6) << "room is left for a cut character at most";
  }
  return text;
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
    ASSERT_EQ(text_of(xp_fmt_quad, quad) + " " + text_of(xp_fmt_uquad, uquad) + " " +
                  text_of(xp_fmt_long, word) + " " + text_of(xp_fmt_ulong, uword) + " " +
                  text_of(xp_fmt_xquad, uquad) + " " + text_of(xp_fmt_xlong, uword) + " " +
                  text_of(xp_fmt_hexquad, uquad) + " " + text_of(xp_fmt_hexlong, uword),
              expected);
    ASSERT_EQ(xp_fmt_getquad(text_of(xp_fmt_quad, quad).c_str(), -1), quad);
    ASSERT_EQ(xp_fmt_getlong(text_of(xp_fmt_long, word).c_str(), -1), word);
    double real;
    memcpy(&real, &uquad, sizeof real);
    if (i % 2 != 0) real = static_cast<double>(quad) / 1024;
    const std::string text = " \t" + text_of(xp_fmt_double, real) + "]";
    const double back = xp_fmt_getdouble(text.data(), static_cast<int64_t>(text.size()));
    ASSERT_TRUE(isnan(real) ? isnan(back) : memcmp(&back, &real, sizeof real) == 0) << text;
  }
  struct {
    const char *text;
    int64_t length;
    double value;
  } const cases[] = {{"", -1, 0},
                     {"+", -1, 0},
                     {"-0", -1, -0.0},
                     {"+1.5e2x", -1, 150},
                     {"1234", 2, 12},
                     {"1,5", -1, 1},
                     {"0x10", -1, 0},
                     {"+INFinity", -1, HUGE_VAL},
                     {"1e999", -1, HUGE_VAL},
                     {"--1", -1, 0},
                     {"-1e-999", -1, -0.0},
                     {nullptr, 4, 0}};
  for (const auto &[text, length, value] : cases) {
    const double read = xp_fmt_getdouble(text, length);
    EXPECT_EQ(memcmp(&read, &value, sizeof read), 0) << text << " is " << read;
  }
}

TEST_F(format_value, bytes) {
  for (size_t i = 0; i < 200; ++i) {
    const std::string data = bytes(i % 40);
    const auto length = static_cast<int64_t>(data.size());
    const std::string text = text_of(xp_fmt_data, static_cast<const void *>(data.data()), length);
    std::string spaced = i % 2 != 0 ? text_of(xp_fmt_lowertext, text.c_str(), -1) : text;
    for (size_t at = 0; at < spaced.size(); at += 3)
      spaced.insert(at, at % 2 != 0 ? "" : " ");
    for (int64_t room = 0; room <= length; ++room) {
      std::string back = data.substr(0, static_cast<size_t>(room)) + "#";
      std::string read(back.size(), '#');
      ASSERT_EQ(xp_fmt_getdata(text.c_str(), -1, read.data(), room), room) << text;
      ASSERT_EQ(read, back);
    }
    ASSERT_EQ(xp_fmt_getdata(text.c_str(), -1, nullptr, 0), length);
    ASSERT_EQ(xp_fmt_getdata(text.c_str(), 2 * length - 1, nullptr, 0), length > 0 ? -1 : 0) << "half a byte";
  }
  for (const char *text : {"0", "0x00", "0 0", "00-00", "00\xFF", "0g"})
    EXPECT_EQ(xp_fmt_getdata(text, -1, nullptr, 0), -1) << text;
  EXPECT_EQ(xp_fmt_getdata("\t00 fF\n ", -1, nullptr, 0), 2);
  EXPECT_EQ(xp_fmt_data(nullptr, 0, nullptr, 4) + xp_fmt_getdata(nullptr, 4, nullptr, 0), 0);
}

TEST_F(format_value, uuids_and_addresses) {
  for (int i = 0; i < 1000; ++i) {
    const std::string raw = bytes(16);
    const std::string text = text_of(xp_fmt_uuid, static_cast<const void *>(raw.data()));
    ASSERT_EQ(text, print("%p{U}", raw.data()));
    std::string read(16, '#');
    // A byte changed to one that is no digit, no hyphen at its place or a missing end is no UUID.
    std::string damaged = text_of(xp_fmt_uppertext, text.c_str(), -1);
    const size_t at = random_() % 36;
    damaged[at] = damaged[at] == '-' ? '0' : std::string_view("-g \0{", 5)[random_() % 5];
    ASSERT_EQ(xp_fmt_getuuid(damaged.data(), 36, read.data()), -1) << damaged;
    ASSERT_EQ(xp_fmt_getuuid(text.data(), static_cast<int64_t>(at), read.data()), -1);
    ASSERT_EQ(read, std::string(16, '#'));
    damaged[at] = text[at];
    ASSERT_EQ(xp_fmt_getuuid(damaged.data(), 36, read.data()), 0) << damaged;
    ASSERT_EQ(read, raw);

    const int32_t length = i % 2 == 0 ? 4 : 16;
    const std::string address = text_of(xp_fmt_addr, static_cast<const void *>(raw.data()), int64_t{length});
    ASSERT_EQ(xp_fmt_getaddr(address.data(), static_cast<int64_t>(address.size()), read.data()), length);
    ASSERT_EQ(read, raw) << address;
  }
  unsigned char address[16];
  for (const char *text : {"192.0.2.1", "::", "2001:db8::1", "::ffff:192.0.2.1"}) {
    const int32_t length = xp_fmt_getaddr(text, -1, address);
    EXPECT_EQ(text_of(xp_fmt_addr, static_cast<const void *>(address), int64_t{length}), text);
  }
  for (const char *text : {"", "256.0.0.1", "1.2.3", "0x1.2.3.4", "1.2.3.4 ", "[::1]", "fe80::1%eth0",
                           "::1::", "1:2:3:4:5:6:7:8:9", "0000:0000:0000:0000:0000:0000:0000:0000:0000:0000"})
    EXPECT_EQ(xp_fmt_getaddr(text, -1, address), 0) << text;
  EXPECT_EQ(xp_fmt_getaddr("::1\0x", 5, address), 0);
  EXPECT_EQ(xp_fmt_addr(nullptr, 0, address, 5) + xp_fmt_addr(nullptr, 0, nullptr, 4), 0);
}

TEST_F(format_value, times) {
  const time_zone zone(half_hour_zone);
  EXPECT_EQ(text_of(xp_fmt_localtime, int64_t{1794712237}, nullptr), "2026-11-15 08:40:37");
  EXPECT_EQ(text_of(xp_fmt_utctime, int64_t{1794712237}, "{#a}#T"), "{Sun}03:10:37");
}

// What the engine's escapes make of a text reads back, where they lose nothing.
TEST_F(format_value, escapes) {
  for (int i = 0; i < 3000; ++i) {
    std::string text = bytes(static_cast<size_t>(i % 12));
    for (char &c : text) {
      if (i % 2 != 0) c = "%&<>'\"#3a;\xC3\xA9"[static_cast<unsigned char>(c) % 12];
    }
    const auto length = static_cast<int64_t>(text.size());
    EXPECT_EQ(text_of(xp_fmt_escapetext, text.data(), length),
              print("%+S", static_cast<int>(length), text.data()));
    for (const char *format : {"%+S", "%S{:@}", "%S{:/}", "%S{:&}"}) {
      // An escape that was there before is kept by "&" and would be taken back too.
      if (format[4] == '&' && text.find('%') != std::string::npos) continue;
      const std::string escaped = print(format, static_cast<int>(length), text.data());
      ASSERT_EQ(text_of(xp_fmt_decodetext, escaped.data(), static_cast<int64_t>(escaped.size())), text)
          << escaped << " by " << format;
    }
  }
  const char plain[] = "%%4 %g1 %lt %#; %#256; %#0039; %a";
  EXPECT_EQ(text_of(xp_fmt_decodetext, plain, -1), plain);
  EXPECT_EQ(text_of(xp_fmt_decodetext, "%41%42", 4), "A%") << "not a byte behind the text";
  EXPECT_EQ(text_of(xp_fmt_decodetext, "%C3%a9%E2%82%AC", -1), "\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(xp_fmt_decodetext(nullptr, 0, nullptr, 9), 0);
  EXPECT_EQ(text_of(xp_fmt_lowertext, "AZ\xC3\x84_", -1), "az\xC3\x84_");
}

}  // namespace
