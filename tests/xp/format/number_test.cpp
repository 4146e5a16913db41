// Numbers: tables of what is ours, and the C library as the judge of the rest.

#include "print.h"
#include "tests/support/leak_check.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <bit>
#include <random>
#include <string>

namespace {

class format_number : public leak_check {};

TEST_F(format_number, smallest_integer) {
  EXPECT_EQ(print("%lld|%d", INT64_MIN, INT32_MIN),
            "\xE2\x88\x92"
            "92233720368547758|-2147483648");
  EXPECT_EQ(print("%ld|%td|%I64d", INT64_MIN + 1, INT64_MAX, int64_t{-1}),
            "-9223372036854775807|9223372036854775807|-1");
  EXPECT_EQ(print("%025lld|%25lld|%-25lld|", INT64_MIN, INT64_MIN, INT64_MIN),
            "\xE2\x88\x92"
            "0000092233720368547758|     \xE2\x88\x92"
            "92233720368547758|\xE2\x88\x92"
            "92233720368547758     |");
}

TEST_F(format_number, infinity_and_nan) {
  EXPECT_EQ(print("%f|%e|%g|%F|%E|%G", INFINITY, -INFINITY, NAN, INFINITY, -INFINITY, NAN),
            "inf|-inf|nan|INF|-INF|NAN");
  EXPECT_EQ(print("%+f|% f|%+f|% f|%+ f", INFINITY, INFINITY, -NAN, NAN, INFINITY), "+inf| inf|nan|nan|+inf");
  EXPECT_EQ(print("%06f|%06f|%-6f|%.1f", INFINITY, NAN, -INFINITY, INFINITY), "   inf|   nan|-inf  |inf");
  // The space does nothing for other numbers.
  EXPECT_EQ(print("% d|% f", 5, 1.0), "5|1.000000");
}

std::string c_format(const char *format, ...) {
  char buffer[4096];
  va_list arguments;
  va_start(arguments, format);
  int length = vsnprintf(buffer, sizeof buffer, format, arguments);
  va_end(arguments);
  return {buffer, static_cast<size_t>(length)};
}

using generator = std::mt19937_64;

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
  switch (pick(random, 3)) {
    case 0: break;
    case 1: front += "."; [[fallthrough]];
    default:
      if (front.back() != '.') front += '.';
      front += pick(random, 8) == 0 ? "" : std::to_string(pick(random, precisions));
  }
  return front;
}

TEST_F(format_number, integers_as_the_c_library) {
  generator random(20260115);
  for (int i = 0; i < 20000; ++i) {
    // The C library leaves "+" and "'" with o, x and X open; it ignores them as we do.
    std::string front = random_front(random, 30);
    char conversion = "diuoxX"[pick(random, 6)];
    uint64_t value = random() >> pick(random, 64);
    if (pick(random, 2) == 0) value = 0 - value;
    if (value == static_cast<uint64_t>(INT64_MIN)) continue;
    std::string narrow = front + conversion;
    std::string wide = front + "ll" + conversion;
    ASSERT_EQ(print(narrow.c_str(), static_cast<unsigned>(value)),
              c_format(narrow.c_str(), static_cast<unsigned>(value)))
        << narrow << " of " << static_cast<unsigned>(value);
    ASSERT_EQ(print(wide.c_str(), value), c_format(wide.c_str(), value)) << wide << " of " << value;
  }
}

double random_real(generator &random) {
  constexpr double corners[] = {0.0,
                                -0.0,
                                1,
                                10,
                                0.1,
                                0.5,
                                1.5,
                                2.5,
                                9.5,
                                99.5,
                                999999.5,
                                9.9999995,
                                1e-4,
                                9.99999e-5,
                                1e5,
                                1e6,
                                123456,
                                1234567,
                                1e22,
                                1e23,
                                5e-324,
                                2.2250738585072014e-308,
                                1.7976931348623157e308,
                                0.000123456789};
  double value = corners[pick(random, std::size(corners))];
  switch (pick(random, 3)) {
    case 0: return value;
    case 1: return static_cast<double>(static_cast<int64_t>(random() >> pick(random, 64))) / 1024;
    default:
      do
        value = std::bit_cast<double>(random());
      while (!std::isfinite(value));
      return value;
  }
}

// The exponent of a value rounded to this many digits behind the first.
int exponent(double value, int digits) {
  std::string text = c_format("%.*e", digits, value);
  return std::stoi(text.substr(text.find('e') + 1));
}

// Where rounding carries into a new digit, some C libraries lose the zeros that "#" keeps ("%#g" of
// 999999.5).
bool judge_errs(const std::string &directive, double value) {
  if ((directive.back() | 0x20) != 'g' || directive.find('#') == std::string::npos) return false;
  size_t point = directive.find('.');
  int precision = point == std::string::npos ? 6 : atoi(directive.c_str() + point + 1);
  return exponent(value, std::max(precision, 1) - 1) != exponent(value, 800);
}

TEST_F(format_number, reals_as_the_c_library) {
  generator random(20260116);
  for (int i = 0; i < 20000; ++i) {
    std::string directive =
        random_front(random, pick(random, 10) == 0 ? 1300 : 25) + "efgEFG"[pick(random, 6)];
    double value = random_real(random);
    if (judge_errs(directive, value)) continue;
    ASSERT_EQ(print(directive.c_str(), value), c_format(directive.c_str(), value))
        << directive << " of " << value;
  }
  EXPECT_EQ(print("%#015g|%#.0g|%#.3g", 999999.5, 9.5, 99.96), "00001.00000e+06|1.e+01|100.");
}

}  // namespace
