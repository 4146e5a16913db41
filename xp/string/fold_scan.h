// The loops in which comparing and searching spend their time, sixteen bytes at a step where the processor
// has the instructions. Each has a plain twin, byte by byte, which runs everywhere else and tells what is
// right: the results are always the same. Internal to this folder.

#ifndef XP_STRING_FOLD_SCAN_H
#define XP_STRING_FOLD_SCAN_H

#include <stdint.h>

// Bytes that the full comparison decides by itself, without the Unicode order.
constexpr bool xps_is_plain(unsigned char byte) {
  return (byte >= ' ' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
         byte == ':' || byte == '@' || byte == '_';
}

// The first position below `length` at which the bytes differ with ASCII letters folded; `length` when none
// does.
int64_t xps_fold_differ(const char *a, const char *b, int64_t length);

// The first position below `length` at which a byte is not plain or the bytes differ, with ASCII letters
// folded when `exact` is false; `length` when there is none.
int64_t xps_plain_differ(const char *a, const char *b, int64_t length, bool exact);

// The first position from `from` to `last` at which the needle stands, with ASCII letters folded; -1 when it
// stands at none. The needle is not empty and ends inside the text at `last`.
int64_t xps_fold_find(const char *text, int64_t from, int64_t last, const char *needle, int64_t nlength);

namespace xps_plainly {

int64_t fold_differ(const char *a, const char *b, int64_t length);
int64_t plain_differ(const char *a, const char *b, int64_t length, bool exact);
int64_t fold_find(const char *text, int64_t from, int64_t last, const char *needle, int64_t nlength);

}  // namespace xps_plainly

#endif
