#include "xp/dict/hash.h"

#include <string.h>

#include <array>

namespace xp::dict_hash {
namespace {

constexpr uint32_t seed = 5381;
constexpr uint32_t factor = 33;
constexpr size_t step = 8;

// powers[i] is the factor of byte i of a step: 33^7, 33^6, ... 1.
consteval std::array<uint32_t, step> make_powers() {
  std::array<uint32_t, step> powers{};
  uint32_t power = 1;
  for (size_t i = step; i-- > 0; power *= factor)
    powers[i] = power;
  return powers;
}
constexpr std::array<uint32_t, step> powers = make_powers();
constexpr uint32_t step_factor = powers[0] * factor;

constexpr uint64_t each(uint8_t byte) {
  return 0x0101010101010101u * byte;
}

// Eight bytes at once: clears bit 5 of each byte from 'a' to 'z'. The additions cannot carry from byte to
// byte because they see the low seven bits only; bytes of 128 and above are sorted out by their top bit.
uint64_t fold_step(uint64_t bytes) {
  uint64_t low = bytes & each(0x7F);
  uint64_t from_a = low + each(0x80 - 'a');
  uint64_t above_z = low + each(0x80 - 'z' - 1);
  uint64_t letters = from_a & ~above_z & ~bytes & each(0x80);
  return bytes - (letters >> 2);
}

uint64_t load(const char *bytes) {
  uint64_t word = 0;
  memcpy(&word, bytes, sizeof word);
  return word;
}

}  // namespace

uint32_t by_bytes(const char *key, size_t length, bool nocase) {
  uint32_t hash = seed;
  for (size_t i = 0; i < length; ++i) {
    auto byte = static_cast<unsigned char>(key[i]);
    hash = hash * factor + (nocase ? fold(byte) : byte);
  }
  return hash;
}

// The hash is a polynomial in 33, so a step needs one dependent multiplication instead of eight.
uint32_t of(const char *key, size_t length, bool nocase) {
  uint32_t hash = seed;
  size_t i = 0;
  for (; i + step <= length; i += step) {
    uint64_t bytes = load(key + i);
    if (nocase) bytes = fold_step(bytes);
    uint32_t sum = 0;
    for (size_t j = 0; j < step; ++j)
      sum += static_cast<uint8_t>(bytes >> (8 * j)) * powers[j];
    hash = hash * step_factor + sum;
  }
  for (; i < length; ++i) {
    auto byte = static_cast<unsigned char>(key[i]);
    hash = hash * factor + (nocase ? fold(byte) : byte);
  }
  return hash;
}

bool same_key(const char *a, const char *b, size_t length, bool nocase) {
  if (!nocase) return memcmp(a, b, length) == 0;
  size_t i = 0;
  for (; i + step <= length; i += step) {
    if (fold_step(load(a + i)) != fold_step(load(b + i))) return false;
  }
  for (; i < length; ++i) {
    if (fold(static_cast<unsigned char>(a[i])) != fold(static_cast<unsigned char>(b[i]))) return false;
  }
  return true;
}

}  // namespace xp::dict_hash
