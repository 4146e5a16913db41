// The hash of dictionary keys (djb2): 5381, then times 33 plus each byte, in 32 bits. Case-insensitive
// dictionaries hash the key with its ASCII letters in upper case. by_bytes is the definition, by_words and
// of, sixteen bytes at a time, are ways to the same value.

#ifndef XP_DICT_HASH_H
#define XP_DICT_HASH_H

#include "xp/dict/hash_words.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace xp::dict_hash {

// How many bytes in front of its end a key needs for of_tail; its longest key.
constexpr size_t tail_size = 16;

#ifdef __SSE2__

// seed_powers[i] is what the seed adds in front of i bytes.
constexpr std::array<uint32_t, tail_size + 1> seed_powers = [] {
  std::array<uint32_t, tail_size + 1> result{};
  for (size_t i = 0; i < result.size(); ++i)
    result[i] = seed * powers[i];
  return result;
}();

// Loaded `length` bytes from its start: a mask of the last `length` bytes.
constexpr std::array<unsigned char, 2 *tail_size> last_bytes = [] {
  std::array<unsigned char, 2 * tail_size> result{};
  for (size_t i = tail_size; i < result.size(); ++i)
    result[i] = 0xFF;
  return result;
}();

inline __m128i load_tail(const void *from) {
  return _mm_loadu_si128(static_cast<const __m128i *>(from));
}

// The last one to sixteen of the bytes in front of `end`, zeros in front of them.
inline __m128i cut_tail(const char *end, size_t length) {
  return _mm_and_si128(load_tail(end - tail_size), load_tail(last_bytes.data() + length));
}

// All of a key of one to sixteen bytes, zeros in front of it.
inline __m128i short_key(const char *key, size_t length) {
  uint64_t front = 0;
  if (length > word_size) front = load_word(key) << (8 * (tail_size - length));
  const uint64_t back = last_word(key, length);
  return _mm_set_epi64x(static_cast<int64_t>(back), static_cast<int64_t>(front));
}

// Moved to the lowest numbers with sign, the letters from 'a' to 'z' are below all others.
inline __m128i fold_tail(__m128i bytes) {
  const __m128i moved = _mm_add_epi8(bytes, _mm_set1_epi8(static_cast<char>(0x80 - 'a')));
  const __m128i letters = _mm_cmplt_epi8(moved, _mm_set1_epi8(-0x80 + 26));
  return _mm_xor_si128(bytes, _mm_and_si128(letters, _mm_set1_epi8(0x20)));
}

// The sum of byte i times 33^(15 - i), as in sum_word.
inline uint32_t sum_tail(__m128i bytes) {
  const __m128i even = _mm_and_si128(bytes, _mm_set1_epi16(0xFF));
  const __m128i pairs = _mm_add_epi16(_mm_add_epi16(even, _mm_slli_epi16(even, 5)), _mm_srli_epi16(bytes, 8));
  const __m128i fours = _mm_madd_epi16(pairs, _mm_set1_epi32(1 << 16 | powers[2]));
  const __m128i eights =
      _mm_add_epi64(_mm_mul_epu32(fours, _mm_set1_epi64x(powers[4])), _mm_srli_epi64(fours, 32));
  return static_cast<uint32_t>(_mm_cvtsi128_si32(eights)) * powers[8] +
         static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_unpackhi_epi64(eights, eights)));
}

inline uint32_t sum_tail(__m128i bytes, bool nocase) {
  return sum_tail(nocase ? fold_tail(bytes) : bytes);
}

// of a key of one to sixteen bytes, with at least sixteen readable ones in front of its end.
inline uint32_t of_tail(const char *end, size_t length, bool nocase) {
  return seed_powers[length] + sum_tail(cut_tail(end, length), nocase);
}

// The value of by_bytes.
[[gnu::always_inline]] inline uint32_t of(const char *key, size_t length, bool nocase) {
  if (length == 0) return seed;
  if (length <= tail_size) return seed_powers[length] + sum_tail(short_key(key, length), nocase);
  uint32_t hash = seed;
  const size_t left = length % tail_size;
  const char *const end = key + length;
  for (; end - key >= static_cast<ptrdiff_t>(tail_size); key += tail_size)
    hash = hash * powers[tail_size] + sum_tail(load_tail(key), nocase);
  return left == 0 ? hash : hash * powers[left] + sum_tail(cut_tail(end, left), nocase);
}

#else

inline uint32_t of(const char *key, size_t length, bool nocase) {
  return by_words(key, length, nocase);
}
inline uint32_t of_tail(const char *end, size_t length, bool nocase) {
  return by_words(end - length, length, nocase);
}

#endif

}  // namespace xp::dict_hash

#endif
