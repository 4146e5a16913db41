// SSE2, which every 64-bit x86 processor has.

#include "xp/string/fold_scan.h"
#include "xp/string/text.h"

#include <emmintrin.h>

#include <algorithm>
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

// The first mark in 16 to 32 bytes from `at` on; the end when there is none. Where the two blocks overlap
// both have the same marks.
template <typename Differences>
int64_t first_mark_in_two(int64_t at, int64_t end, Differences differences_at) {
  uint32_t found = marks(differences_at(at)) | marks(differences_at(end - block_bytes)) << block_bytes;
  if (found == 0) return end;
  int place = std::countr_zero(found);
  return place < block_bytes ? at + place : end - 2 * block_bytes + place;
}

// The first mark below `length`, which is at least that of a block; `length` when there is none. The last
// blocks reach back over bytes which are settled already.
template <typename Differences>
int64_t first_mark(int64_t length, Differences differences_at) {
  int64_t at = 0;
  for (; length - at > 2 * block_bytes; at += 2 * block_bytes) {
    if (marks(_mm_or_si128(differences_at(at), differences_at(at + block_bytes))) != 0)
      return first_mark_in_two(at, at + 2 * block_bytes, differences_at);
  }
  return first_mark_in_two(std::min(at, length - block_bytes), length, differences_at);
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

// Looks for places at which the needle fits by three of its bytes, rare enough to look at the rest there.
int64_t xps_fold_find(const char *text, int64_t from, int64_t last, const char *needle, int64_t nlength) {
  const int64_t middle = nlength / 2;
  const int64_t end = nlength - 1;
  const folded_byte first_byte(needle[0]);
  const folded_byte middle_byte(needle[middle]);
  const folded_byte end_byte(needle[end]);
  auto fits_at = [=](const char *at) {
    block ends = _mm_and_si128(first_byte.equals(load(at)), end_byte.equals(load(at + end)));
    return marks(_mm_and_si128(ends, middle_byte.equals(load(at + middle))));
  };
  int64_t at = from;
  for (; last - at >= 2 * block_bytes - 1; at += 2 * block_bytes) {
    uint32_t fits = fits_at(text + at) | fits_at(text + at + block_bytes) << block_bytes;
    for (; fits != 0; fits &= fits - 1) {
      int64_t place = at + std::countr_zero(fits);
      if (xps_fold_differ(text + place, needle, nlength) == nlength) return place;
    }
  }
  return xps_plainly::fold_find(text, at, last, needle, nlength);
}
