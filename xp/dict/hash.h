// The hash of dictionary keys (djb2): 5381, then times 33 plus each byte, in 32 bits. Case-insensitive
// dictionaries hash the key with its ASCII letters in upper case.

#ifndef XP_DICT_HASH_H
#define XP_DICT_HASH_H

#include <stddef.h>
#include <stdint.h>

namespace xp::dict_hash {

// An ASCII letter in upper case; any other byte as it stands.
constexpr unsigned char fold(unsigned char byte) {
  return byte >= 'a' && byte <= 'z' ? static_cast<unsigned char>(byte - 'a' + 'A') : byte;
}

// The definition, a byte at a time.
uint32_t by_bytes(const char *key, size_t length, bool nocase);

// The same value, eight bytes at a time.
uint32_t of(const char *key, size_t length, bool nocase);

// Whether two keys of one length are the same key.
bool same_key(const char *a, const char *b, size_t length, bool nocase);

}  // namespace xp::dict_hash

#endif
