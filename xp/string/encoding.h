// Text in other encodings made into strings, and strings as 16-bit text and as platform values. A string is
// always UTF-8; encodings are left at the border. Pure functions, safe from any thread.
//
// Two manners of reading: xp_str_encmake is strict and gives null for text that is not well formed in its
// encoding; all others repair and put U+FFFD in the place of what cannot be read. Strings become other text
// by repair, too.

#ifndef XP_STRING_ENCODING_H
#define XP_STRING_ENCODING_H

#include "xp/object/object.h"

#include <stdint.h>

enum xp_encoding : uint32_t {
  XP_ENC_UTF8,         // by RFC 3629; repaired as xp_str_repair does
  XP_ENC_ASCII,        // bytes from 128 on are not well formed
  XP_ENC_LATIN1,       // ISO 8859-1: every byte is its own code point
  XP_ENC_WINDOWS1252,  // as browsers read it: 81, 8D, 8F, 90 and 9D are the control characters of their
                       // number
  XP_ENC_UTF16,        // a byte order mark is taken off and obeyed; without one, the order of this machine
  XP_ENC_UTF16LE,      // here and below a mark is an ordinary U+FEFF
  XP_ENC_UTF16BE,
  XP_ENC_UTF32LE,
  XP_ENC_UTF32BE,
};

// --- From other encodings ---
// `length` counts bytes whatever the encoding; below 0 the text ends at its first zero unit of 1, 2 or 4
// bytes. A surrogate without its partner, a number beyond U+10FFFF and an incomplete last unit are not well
// formed. A null text gives the empty string, an unknown encoding null.

// Strict: null when the text is not well formed.
xp_obj *xp_str_encmake(const char *text, int64_t length, uint32_t encoding);

// Repairing: the same of a text of known length, of a zero-terminated text.
xp_obj *xp_str_makedecode(const char *text, int64_t length, uint32_t encoding);
xp_obj *xp_str_newdecode(const char *text, uint32_t encoding);

// Repairing: `s` holds bytes in that encoding, as read from outside. `s` retained when the text stays the
// same or the encoding is unknown.
xp_obj *xp_str_decode(xp_obj *s, uint32_t encoding);

// --- 16-bit text: UTF-16 in the order of this machine, lengths in units ---

xp_obj *xp_str_wnew(const char16_t *text);
xp_obj *xp_str_wmake(const char16_t *text, int64_t length);

// With a null buffer the units that the string needs, its zero unit not counted; otherwise copies the longest
// prefix that fits into `size` units with a zero unit behind it, which is always written when `size` is at
// least 1, and returns the units copied. A pair of surrogates is never cut.
int64_t xp_str_wget(xp_obj *s, char16_t *buffer, int64_t size);

// --- Platform values ---
// This platform has no string object of its own; what its interfaces hand around as "a text, a number or a
// boolean" is this plain value.

enum xp_cf_kind : uint32_t {
  XP_CF_NONE,
  XP_CF_TEXT,
  XP_CF_INTEGER,
  XP_CF_REAL,
  XP_CF_BOOLEAN,
};

struct xp_cf {
  uint32_t kind;
  char16_t *text;   // of XP_CF_TEXT: UTF-16, null counts as empty
  int64_t length;   // of XP_CF_TEXT: units at `text`; below 0: zero-terminated
  int64_t integer;  // of XP_CF_INTEGER; of XP_CF_BOOLEAN: 0 is false
  double real;      // of XP_CF_REAL
};

// The text; an integer in plain decimal as the C library's "%ld" prints it, a real number as "%f" does;
// "true" or "false". Null for null and for any other kind.
xp_obj *xp_str_cfmake(const xp_cf *value);

// The string as a value of kind XP_CF_TEXT with a zero unit behind its text, which the caller frees with
// xp_free. 1 when made; 0 (kind XP_CF_NONE) for null and when memory is exhausted.
int32_t xp_str_cfget(xp_obj *s, xp_cf *value);

#endif
