// UTF-8 by lead bytes: how texts are cut. Whether a text is well formed is another question, see
// xp_str_sequence and xp_str_txtvalid. Internal to the runtime.

#ifndef XP_STRING_UTF8_H
#define XP_STRING_UTF8_H

#include <stdint.h>

// Bytes that a sequence with this lead byte takes, 1 to 6. Continuation bytes and FE, FF count as their
// patterns say: 1 and 6.
inline int32_t xps_step(unsigned char lead) {
  if (lead < 0xC0) return 1;
  if (lead < 0xE0) return 2;
  if (lead < 0xF0) return 3;
  if (lead < 0xF8) return 4;
  return lead < 0xFC ? 5 : 6;
}

// The length of the longest prefix of `text` (length known) that fits into `limit` bytes without cutting a
// sequence that starts in it. A text that fits is taken as it is, even when it ends inside a sequence.
int64_t xps_cut(const char *text, int64_t length, int64_t limit);

// The length of the whole sequences in `length` bytes: a last one that the end cuts is left out.
int64_t xps_whole(const char *text, int64_t length);

// Bytes at the start of an ill-formed text of at least one byte that are replaced as one when it is repaired:
// the longest beginning of a well-formed sequence, or a single byte.
int64_t xps_subpart(const char *text, int64_t length);

#endif
