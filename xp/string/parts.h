// Parts of strings: cutting them out, copying them into buffers, walking them.

#ifndef XP_STRING_PARTS_H
#define XP_STRING_PARTS_H

#include "xp/object/object.h"
#include "xp/string/string.h"

#include <stdint.h>

// --- Parts as new strings; null for a null string ---

// The `count` bytes from `from` on, as far as the string has them: `from` below 0 means 0, a count below 0 up
// to the end. `s` retained when that is all of it. Bytes, not characters: cut where a character begins.
xp_obj *xp_str_substr(xp_obj *s, int64_t from, int64_t count);

// What stands between two delimiters: behind the first `open`, before the next `close` behind it; `s`
// retained when that is all of it, null when one of them is not there. A null or empty `open` is at the start
// already, a null or empty `close` at the end. Without XP_FIND_EXACT ASCII letters of the delimiters are
// folded. The search starts at *at, and a part that is found moves *at behind its `close`, so that the next
// call finds the next part; null starts at 0. A start outside the string finds nothing.
xp_obj *xp_str_extract(xp_obj *s, const char *open, const char *close, uint32_t flags, int64_t *at);

// --- Single bytes and characters ---

// The byte at a position, 0 to 255; -1 outside the string.
int32_t xp_str_charat(xp_obj *s, int64_t at);

// A new string of the UTF-8 character at a byte position: as many bytes as its first byte asks for, up to a
// zero byte or the end. Null outside the string.
xp_obj *xp_str_glyphat(xp_obj *s, int64_t at);

// --- Copies in the caller's buffer of `size` bytes: the longest prefix of whole characters that fits ---

// The text alone; a null buffer asks for the room needed. The result is the bytes of text.
int64_t xp_str_get(xp_obj *s, char *buffer, int64_t size);

// A zero-terminated text, also of a null string, unless the size is below 1. The result is the bytes of text
// before the zero byte. A zero byte within the string is copied like any other.
int64_t xp_str_cget(xp_obj *s, char *buffer, int64_t size);

// A length-prefixed text: a byte with the length, then at most 255 bytes of text. The result is that length;
// nothing is written when the size is below 1.
int64_t xp_str_pget(xp_obj *s, void *buffer, int64_t size);

// --- Traversal ---

// A traversal (xp/service/traversal.h) of the parts of `s` (retained) between separators, each a new string.
// The separator is compared exactly and copied. A string of n separators has n + 1 parts, empty ones
// included; only the empty string has none. A separator that overlaps itself in the text counts where the
// walk meets it first, so the two directions may then differ. A null or empty separator parts the characters:
// well-formed UTF-8 sequences, and every other byte by itself.
xp_obj *xp_str_travnew(xp_obj *s, const char *separator, int64_t length);

// Its operations. The count looks at all of the string each time.
void xps_travreset(xp_obj *s, void *state);
xp_obj *xps_travnext(xp_obj *s, void *state);
xp_obj *xps_travprev(xp_obj *s, void *state);
int64_t xps_travcount(xp_obj *s, void *state);

#endif
