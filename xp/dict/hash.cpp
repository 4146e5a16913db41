#include "xp/dict/hash.h"

namespace xp::dict_hash {

uint32_t by_bytes(const char *key, size_t length, bool nocase) {
  uint32_t hash = seed;
  for (size_t i = 0; i < length; ++i) {
    auto byte = static_cast<unsigned char>(key[i]);
    hash = hash * factor + (nocase ? fold(byte) : byte);
  }
  return hash;
}

}  // namespace xp::dict_hash
