// SSE2, which every 64-bit x86 processor has.

#include "xp/string/fold_scan.h"
#include "xp/string/text.h"

#include <emmintrin.h>

#include <bit>

namespace {

using block = __m128i;  // sixteen bytes
constexpr int64_t block_bytes = 16;

block load(const char *at) {
  return _mm_loadu_si128(reinterpret_cast<const block *>(at));
}

block fill(int byte) {
  return _mm_set1_epi8(static_cast<char>(byte));
}

// FF for each byte from `low` to `high`. Only signed bytes can be compared, so `low` is moved to the least of
// them.
block between(block x, int low, int high) {
  return _mm_cmplt_epi8(_mm_add_epi8(x, fill(0x80 - low)), fill(0x80 + high - low + 1));
}

block letters(block x) {
  return between(_mm_or_si128(x, fill(0x20)), 'a', 'z');
}

// Not 0 for each byte in which the blocks differ; the bit between the cases of a letter does not count.
block differences(block a, block b) {
  return _mm_andnot_si128(_mm_and_si128(letters(a), fill(0x20)), _mm_xor_si128(a, b));
}

block plain(block x) {
  block signs = _mm_or_si128(_mm_cmpeq_epi8(x, fill('@')), _mm_cmpeq_epi8(x, fill('_')));
  return _mm_or_si128(_mm_or_si128(between(x, ' ', ':'), letters(x)), signs);
}

// A bit for each byte that is not 0, the first byte's lowest.
uint32_t marks(block x) {
  return 0xFFFF ^ static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(x, _mm_setzero_si128())));
}

// The first mark in the blocks at `at`, `length` when there is none up to there. Looks at four blocks in one
// while there are as many, and ends with a block that reaches back over bytes which are settled already.
template <typename Differences>
int64_t first_mark(int64_t length, Differences differences_at) {
  int64_t at = 0;
  for (; length - at >= 4 * block_bytes; at += 4 * block_bytes) {
    block front = _mm_or_si128(differences_at(at), differences_at(at + block_bytes));
    block back = _mm_or_si128(differences_at(at + 2 * block_bytes), differences_at(at + 3 * block_bytes));
    if (marks(_mm_or_si128(front, back)) != 0) break;
  }
  for (; at < length; at += block_bytes) {
    if (length - at < block_bytes) at = length - block_bytes;
    if (uint32_t found = marks(differences_at(at)); found != 0) return at + std::countr_zero(found);
  }
  return length;
}

// Where a byte of the needle may stand: folding is setting the bit between the cases, for letters.
struct folded_byte {
  block case_bit, value;

  explicit folded_byte(char c) {
    auto byte = static_cast<unsigned char>(c | 0x20);
    bool letter = byte >= 'a' && byte <= 'z';
    case_bit = fill(letter ? 0x20 : 0);
    value = fill(letter ? byte : c);
  }
  block equals(block x) const { return _mm_cmpeq_epi8(_mm_or_si128(x, case_bit), value); }
};

}  // namespace

int64_t xps_fold_differ(const char *a, const char *b, int64_t length) {
  if (length < block_bytes) return xps_plainly::fold_differ(a, b, length);
  return first_mark(length, [=](int64_t at) { return differences(load(a + at), load(b + at)); });
}

int64_t xps_plain_differ(const char *a, const char *b, int64_t length, bool exact) {
  if (length < block_bytes) return xps_plainly::plain_differ(a, b, length, exact);
  // Where the bytes are equal, or a letter in its two cases, one is plain when the other is.
  if (exact) {
    return first_mark(length, [=](int64_t at) {
      block x = load(a + at);
      return _mm_xor_si128(_mm_and_si128(plain(x), _mm_cmpeq_epi8(x, load(b + at))), fill(0xFF));
    });
  }
  return first_mark(length, [=](int64_t at) {
    block x = load(a + at);
    return _mm_or_si128(_mm_xor_si128(plain(x), fill(0xFF)), differences(x, load(b + at)));
  });
}

// A place at which both ends of the needle fit is rare enough to look at the rest there.
int64_t xps_fold_find(const char *text, int64_t from, int64_t last, const char *needle, int64_t nlength) {
  folded_byte first(needle[0]);
  folded_byte end(needle[nlength - 1]);
  int64_t at = from;
  for (; last - at >= block_bytes - 1; at += block_bytes) {
    block hits = _mm_and_si128(first.equals(load(text + at)), end.equals(load(text + at + nlength - 1)));
    for (uint32_t left = static_cast<uint32_t>(_mm_movemask_epi8(hits)); left != 0; left &= left - 1) {
      int64_t place = at + std::countr_zero(left);
      if (xps_fold_differ(text + place, needle, nlength) == nlength) return place;
    }
  }
  return xps_plainly::fold_find(text, at, last, needle, nlength);
}
