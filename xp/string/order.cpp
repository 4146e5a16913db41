#include "xp/string/order.h"

#include "xp/object/code.h"  // asserts little-endian words
#include "xp/string/codepoint.h"
#include "xp/string/text.h"
#include "xp/string/unicode.h"
#include "xp/string/utf8.h"

#include <string.h>

#include <algorithm>

namespace {

using byte = unsigned char;

// --- Folding ---

// What to add to a code point to fold it, in blocks of the 64 code points that share all but the last byte of
// their UTF-8; blocks in which nothing folds are all block 0. Sums are taken in the low 16 bits, where no
// code point's folding carries.
struct fold_table {
  static constexpr uint32_t rows = 0x1F000 >> 6;  // nothing folds from U+1F000 on
  static constexpr uint32_t blocks = 128;

  uint8_t row[rows];
  uint16_t shift[blocks][64];
  uint16_t folded[32][64];  // the folded code points themselves where they have two bytes: by lead byte, by
                            // the other

  fold_table();
  uint32_t fold(uint32_t at_row, uint32_t low) const {
    uint32_t point = at_row << 6 | low;
    return (point & ~0xFFFFu) | ((point + shift[row[at_row]][low]) & 0xFFFF);
  }
};

// Asks the platform about every code point once. The blocks suffice for twice the letters there are.
fold_table::fold_table() : row{}, shift{}, folded{} {
  uint32_t used = 1;
  for (uint32_t at = 0; at < rows && used < blocks; ++at) {
    bool folds = false;
    for (uint32_t low = 0; low < 64; ++low) {
      uint32_t point = at << 6 | low;
      shift[used][low] = static_cast<uint16_t>(xps_unicode_fold(point) - point);
      folds = folds || shift[used][low] != 0;
    }
    if (folds) row[at] = static_cast<uint8_t>(used++);
  }
  for (uint32_t point = 0; point < 0x800; ++point)
    folded[point >> 6][point & 0x3F] = static_cast<uint16_t>(fold(point >> 6, point & 0x3F));
}

// Made on first use, once, whichever thread comes first.
const fold_table &folds() {
  static const fold_table table;
  return table;
}

// The folded code point of the well-formed sequence at `at`, which is moved behind it.
uint32_t take_folded(const byte *&at, const fold_table &table) {
  uint32_t lead = at[0];
  if (lead < 0x80) {
    ++at;
    return lead - 'A' < 26 ? lead + 32 : lead;
  }
  if (lead >= 0xE0 && lead < 0xF0) {
    at += 3;
    return table.fold((lead & 0x0F) << 6 | (at[-2] & 0x3F), at[-1] & 0x3F);
  }
  uint32_t point = xps_take_point(at);
  return point >> 6 < fold_table::rows ? table.fold(point >> 6, point & 0x3F) : point;
}

// --- Comparing ---

int32_t by_length(int64_t a, int64_t b) {
  return (a > b) - (a < b);
}

int32_t by_bytes(const char *a, int64_t alength, const char *b, int64_t blength) {
  int64_t shorter = std::min(alength, blength);
  int order = shorter > 0 ? memcmp(a, b, static_cast<size_t>(shorter)) : 0;
  if (order == 0) return by_length(alength, blength);
  return order < 0 ? -1 : 1;
}

// Skips what is equal, as long as both texts have sequences of two bytes: the letters of many scripts, where
// all of a text is such. The texts have at least `count` bytes each.
int64_t equal_pairs(const byte *x, const byte *y, int64_t count, const fold_table &table) {
  int64_t at = 0;
  for (; at + 1 < count; at += 2) {
    uint16_t left, right;  // the lead byte is the low one
    memcpy(&left, x + at, 2);
    memcpy(&right, y + at, 2);
    if ((((left ^ 0xC0u) | (right ^ 0xC0u)) & 0xE0) != 0) break;
    if (table.folded[left & 0x1F][left >> 8 & 0x3F] != table.folded[right & 0x1F][right >> 8 & 0x3F]) break;
  }
  return at;
}

int32_t by_folded_points(const char *a, int64_t alength, const char *b, int64_t blength) {
  const fold_table &table = folds();
  const auto *x = reinterpret_cast<const byte *>(a), *xend = x + alength;
  const auto *y = reinterpret_cast<const byte *>(b), *yend = y + blength;
  while (x < xend && y < yend) {
    int64_t equal = equal_pairs(x, y, std::min(xend - x, yend - y), table);
    x += equal;
    y += equal;
    if (x == xend || y == yend) break;
    uint32_t left = take_folded(x, table);
    uint32_t right = take_folded(y, table);
    if (left != right) return left < right ? -1 : 1;
  }
  return (x < xend) - (y < yend);
}

bool inside_sequence(const char *text, int64_t at, int64_t length) {
  return at < length && (static_cast<byte>(text[at]) & 0xC0) == 0x80;
}

// Bytes that both texts begin with: eight at a time, and up to seven fewer than there are.
int64_t common_words(const char *a, const char *b, int64_t length) {
  int64_t at = 0;
  for (; length - at >= 8; at += 8) {
    if (memcmp(a + at, b + at, 8) != 0) break;
  }
  return at;
}

// Takes a sequence that the end cuts off the text, which is known to be well formed up to `from`, the start
// of a sequence. False when what is left is not well formed.
bool make_whole(const char *text, int64_t from, int64_t &length) {
  int64_t fault = xp_str_txtvalid(text + from, length - from);
  if (fault < 0) return true;
  fault += from;
  if (xps_step(static_cast<byte>(text[fault])) <= length - fault) return false;
  length = fault;
  return true;
}

}  // namespace

int32_t xps_order(const char *a, int64_t alength, const char *b, int64_t blength, int32_t exact) {
  int64_t common = common_words(a, b, std::min(alength, blength));
  while (common > 0 && (inside_sequence(a, common, alength) || inside_sequence(b, common, blength)))
    --common;
  int64_t awhole = alength, bwhole = blength;
  bool a_made = make_whole(a, 0, awhole);
  bool b_made = make_whole(b, a_made ? std::min(common, awhole) : 0, bwhole);
  if (!a_made && !b_made) return by_bytes(a, alength, b, blength);
  if (a_made != b_made) return a_made ? 1 : -1;
  if (exact != 0) return by_bytes(a, awhole, b, bwhole);
  common = std::min({common, awhole, bwhole});
  return by_folded_points(a + common, awhole - common, b + common, bwhole - common);
}
