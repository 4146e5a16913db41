// Four-character codes: 32-bit values whose four bytes in memory spell a short name. They name object types,
// records, messages and parameters. Codes are copied and compared as raw bytes and never byte-swapped.

#ifndef XP_OBJECT_CODE_H
#define XP_OBJECT_CODE_H

#include <stdint.h>

#include <array>
#include <bit>
#include <cstddef>

static_assert(
    std::endian::native == std::endian::little,
    "type codes order as little-endian integers: the first character is the least significant byte");

// The code spelt by `name`, one to four characters; missing characters are zero bytes.
template <size_t Size>
consteval uint32_t xp_code(const char (&name)[Size]) {
  static_assert(Size >= 2 && Size <= 5, "a four-character code has one to four characters");
  std::array<char, 4> bytes{};
  for (size_t i = 0; i + 1 < Size; ++i)
    bytes[i] = name[i];
  return std::bit_cast<uint32_t>(bytes);
}

#endif
