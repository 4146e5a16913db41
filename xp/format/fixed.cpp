#include "xp/format/fixed.h"

#include "xp/format/digits.h"

#include <stdint.h>

#include <bit>

namespace {

constexpr int mantissa_bits = 52;
constexpr int exponent_bias = 1075;  // of the mantissa read as an integer
constexpr uint64_t hidden_bit = uint64_t{1} << mantissa_bits;
constexpr int highest_precision = 17;

// mantissa * 2^exponent
struct binary {
  uint64_t mantissa;
  int exponent;
};

binary take_apart(double value) {
  auto bits = std::bit_cast<uint64_t>(value);
  int exponent = static_cast<int>(bits >> mantissa_bits & 0x7FF);
  uint64_t mantissa = bits & (hidden_bit - 1);
  if (exponent == 0) return {mantissa, 1 - exponent_bias};
  return {mantissa | hidden_bit, exponent - exponent_bias};
}

struct decimal {
  uint64_t whole;
  uint64_t fraction;  // in units of the last digit
};

// mantissa / 2^shift. The fraction times a power of ten has 53 + 57 bits at most, so that nothing is lost in
// 128, and with a larger shift it is less than a half.
decimal split(uint64_t mantissa, int shift, int precision) {
  __extension__ using wide = unsigned __int128;
  const uint64_t unit = xpf::powers_of_ten[static_cast<size_t>(precision)];
  decimal result{shift < 64 ? mantissa >> shift : 0, 0};
  if (shift >= 120) return result;
  const uint64_t below = shift < 64 ? mantissa & ((uint64_t{1} << shift) - 1) : mantissa;
  const wide scaled = static_cast<wide>(below) * unit;
  result.fraction = static_cast<uint64_t>(scaled >> shift);
  const wide rest = scaled - (static_cast<wide>(result.fraction) << shift);
  const wide half = static_cast<wide>(1) << (shift - 1);
  const bool odd = ((precision == 0 ? result.whole : result.fraction) & 1) != 0;
  if (rest > half || (rest == half && odd)) ++result.fraction;
  if (result.fraction == unit) {
    result.fraction = 0;
    ++result.whole;
  }
  return result;
}

}  // namespace

char *xpf_fixed(char *to, double value, int precision) {
  const binary number = take_apart(value);
  if (number.exponent > 64 - mantissa_bits - 1 || precision > highest_precision) return nullptr;
  decimal result{};
  if (number.exponent >= 0) {
    result.whole = number.mantissa << number.exponent;
  } else {
    result = split(number.mantissa, -number.exponent, precision);
  }
  const int digits = xpf::decimal_digits(result.whole);
  to += digits;
  xpf::write_decimal(to, result.whole, digits);
  if (precision == 0) return to;
  *to++ = '.';
  to += precision;
  xpf::write_decimal(to, result.fraction, precision);
  return to;
}
