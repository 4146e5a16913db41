// Single code points in UTF-8. Internal to this folder.

#ifndef XP_STRING_CODEPOINT_H
#define XP_STRING_CODEPOINT_H

#include <stdint.h>

constexpr uint32_t xps_last_point = 0x10FFFF;
constexpr uint32_t xps_replacement = 0xFFFD;  // stands for what cannot be read

constexpr bool xps_is_high_surrogate(uint32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}

constexpr bool xps_is_low_surrogate(uint32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

// Bytes of a code point, 1 to 4.
constexpr int32_t xps_point_bytes(uint32_t point) {
  if (point < 0x80) return 1;
  if (point < 0x800) return 2;
  return point < 0x10000 ? 3 : 4;
}

// Writes a code point and returns what follows it.
inline char *xps_put_point(char *to, uint32_t point) {
  constexpr unsigned char marks[] = {0, 0, 0xC0, 0xE0, 0xF0};
  int32_t bytes = xps_point_bytes(point);
  for (int32_t i = bytes - 1; i > 0; --i, point >>= 6)
    to[i] = static_cast<char>(0x80 | (point & 0x3F));
  to[0] = static_cast<char>(marks[bytes == 1 ? 0 : bytes] | point);
  return to + bytes;
}

// The code point of the well-formed sequence at `at`, which is moved behind it.
inline uint32_t xps_take_point(const unsigned char *&at) {
  uint32_t lead = *at++;
  if (lead < 0x80) return lead;
  int32_t further = lead < 0xE0 ? 1 : (lead < 0xF0 ? 2 : 3);
  uint32_t point = lead & (0x3Fu >> further);
  for (int32_t i = 0; i < further; ++i)
    point = point << 6 | (*at++ & 0x3Fu);
  return point;
}

#endif
