// Finds the bytes that need a look in JSON texts, eight or sixteen at a step. Internal to this folder.
//
// Words are compared by subtraction. A borrow reaches bytes above a hit only, so the lowest bit that is set
// is always a true one, and that is all that is asked for.

#ifndef XP_PLIST_BYTE_SCAN_H
#define XP_PLIST_BYTE_SCAN_H

#include "xp/object/code.h"  // asserts little-endian words: the lowest byte is the first

#include <stdint.h>
#include <string.h>

#include <bit>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace xp {

constexpr uint64_t each_byte = 0x0101010101010101;
constexpr uint64_t each_top = 0x8080808080808080;

// A word whose lowest set bit is the top bit of the first quote or backslash; 0 when there is none.
constexpr uint64_t string_ends(uint64_t word) {
  const uint64_t quotes = word ^ (each_byte * '"');
  const uint64_t backslashes = word ^ (each_byte * '\\');
  return (((quotes - each_byte) & ~quotes) | ((backslashes - each_byte) & ~backslashes)) & each_top;
}

// The same for every byte that string escaping changes or looks into: control bytes, quotes, backslashes and
// bytes from 128 on.
constexpr uint64_t not_plain(uint64_t word) {
  return (((word - each_byte * ' ') | word) & each_top) | string_ends(word);
}

// The first place in [at, end) with a byte for which `marks` sets a bit; `end` when there is none.
template <typename Marks>
const char *scan(const char *at, const char *end, Marks marks) {
  uint64_t word = 0;
  for (; end - at >= 8; at += 8) {
    memcpy(&word, at, 8);
    if (const uint64_t found = marks(word); found != 0) return at + std::countr_zero(found) / 8;
  }
  for (; at < end; ++at) {
    // Spaces beside the byte carry no mark of any kind.
    word = (each_byte * ' ') ^ ' ' ^ static_cast<unsigned char>(*at);
    if (marks(word) != 0) return at;
  }
  return end;
}

// The bytes that string_marks looks at.
constexpr int64_t string_step = 16;

// A bit for each of sixteen bytes, as words or at `at`, for which not_plain has a mark.
#ifdef __SSE2__
inline uint32_t literal_marks(__m128i bytes) {
  const __m128i low = _mm_cmplt_epi8(bytes, _mm_set1_epi8(' '));  // signed: those from 128 on, too
  const __m128i quotes = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
  const __m128i backslashes = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'));
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_or_si128(low, _mm_or_si128(quotes, backslashes))));
}
inline uint32_t literal_marks(uint64_t first, uint64_t second) {
  return literal_marks(_mm_set_epi64x(static_cast<int64_t>(second), static_cast<int64_t>(first)));
}
inline uint32_t literal_marks(const char *at) {
  return literal_marks(_mm_loadu_si128(reinterpret_cast<const __m128i *>(at)));
}
#else
inline uint32_t literal_marks(const char *at) {
  uint32_t marks = 0;
  for (uint32_t i = 0; i < string_step; ++i)
    marks |= static_cast<uint32_t>(at[i] < ' ' || at[i] == '"' || at[i] == '\\') << i;
  return marks;
}
inline uint32_t literal_marks(uint64_t first, uint64_t second) {
  const uint64_t words[] = {first, second};
  char bytes[sizeof words];
  memcpy(bytes, words, sizeof words);
  return literal_marks(bytes);
}
#endif

// A bit for each of the bytes at `at` that is a quote or a backslash.
inline uint32_t string_marks(const char *at) {
#ifdef __SSE2__
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
  const __m128i quotes = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
  const __m128i backslashes = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'));
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_or_si128(quotes, backslashes)));
#else
  uint32_t marks = 0;
  for (uint32_t i = 0; i < string_step; ++i)
    marks |= static_cast<uint32_t>(at[i] == '"' || at[i] == '\\') << i;
  return marks;
#endif
}

}  // namespace xp

#endif
