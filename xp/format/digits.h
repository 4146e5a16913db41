// Digits written straight to their place: decimal ones two at a time. The engine's shortcuts write with
// these; what goes the long way has its own plain loops (integer.cpp), which the tests hold against each
// other. Internal to the format engine.

#ifndef XP_FORMAT_DIGITS_H
#define XP_FORMAT_DIGITS_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <array>
#include <bit>

namespace xpf {

inline constexpr auto powers_of_ten = [] {
  std::array<uint64_t, 20> table{};
  uint64_t power = 1;
  for (uint64_t &entry : table) {
    entry = power;
    power *= 10;
  }
  return table;
}();

// "00" to "99".
inline constexpr auto digit_pairs = [] {
  std::array<char, 200> table{};
  for (size_t i = 0; i < 100; ++i) {
    table[2 * i] = static_cast<char>('0' + i / 10);
    table[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return table;
}();

// Digits that the number has; 0 has one.
inline int decimal_digits(uint64_t value) {
  value |= 1;
  int fewest = static_cast<int>(std::bit_width(value)) * 1233 >>
               12;  // 1233 / 4096 is log10(2), exact enough for 64 bits
  return fewest + (value >= powers_of_ten[static_cast<size_t>(fewest)] ? 1 : 0);
}
inline int hex_digits(uint64_t value) {
  return (static_cast<int>(std::bit_width(value | 1)) + 3) / 4;
}

// Writes exactly `count` digits that end before `end`, with zeros in front.
inline void write_decimal(char *end, uint64_t value, int count) {
  for (; count >= 2; count -= 2) {
    end -= 2;
    memcpy(end, &digit_pairs[value % 100 * 2], 2);
    value /= 100;
  }
  if (count > 0) end[-1] = static_cast<char>('0' + value % 10);
}
inline void write_hex(char *end, uint64_t value, int count, const char *digits) {
  for (; count > 0; --count) {
    *--end = digits[value & 15];
    value >>= 4;
  }
}

}  // namespace xpf

#endif
