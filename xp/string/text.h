// The string operations on raw text, in two families with the semantics of the object forms in
// xp/string/string.h: on a pointer with a length in bytes (xp_str_txt..., below 0: zero-terminated), and on
// zero-terminated text (xp_str_str...). Pure functions; null text is empty.

#ifndef XP_STRING_TEXT_H
#define XP_STRING_TEXT_H

#include <stdint.h>

// Length of a text: `length` itself, or that of the zero-terminated text when it is below 0; 0 for null.
int64_t xp_str_txtlen(const char *text, int64_t length);
int64_t xp_str_strlen(const char *text);

// --- Comparing: -1, 0, 1 ---

// What all comparisons rest on. Full, with the Unicode order behind the first byte that is not plain: exact 0
// ignores case. Quick, of bytes with ASCII letters folded.
int32_t xps_compare(const char *a, int64_t alength, const char *b, int64_t blength, int32_t exact);
int32_t xps_iqcompare(const char *a, int64_t alength, const char *b, int64_t blength);

// Full forms, quick forms byte-wise (folding: ASCII letters).
int32_t xp_str_txtcmp(const char *a, int64_t alength, const char *b, int64_t blength);
int32_t xp_str_txticmp(const char *a, int64_t alength, const char *b, int64_t blength);
int32_t xp_str_txtcmpq(const char *a, int64_t alength, const char *b, int64_t blength);
int32_t xp_str_txticmpq(const char *a, int64_t alength, const char *b, int64_t blength);

int32_t xp_str_strcmp(const char *a, const char *b);
int32_t xp_str_stricmp(const char *a, const char *b);
int32_t xp_str_strcmpq(const char *a, const char *b);
int32_t xp_str_stricmpq(const char *a, const char *b);

// Of at most the first `count` bytes of each; below 0: of all.
int32_t xp_str_strncmp(const char *a, const char *b, int64_t count);
int32_t xp_str_strnicmp(const char *a, const char *b, int64_t count);

// A zero-terminated text with a length-prefixed one: a byte with the length, 0 to 255, and that many bytes.
int32_t xp_str_strpcmp(const char *text, const void *prefixed);
int32_t xp_str_strpicmp(const char *text, const void *prefixed);

// Equality: 1 or 0. Two empty texts match; a null text matches only an empty one; exact 0 folds ASCII
// letters.
int32_t xp_str_txtmatch(const char *a, int64_t alength, const char *b, int64_t blength, int32_t exact);
int32_t xp_str_strmatch(const char *a, const char *b, int32_t exact);

// 1 when the text begins, ends with the other; 0 for an empty or null text or affix.
int32_t xp_str_txtstarts(const char *text, int64_t length, const char *prefix, int64_t plength,
                         int32_t exact);
int32_t xp_str_txtends(const char *text, int64_t length, const char *suffix, int64_t slength, int32_t exact);
int32_t xp_str_strstarts(const char *text, const char *prefix, int32_t exact);
int32_t xp_str_strends(const char *text, const char *suffix, int32_t exact);

// --- Searching: a byte position, or -1; flags and `from` as in xp_str_find ---

// For a zero-terminated text; for one of known length.
int64_t xp_str_txtfind(const char *text, int64_t length, const char *needle, uint32_t flags, int64_t from);
int64_t xp_str_txtnfind(const char *text, int64_t length, const char *needle, int64_t nlength, uint32_t flags,
                        int64_t from);
int64_t xp_str_strfind(const char *text, const char *needle, uint32_t flags, int64_t from);

// The first place of a text exactly as it is; with ASCII letters folded; of a byte. The zero byte is never
// found.
int64_t xp_str_strstr(const char *text, const char *needle);
int64_t xp_str_stristr(const char *text, const char *needle);
int64_t xp_str_strchr(const char *text, char byte);

// --- UTF-8 ---

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
