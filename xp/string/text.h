// The string operations on raw text: a pointer with a length in bytes (below 0: zero-terminated), and on
// zero-terminated text. Same semantics as the object forms in xp/string/string.h. Pure functions; null text
// is empty.

#ifndef XP_STRING_TEXT_H
#define XP_STRING_TEXT_H

#include <stdint.h>

// Length of a text: `length` itself, or that of the zero-terminated text when it is below 0; 0 for null.
int64_t xp_str_txtlen(const char *text, int64_t length);
int64_t xp_str_strlen(const char *text);

// Comparing: -1, 0, 1. Full forms with Unicode fallback, quick forms byte-wise (folding: ASCII letters).
int32_t xp_str_txtcmp(const char *a, int64_t alength, const char *b, int64_t blength);
int32_t xp_str_txticmp(const char *a, int64_t alength, const char *b, int64_t blength);
int32_t xp_str_txtcmpq(const char *a, int64_t alength, const char *b, int64_t blength);
int32_t xp_str_txticmpq(const char *a, int64_t alength, const char *b, int64_t blength);

// Equality: 1 or 0. Two empty texts match; a null text matches only an empty one; exact 0 folds ASCII
// letters.
int32_t xp_str_txtmatch(const char *a, int64_t alength, const char *b, int64_t blength, int32_t exact);

// 1 when the text begins, ends with the other; 0 for an empty or null text or affix.
int32_t xp_str_txtstarts(const char *text, int64_t length, const char *prefix, int64_t plength,
                         int32_t exact);
int32_t xp_str_txtends(const char *text, int64_t length, const char *suffix, int64_t slength, int32_t exact);

// Byte position of `needle`, or -1; flags and `from` as in xp_str_find.
int64_t xp_str_txtfind(const char *text, int64_t length, const char *needle, int64_t nlength, uint32_t flags,
                       int64_t from);

// Negative when the text is well-formed UTF-8 (RFC 3629), otherwise the offset of the first ill-formed byte.
int64_t xp_str_txtvalid(const char *text, int64_t length);

// Bytes of the well-formed UTF-8 sequence (RFC 3629) at the start of `length` bytes, 1 to 4; 0 when there is
// none.
int32_t xp_str_sequence(const char *text, int64_t length);

// The byte with ASCII letters a to z mapped to A to Z.
constexpr unsigned char xp_str_fold(unsigned char byte) {
  return byte >= 'a' && byte <= 'z' ? static_cast<unsigned char>(byte - 32) : byte;
}

#endif
