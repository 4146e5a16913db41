#include "xp/object/number_text.h"

#include <math.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace {

static_assert(xp::number_text_size >= std::numeric_limits<double>::max_digits10 + 8);

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

size_t digits_at(std::string_view text, size_t at) {
  size_t end = at;
  while (end < text.size() && is_digit(text[end]))
    ++end;
  return end - at;
}

// How many digits stand before the decimal point (below 0: zeros behind it) once the exponent is applied:
// what tells an overflow from an underflow. Saturated far beyond the range of floats.
int64_t magnitude(std::string_view text) {
  constexpr int64_t limit = INT64_MAX / 4;
  size_t whole = digits_at(text, 0);
  size_t zeros = 0;
  while (zeros < whole && text[zeros] == '0')
    ++zeros;
  int64_t power = static_cast<int64_t>(whole - zeros);
  size_t at = whole;
  if (at < text.size() && text[at] == '.') {
    size_t fraction = digits_at(text, at + 1);
    if (power == 0) {
      size_t first = at + 1;
      while (first < at + 1 + fraction && text[first] == '0')
        ++first;
      power = -static_cast<int64_t>(first - (at + 1));
    }
    at += 1 + fraction;
  }
  if (at >= text.size() || (text[at] | 0x20) != 'e') return power;
  ++at;
  bool negative = at < text.size() && text[at] == '-';
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
  int64_t exponent = 0;
  for (; at < text.size() && is_digit(text[at]); ++at)
    exponent = std::min(exponent * 10 + (text[at] - '0'), limit / 16);
  return power + (negative ? -exponent : exponent);
}

// `text` has no sign and begins with a digit, or with a point and a digit.
double read_float(std::string_view text) {
  double value = 0.0;
  auto end = std::from_chars(text.data(), text.data() + text.size(), value);
  if (end.ec == std::errc::result_out_of_range) return magnitude(text) > 0 ? HUGE_VAL : 0.0;
  return value;
}

// Writes a float of at most three decimal places and its shortest text, which has places: everyday figures
// need no search for the shortest. Returns its end; null for all other floats. Twelve digits are told apart
// by any two floats, and with places no exponent is shorter.
char *write_short_decimal(char *to, double value) {
  constexpr double below = 1e9;
  const double magnitude = fabs(value);
  if (!(magnitude < below)) return nullptr;
  const auto thousandths = static_cast<uint64_t>(llround(magnitude * 1000));
  if (static_cast<double>(thousandths) / 1000 != magnitude || thousandths % 1000 == 0) return nullptr;
  uint64_t places = thousandths % 1000;
  if (value < 0) *to++ = '-';
  to = std::to_chars(to, to + 10, thousandths / 1000).ptr;
  *to++ = '.';
  for (uint64_t place = 100; places != 0; place /= 10) {
    *to++ = static_cast<char>('0' + places / place);
    places %= place;
  }
  return to;
}

}  // namespace

namespace xp {

int64_t number_write(char (&text)[number_text_size], int64_t value) {
  return std::to_chars(text, text + sizeof text, value).ptr - text;
}

int64_t number_write(char (&text)[number_text_size], double value) {
  if (!isfinite(value)) {
    std::string_view name = isnan(value) ? "nan" : value < 0 ? "-inf" : "inf";
    memcpy(text, name.data(), name.size());
    return static_cast<int64_t>(name.size());
  }
  if (const char *short_end = write_short_decimal(text, value)) return short_end - text;
  char *end = std::to_chars(text, text + sizeof text, value).ptr;
  bool reads_as_integer = std::none_of(text, end, [](char c) { return c == '.' || c == 'e'; });
  if (reads_as_integer) {
    *end++ = '.';
    *end++ = '0';
  }
  return end - text;
}

number_reading number_read(std::string_view text) {
  bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  size_t whole = digits_at(text, 0);
  bool point = whole < text.size() && text[whole] == '.';
  if (whole == 0 && !(point && digits_at(text, 1) > 0)) return {};

  if (!point && !(whole < text.size() && (text[whole] | 0x20) == 'e')) {
    uint64_t value = 0;
    auto end = std::from_chars(text.data(), text.data() + whole, value);
    uint64_t largest = static_cast<uint64_t>(INT64_MAX) + (negative ? 1 : 0);
    if (end.ec == std::errc() && value <= largest) {
      return {.is_float = false, .integer = static_cast<int64_t>(negative ? 0 - value : value), .real = 0.0};
    }
  }
  double value = read_float(text);
  return {.is_float = true, .integer = 0, .real = negative ? -value : value};
}

}  // namespace xp
