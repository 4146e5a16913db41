// Numbers: tables of what is ours, and the C library as the judge of the rest.

#include "print.h"
#include "tests/support/leak_check.h"
#include "xp/service/locale.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <bit>
#include <random>
#include <string>

namespace {

using generator = std::mt19937_64;

class format_number : public leak_check {
protected:
  static constexpr unsigned seed_ = 20260116;
  generator random_{seed_};
  testing::ScopedTrace trace_{__FILE__, __LINE__, "seed " + std::to_string(seed_)};
};

// The smallest number without its last two digits.
const std::string minus = "\xE2\x88\x92", smallest = "92233720368547758";

TEST_F(format_number, odd_ones) {
  EXPECT_EQ(print("%lld|%d|%ld|%td|%I64d", INT64_MIN, INT32_MIN, INT64_MIN + 1, INT64_MAX, int64_t{-1}),
            minus + smallest + "|-2147483648|-9223372036854775807|9223372036854775807|-1");
  EXPECT_EQ(print("%025lld|%25lld|%-25lld|", INT64_MIN, INT64_MIN, INT64_MIN),
            minus + "00000" + smallest + "|     " + minus + smallest + "|" + minus + smallest + "     |");
  EXPECT_EQ(print("%f|%e|%g|%F|%E|%G", INFINITY, -INFINITY, NAN, INFINITY, -INFINITY, NAN),
            "inf|-inf|nan|INF|-INF|NAN");
  EXPECT_EQ(print("%+f|% f|%+f|% f|%+ f", INFINITY, INFINITY, -NAN, NAN, INFINITY), "+inf| inf|nan|nan|+inf");
  // The space does nothing for other numbers.
  EXPECT_EQ(print("%06f|%06f|%-6f|%.1f|% d|% f", INFINITY, NAN, -INFINITY, INFINITY, 5, 1.0),
            "   inf|   nan|-inf  |inf|5|1.000000");
}

std::string c_format(const char *format, ...) {
  char buffer[4096];
  va_list arguments;
  va_start(arguments, format);
  int length = vsnprintf(buffer, sizeof buffer, format, arguments);
  va_end(arguments);
  return {buffer, static_cast<size_t>(length)};
}

size_t pick(generator &random, size_t count) {
  return random() % count;
}

// "%" with random flags, width and precision; the conversion follows.
std::string random_front(generator &random, size_t precisions) {
  std::string front = "%";
  for (char flag : {'#', '+', '-', '0', '\''}) {
    if (pick(random, 3) == 0) front += flag;
  }
  if (pick(random, 2) == 0) front += std::to_string(1 + pick(random, 40));
  if (pick(random, 3) != 0)
    front += "." + (pick(random, 8) == 0 ? "" : std::to_string(pick(random, precisions)));
  return front;
}

// An empty brace part changes nothing but the way: the shortcut leaves such directives alone.
const char *way(generator &random) {
  return pick(random, 4) == 0 ? "{:}" : "";
}

TEST_F(format_number, integers_as_the_c_library) {
  for (int i = 0; i < 40000; ++i) {
    // "+" with o, x and X is open in C; its library ignores it as we do, and groups nothing in this locale.
    std::string front = random_front(random_, 30);
    char conversion = "diuoxX"[pick(random_, 6)];
    uint64_t value = random_() >> pick(random_, 64);
    if (pick(random_, 2) == 0) value = 0 - value;
    if (value == static_cast<uint64_t>(INT64_MIN)) continue;
    const bool wide = pick(random_, 2) == 0;
    const std::string directive = front + (wide ? "ll" : "") + conversion, format = directive + way(random_);
    const auto narrow = static_cast<unsigned>(value);
    ASSERT_EQ(wide ? print(format.c_str(), value) : print(format.c_str(), narrow),
              wide ? c_format(directive.c_str(), value) : c_format(directive.c_str(), narrow))
        << format << " of " << value;
  }
}

// Corners, common numbers, any bits, and halves that are exact in binary with what lies just beside them.
double random_real(generator &random) {
  constexpr const char *corners[] = {
      "0",       "-0",   "0.1",    "0.5",     "2.5",    "9.5",       "99.5",
      "9999995", "1e-4", "9.9e-5", "1234567", "5e-324", "0x1p-1022", "0x1.fffffffffffffp1023"};
  const int bits = static_cast<int>(pick(random, 70));
  double value = ldexp(static_cast<double>(random() >> pick(random, 64) | 1), -bits);
  switch (pick(random, 5)) {
    case 0: return strtod(corners[pick(random, std::size(corners))], nullptr);
    case 1: return static_cast<double>(static_cast<int64_t>(random() >> pick(random, 64))) / 1024;
    case 2: return value;
    case 3: return nextafter(value, pick(random, 2) == 0 ? 0 : INFINITY);
    default:
      do
        value = std::bit_cast<double>(random());
      while (!std::isfinite(value));
      return value;
  }
}

TEST_F(format_number, reals_as_the_c_library) {
  for (int i = 0; i < 60000; ++i) {
    std::string directive =
        pick(random_, 2) == 0
            ? "%." + std::to_string(pick(random_, 20)) + "f"
            : random_front(random_, pick(random_, 10) == 0 ? 1300 : 25) + "efgEFG"[pick(random_, 6)];
    // "#" with g is told below: some C libraries lose its zeros where rounding carries into a new digit.
    if ((directive.back() | 0x20) == 'g') std::erase(directive, '#');
    const double value = random_real(random_);
    const std::string format = directive + way(random_);
    const std::string expected = c_format(directive.c_str(), value);
    char text[4096];
    xp_fmt_format(text, sizeof text, format.c_str(), value);
    ASSERT_EQ(i % 8 == 0 ? print(format.c_str(), value) : text, expected) << format << " of " << value;
  }
  EXPECT_EQ(print("%#015g|%#.0g|%#.3g|%#.3g|%#.3G", 999999.5, 9.5, 99.96, 999.0, 1000.0),
            "00001.00000e+06|1.e+01|100.|999.|1.00E+03");
  EXPECT_EQ(print("%#g|%#.3g|%#.3g|%#.3g", 0.0, 1e-4, 9.9e-5, 9.9996e-5),
            "0.00000|0.000100|9.90e-05|0.000100");
}

TEST_F(format_number, groups_of_the_locale) {
  static const xp_intl_values values = {
      .number = {.separator = "'", .sizes = {3}, .count = 1, .repeats = true, .decimal_point = ","},
      .money = {.separator = "::", .sizes = {3, 2}, .count = 2, .repeats = true, .decimal_point = "."},
      .plus_sign = "<+>",
      .minus_sign = "\xE2\x88\x92"};
  static const xp_intl_values once = {
      .number = {.separator = ".", .sizes = {2, 1}, .count = 2, .repeats = false, .decimal_point = ","},
      .money = {}};
  EXPECT_EQ(print("%'d|%,d|%'lld{:$}|%'.1f", 1234567, 1234567, 1234567LL, 1e6),
            "1234567|1234567|1234567|1000000.0");
  xp_intl_use(values);
  EXPECT_EQ(print("%'d|%'d|%'d|%'u|%'d|%'x|%'o|%'#x|%'p", 1, 999, -1000, 1234567u, 0, 0x12345, 012345,
                  0x12345, reinterpret_cast<void *>(0x12345)),
            "1|999|-1'000|1'234'567|0|12'345|12'345|0x12'345|0x12'345");
  EXPECT_EQ(print("%,d|%'lld{:$}|%',d|%'d{:$}", 12345678, 123456789LL, 1000, 100),
            "1::23::45::678|12::34::56::789|1::000|100");
  EXPECT_EQ(print("%'10d|%'-10d|%'010d|%'.8d", 12345, 12345, 12345, 12345),
            "    12'345|12'345    |000012'345|00012'345");
  EXPECT_EQ(print("%'.2f|%'.0f|%'#.0f|%'e|%'g|%.1f|%,.1f", 1234567.125, 1e4, 1e4, 12345.0, 12345.0, 12345.0,
                  12345.0),
            "1'234'567,12|10'000|10'000,|1,234500e+04|12'345|12345.0|12::345.0");
  EXPECT_EQ(print("%'lld|%f|%+f|%+d|%-d|% f", INT64_MIN, -INFINITY, INFINITY, 5, -5, INFINITY),
            minus + smallest + "|" + minus + "inf|<+>inf|+5|-5| inf");
  // The finished number goes through the string stage; its own sign is never encoded.
  EXPECT_EQ(print("%'d{:'}|%'d{:''}|%'d{:`}|%'d{:&}|%'+d{:@}|%'9d{:''}|%'-9d{:''}|", 1000, 1000, 1000, 1000,
                  1000, 1000, 1000),
            "1\\'000|1''000|1`000|1%#39;000|+1%27000|   1''000|1''000   |");
  EXPECT_EQ(print("%'d{:<'}|%d{:<'}|%'+d{:~}", 1000, 1000, 1000), "<![CDATA[1'000]]>|1000|+1'000");
  xp_intl_use(once);
  EXPECT_EQ(print("%'d|%'d|%'d", 1234567, 123, 12), "1234.5.67|1.23|12");
  xp_intl_use(xp_intl_c);
}

}  // namespace
