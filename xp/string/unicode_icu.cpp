#include "xp/string/unicode.h"

#include <string.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>

namespace {

// The macro narrows to bytes on purpose, which the compiler cannot see.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"

// The code point at `at`, which is moved behind it.
UChar32 next_point(const char *text, int64_t &at, int64_t length) {
  UChar32 point;
  U8_NEXT(text, at, length, point);
  return point;
}

#pragma GCC diagnostic pop

UChar32 fold(UChar32 point) {
  if (point < 0x80) return point >= 'A' && point <= 'Z' ? point + 32 : point;
  return u_foldCase(point, U_FOLD_CASE_DEFAULT);
}

bool inside_sequence(const char *text, int64_t at, int64_t length) {
  return at < length && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
}

// The start of the first sequence in which the texts differ.
int64_t common_prefix(const char *a, int64_t alength, const char *b, int64_t blength) {
  int64_t at = std::mismatch(a, a + alength, b, b + blength).first - a;
  while (inside_sequence(a, at, alength) || inside_sequence(b, at, blength))
    --at;
  return at;
}

int32_t compare_folded(const char *a, int64_t alength, const char *b, int64_t blength) {
  int64_t i = common_prefix(a, alength, b, blength);
  int64_t j = i;
  while (i < alength && j < blength) {
    UChar32 x = fold(next_point(a, i, alength));
    UChar32 y = fold(next_point(b, j, blength));
    if (x != y) return x < y ? -1 : 1;
  }
  return (i < alength) - (j < blength);
}

}  // namespace

int32_t xps_unicode_compare(const char *a, int64_t alength, const char *b, int64_t blength, int32_t exact) {
  if (exact == 0) return compare_folded(a, alength, b, blength);
  // The bytes of UTF-8 are in the order of the code points.
  int order = memcmp(a, b, static_cast<size_t>(std::min(alength, blength)));
  if (order == 0) return (alength > blength) - (alength < blength);
  return order < 0 ? -1 : 1;
}
