// The common CRC-32 of zlib and IEEE 802.3: reflected polynomial 0xEDB88320, first value all ones, result
// complemented. Safe from any thread.

#ifndef XP_PLIST_CRC32_H
#define XP_PLIST_CRC32_H

#include <stdint.h>

#include <array>
#include <string_view>

namespace xp {

inline constexpr auto crc32_table = [] {
  std::array<uint32_t, 256> table{};
  for (uint32_t byte = 0; byte < table.size(); ++byte) {
    uint32_t rest = byte;
    for (int bit = 0; bit < 8; ++bit)
      rest = (rest >> 1) ^ ((rest & 1) != 0 ? 0xEDB88320U : 0U);
    table[byte] = rest;
  }
  return table;
}();

// The checksum of the bytes behind those whose checksum is `sum`, which is 0 at the start.
constexpr uint32_t crc32(uint32_t sum, std::string_view bytes) {
  uint32_t rest = ~sum;
  for (char byte : bytes)
    rest = crc32_table[(rest ^ static_cast<unsigned char>(byte)) & 0xFF] ^ (rest >> 8);
  return ~rest;
}

static_assert(crc32(0, "123456789") == 0xCBF43926U);

}  // namespace xp

#endif
