// Keys of dictionaries as words of eight bytes: folded, hashed and compared a word at a time.
// xp/dict/hash.h says what the hash is.

#ifndef XP_DICT_HASH_WORDS_H
#define XP_DICT_HASH_WORDS_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <array>
#include <bit>

namespace xp::dict_hash {

static_assert(std::endian::native == std::endian::little, "words hold a key's bytes in their order");

constexpr size_t word_size = 8;

// An ASCII letter in upper case; any other byte as it stands.
constexpr unsigned char fold(unsigned char byte) {
  return byte >= 'a' && byte <= 'z' ? static_cast<unsigned char>(byte - 'a' + 'A') : byte;
}

constexpr uint64_t each(uint8_t byte) {
  return 0x0101010101010101u * byte;
}

// Eight bytes at once: clears bit 5 of each byte from 'a' to 'z'. The additions cannot carry from byte to
// byte because they see the low seven bits only; bytes of 128 and above are sorted out by their top bit.
constexpr uint64_t fold_word(uint64_t bytes) {
  uint64_t low = bytes & each(0x7F);
  uint64_t from_a = low + each(0x80 - 'a');
  uint64_t above_z = low + each(0x80 - 'z' - 1);
  uint64_t letters = from_a & ~above_z & ~bytes & each(0x80);
  return bytes - (letters >> 2);
}

inline uint64_t load_word(const char *bytes) {
  uint64_t word = 0;
  memcpy(&word, bytes, sizeof word);
  return word;
}

// The definition, a byte at a time.
uint32_t by_bytes(const char *key, size_t length, bool nocase);

constexpr uint32_t seed = 5381;
constexpr uint32_t factor = 33;

// powers[i] is 33^i.
constexpr std::array<uint32_t, 2 *word_size + 1> powers = [] {
  std::array<uint32_t, 2 * word_size + 1> result{1};
  for (size_t i = 1; i < result.size(); ++i)
    result[i] = result[i - 1] * factor;
  return result;
}();

// What the eight bytes of a word add: the sum of byte i times 33^(7 - i). Neighbours are joined in lanes of
// 16, then of 32 bits, which are wide enough for their sums.
constexpr uint32_t sum_word(uint64_t bytes) {
  constexpr uint64_t even_bytes = 0x00FF00FF00FF00FFu;
  constexpr uint64_t even_pairs = 0x0000FFFF0000FFFFu;
  uint64_t pairs = (bytes & even_bytes) * powers[1] + (bytes >> 8 & even_bytes);
  uint64_t fours = (pairs & even_pairs) * powers[2] + (pairs >> 16 & even_pairs);
  return static_cast<uint32_t>(fours) * powers[4] + static_cast<uint32_t>(fours >> 32);
}

// The bytes of a text of one to seven at the end of a word.
inline uint64_t load_short(const char *text, size_t length) {
  auto at = [=](size_t i) {
    return uint64_t{static_cast<unsigned char>(text[i])} << (8 * (word_size - length + i));
  };
  if (length < 4) return at(0) | at(length / 2) | at(length - 1);
  uint32_t front = 0;
  uint32_t back = 0;
  memcpy(&front, text, sizeof front);
  memcpy(&back, text + length - sizeof back, sizeof back);
  return uint64_t{front} << (8 * (word_size - length)) | uint64_t{back} << 32;
}

// The last eight bytes of a key, zeros in front of a shorter one: what distinguishes most keys of one length.
// Not folded.
inline uint64_t last_word(const char *key, size_t length) {
  if (length >= word_size) return load_word(key + length - word_size);
  return length == 0 ? 0 : load_short(key, length);
}

// The value of by_bytes, eight bytes at a time. The hash is a polynomial in 33, so a word needs one dependent
// multiplication instead of eight. Zeros add nothing, so what is left after the whole words is taken from the
// end of the last word.
[[gnu::always_inline]] inline uint32_t by_words(const char *key, size_t length, bool nocase) {
  uint32_t hash = seed;
  size_t left = length % word_size;
  for (const char *end = key + (length - left); key != end; key += word_size) {
    uint64_t word = load_word(key);
    hash = hash * powers[word_size] + sum_word(nocase ? fold_word(word) : word);
  }
  if (left == 0) return hash;
  uint64_t word = length < word_size ? load_short(key, left) : load_word(key + left - word_size);
  word &= ~uint64_t{0} << (8 * (word_size - left));
  return hash * powers[left] + sum_word(nocase ? fold_word(word) : word);
}

// The same of a key that has at least eight readable bytes in front of it.
inline uint64_t last_word_inside(const char *key, size_t length) {
  uint64_t word = load_word(key + length - word_size);
  return length >= word_size ? word : word >> (8 * (word_size - length)) << (8 * (word_size - length));
}

// Whether two keys of one length whose last words are equal are equal in all that stands before them.
inline bool same_front(const char *a, const char *b, size_t length, bool nocase) {
  for (size_t i = 0; i + word_size < length; i += word_size) {
    uint64_t x = load_word(a + i);
    uint64_t y = load_word(b + i);
    if (x != y && (!nocase || fold_word(x) != fold_word(y))) return false;
  }
  return true;
}

}  // namespace xp::dict_hash

#endif
