// Character classes: sets of bytes, written as the inside of a bracket expression. Pure functions.
//
// A class holds, one after the other:
//   c          that byte
//   a-z        the bytes from one to the other, in either order of the ends
//   \c         that byte, also as an end of a range: for "\", "-" and "[" where they would mean something
//   [:name:]   alnum alpha ascii blank cntrl digit graph lower print punct space upper word xdigit
// A "-" at either end of the class or beside a name is itself, and so is a "\" at the end. An unknown name is
// single bytes.

#ifndef XP_STRING_CLASS_H
#define XP_STRING_CLASS_H

#include "xp/object/object.h"

#include <stdint.h>

enum : uint32_t {
  XP_CLASS_EXACT = 1,  // letters as they are; otherwise each single one, and each of a range, in both cases
};

// Sets table[c] = mark in the table of 256 bytes for every byte c that the pattern names; the others stay.
// Names are added as listed whatever the flags: alnum alpha digit lower upper punct xdigit cntrl as in the C
// locale, and so are graph and print; blank is space and tab; space is space, tab, line feed and carriage
// return alone; ascii is 0 to 127.
// Deliberate: word is "0-9A-Z_" under the flags, so with XP_CLASS_EXACT it has no small letters.
void xps_charclass_add(const char *pattern, int64_t length, uint32_t flags, unsigned char mark,
                       unsigned char *table);

// 1 when the text has bytes of the class only; when it has any. `set` is a zero-terminated class, exact.
// Deliberate: an empty text or an empty set gives 0 for both: who asks whether a text is all digits wants to
// read a number.
int32_t xp_str_only(xp_obj *s, const char *set);
int32_t xp_str_any(xp_obj *s, const char *set);
int32_t xp_str_txtonly(const char *text, int64_t length, const char *set);
int32_t xp_str_txtany(const char *text, int64_t length, const char *set);
int32_t xp_str_stronly(const char *text, const char *set);
int32_t xp_str_strany(const char *text, const char *set);

#endif
