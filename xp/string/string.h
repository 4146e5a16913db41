// Strings ("xstr"): immutable UTF-8 text objects with a length in bytes. An operation that changes a string
// returns a new one, or the same one retained when nothing changes, so strings may be shared between threads
// without a lock. Ordinary strings keep their text inside the object and at least one zero byte behind it.
//
// Around it: text.h the same operations on raw text, parts.h cutting, copying and walking, edit.h joining and
// replacing, scan.h reading fields, class.h sets of bytes, mapping.h case, normal forms and repair, kinds.h
// strings with a tag, a value or a secret, encoding.h other encodings and 16-bit text; all in xp/string.

#ifndef XP_STRING_STRING_H
#define XP_STRING_STRING_H

#include "xp/object/object.h"

#include <stdint.h>

// "xstr"
uint32_t xp_str_type();
xp_obj *xp_str_retain(xp_obj *s);
void xp_str_release(xp_obj *s);

// --- Making ---

// A copy of a zero-terminated text; of `length` bytes (which may hold zero bytes). A null text gives the
// empty string.
xp_obj *xp_str_new(const char *text);
xp_obj *xp_str_make(const char *text, int64_t length);

// A string over the caller's zero-terminated text, which is not copied and must outlive the string: for
// literals.
xp_obj *xp_str_const(const char *text);

// A string is returned retained; any other object gives a new string of its text; null gives null.
xp_obj *xp_str_coerce(xp_obj *obj);

// A new string by the format engine (xp/format/format.h). The format must be a literal.
xp_obj *xp_str_format(const char *format, ...);

// A new string: `s` followed by the text. A null or empty `s` gives a string of the text; an empty text gives
// `s`.
xp_obj *xp_str_append(xp_obj *s, const char *text, int64_t length);
xp_obj *xp_str_concat(xp_obj *a, xp_obj *b);

// --- Reading ---

// Length in bytes; pointer to the text, zero-terminated, never null for a string; 0 and null for anything
// else.
int64_t xp_str_length(xp_obj *s);
const char *xp_str_getptr(xp_obj *s);

// --- Comparing: -1, 0, 1 ---
// A null or empty `s` is below any text and equal to an empty one. The i forms ignore case. The first two
// follow the Unicode order (code points, simple case folding) as soon as a byte is not plain; the q forms
// compare bytes, the folding one with ASCII letters only.
int32_t xp_str_cmp(xp_obj *s, const char *text, int64_t length);
int32_t xp_str_icmp(xp_obj *s, const char *text, int64_t length);
int32_t xp_str_cmpq(xp_obj *s, const char *text, int64_t length);
int32_t xp_str_icmpq(xp_obj *s, const char *text, int64_t length);

// The type's order: case-insensitive, of the texts up to their first zero byte.
// Deliberate: "abc" and "ABC" are equal objects everywhere objects are compared.
int64_t xp_str_compare(xp_obj *a, xp_obj *b);

// 1 when the string begins, ends with the text; exact 0 folds ASCII letters.
// Deliberate: nothing begins or ends with an empty text.
int32_t xp_str_starts(xp_obj *s, const char *prefix, int64_t length, int32_t exact);
int32_t xp_str_ends(xp_obj *s, const char *suffix, int64_t length, int32_t exact);

// --- Searching ---

enum : uint32_t {
  XP_FIND_EXACT = 1,   // letters match exactly; otherwise ASCII letters are folded
  XP_FIND_LENGTH = 2,  // a miss gives the string's length (forward) or 0 (backward, from >= 1) instead of -1
  XP_FIND_BACKWARD = 4,  // tries positions downward
};

// Byte position of a zero-terminated text, or -1. Forward: `from` below 0 or beyond the last byte gives -1
// whatever the flags. Backward: `from` below 0 means from the last possible position, a larger one is cut to
// it. An empty or null text or string gives -1.
int64_t xp_str_find(xp_obj *s, const char *text, uint32_t flags, int64_t from);

// --- Transforming: a new string, or `s` retained when nothing changes ---

// Without the bytes below 33 at both ends.
// Deliberate: a string of nothing else gives null, not an empty string.
xp_obj *xp_str_trim(xp_obj *s);

// Backslash escapes resolved: \n \r \t; \x with one or two hexadecimal digits; one to three octal digits, the
// first 0 to 3; any other byte behind a backslash is that byte ("\x" without digits is "x"). A backslash at
// the end is dropped. A zero byte in the text ends it; one made by an escape does not.
xp_obj *xp_str_unescape(xp_obj *s);

// The same from raw text: the unescaped string, built in one pass and one allocation. For readers that would
// else make a string only to unescape it.
xp_obj *xp_str_unescaped(const char *text, int64_t length);

// Negative when the text is well-formed UTF-8 by RFC 3629 (also for a null `s`), otherwise the offset of the
// first ill-formed byte.
int64_t xp_str_valid(xp_obj *s);

// --- Type protocol ---

// The text; with a short buffer the longest prefix of whole UTF-8 sequences that fits.
int64_t xp_str_textify(xp_obj *s, char *buffer, int64_t capacity);
int64_t xp_str_stream(xp_obj *s, xp_writer writer, void *context);
int64_t xp_str_control(xp_obj *s, uint32_t code, int64_t argument, void *pointer);

#endif
