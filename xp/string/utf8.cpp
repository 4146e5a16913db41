#include "xp/string/utf8.h"

#include "xp/string/string.h"
#include "xp/string/text.h"

#include <string.h>

namespace {

// Bytes from `at` on that are certainly all below 128: a multiple of eight.
int64_t ascii_run(const char *text, int64_t at, int64_t length) {
  int64_t start = at;
  for (; length - at >= 8; at += 8) {
    uint64_t word;
    memcpy(&word, text + at, sizeof word);
    if ((word & 0x8080808080808080u) != 0) break;
  }
  return at - start;
}

// What may follow a lead byte as the second byte; all further ones are 80 to BF.
struct lead_row {
  unsigned char first, last;  // lead bytes
  unsigned char low, high;    // second byte
  int32_t bytes;
};

// RFC 3629, section 4: no overlong forms (C0, C1, E0 80, F0 80), no surrogates (ED A0), nothing above
// U+10FFFF (F4 90).
constexpr lead_row lead_rows[] = {
    {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4},
    {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

const lead_row *find_lead(unsigned char lead) {
  for (const lead_row &row : lead_rows) {
    if (lead >= row.first && lead <= row.last) return &row;
  }
  return nullptr;
}

}  // namespace

int64_t xps_whole(const char *text, int64_t length) {
  int64_t at = 0;
  while (at < length) {
    at += ascii_run(text, at, length);
    if (at == length) break;
    int32_t step = xps_step(static_cast<unsigned char>(text[at]));
    if (step > length - at) break;
    at += step;
  }
  return at;
}

int64_t xps_cut(const char *text, int64_t length, int64_t limit) {
  if (limit >= length) return length;
  return limit > 0 ? xps_whole(text, limit) : 0;
}

int32_t xp_str_sequence(const char *text, int64_t length) {
  if (text == nullptr || length == 0) return 0;
  const auto *bytes = reinterpret_cast<const unsigned char *>(text);
  if (bytes[0] < 0x80) return length > 0 || bytes[0] != 0;
  const lead_row *row = find_lead(bytes[0]);
  if (row == nullptr || (length > 0 && length < row->bytes)) return 0;
  if (bytes[1] < row->low || bytes[1] > row->high) return 0;
  // One byte after the other: in a zero-terminated text nothing behind the zero byte may be looked at.
  for (int32_t i = 2; i < row->bytes; ++i) {
    if ((bytes[i] & 0xC0) != 0x80) return 0;
  }
  return row->bytes;
}

int64_t xp_str_txtvalid(const char *text, int64_t length) {
  int64_t total = xp_str_txtlen(text, length);
  int64_t at = 0;
  while (at < total) {
    at += ascii_run(text, at, total);
    if (at == total) break;
    int32_t bytes = xp_str_sequence(text + at, total - at);
    if (bytes == 0) return at;
    at += bytes;
  }
  return -1;
}

int64_t xp_str_valid(xp_obj *s) {
  return xp_str_txtvalid(xp_str_getptr(s), xp_str_length(s));
}
