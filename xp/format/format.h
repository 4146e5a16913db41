// The format engine: printf-like formatting into a buffer or through an output function, with conversions for
// runtime objects, four-character codes, bytes and times, and a string stage that escapes, quotes and maps
// case.
//
//   %[n$][flags][width][.precision][t|l|ll|I64]conversion[{option:flags:parameter}]
//
// Formats must be literals: an argument's type is known only from the format. What the locale decides, the
// grouping, the signs of infinities and the words of times, is the C locale's until the process chooses
// others (xp/service/locale.h). Safe from any thread.
//
// Flags: "-" left, "+" sign of a number or percent-encoding of a text, " " before a positive infinity and
// between the pairs of a dump, "#" prefix, "0" zeros, "'" and "," grouping as of numbers and of money. Width
// and precision are digits or "*" (an int) and saturate at INT_MAX; a negative "*" width justifies left, a
// negative "*" precision is none. Width counts bytes; precision limits the bytes of the text that is read and
// never cuts a character.
//
// Grouped are the digits of numbers in any base before the point, which is the locale's then; not the zeros
// that a precision or "0" puts in front. Of a number the options in braces see what the locale put into it,
// but "+" is its sign and encodes nothing.
//
//   d i u o x X     int, with t l ll I64 64 bits      {z} {Z} time, {T} code
//   e f g E F G     double
//   p               pointer, a null one as 0          {O} {P} {S} as these; {H} {h} dump and {B} {b}
//                                                     base64 of precision bytes; {U} UUID, lower case
//   c s             character; text; with l char16_t
//   S               int, text: counted; with l char16_t units
//   P               text behind one length byte
//   T               32-bit code; its zero bytes print nothing
//   O               object: its text; with "-" or an escape the bytes that it points to (XP_CTL_POINTER), if
//                   it has any; a null one prints the parameter of its braces
//   H h             int, bytes: hexadecimal, upper or lower case
//   D z Z           time in seconds since 1970 UTC, 0 for now; D and z local, Z in UTC: by the pattern in the
//                   parameter, else "#" as in Sun, 15 Nov 2026 03:10:37 +0000, "+" as in 2026-11-15 03:10:37,
//                   else as in 2026-11-15
//   %               itself, never with a brace part
//   others          themselves, and skip an argument: a double for a and A, else one of the size of a
//                   pointer. There is no n.
//
// Flags in braces: $ grouping as of money, ^ upper case, _ lower case, and one of these, the first that is
// there: ~ string literal, & entities, @ percent-encoding of markup, / the same, bytes that are no UTF-8 too;
// < CDATA wrap; ` in the place of ', and spaces in that of control bytes but tabs; one ' puts a backslash
// before ' and itself, two double ', three put a backslash before the double quote and itself. Under & and @
// a byte from 128 on that is no UTF-8 prints as %#233; with its three decimal digits. What is not of the
// shape {option}, {option:...} or {:...} is ordinary text; unknown options and flags are ignored.
//
// Patterns of times are those of strftime with "#" for "%", in the locale's words; also #v 15-Nov-2026, #+
// as above, #Q short time, #/ and #: the separators, #Z "?"; an unknown code is itself.
//
// With n$ the n-th argument, up to 32, is the next one for the width, the precision and the value; what
// follows without a number goes on behind it. Arguments that the format skips must be as large as a pointer.

#ifndef XP_FORMAT_FORMAT_H
#define XP_FORMAT_FORMAT_H

#include "xp/object/object.h"

#include <stdarg.h>
#include <stdint.h>

// Writes at most size - 1 bytes and a terminating zero; returns the bytes written, or with a null buffer the
// length of the whole text. A size below 1 writes nothing and gives 0. A character is never cut.
int64_t xp_fmt_vformat(char *buffer, int64_t size, const char *format, va_list arguments);
int64_t xp_fmt_format(char *buffer, int64_t size, const char *format, ...);

// Formats at buffer + position into the room that is left and returns position + bytes written; with no room
// it writes nothing and returns size - 1, or 0 for a size below 1. With a null buffer position + the length
// of the whole text.
int64_t xp_fmt_append(char *buffer, int64_t size, int64_t position, const char *format, ...);

// The same text through an output function. The bytes written, or the first negative result of the writer.
int64_t xp_fmt_vstream(xp_writer writer, void *context, const char *format, va_list arguments);
int64_t xp_fmt_stream(xp_writer writer, void *context, const char *format, ...);

// Copies text like the format "%s" would; bytes written, or the new position.
int64_t xp_fmt_text(char *buffer, int64_t size, const char *text, int64_t length);
int64_t xp_fmt_appendtext(char *buffer, int64_t size, int64_t position, const char *text, int64_t length);

// The length reached by stepping through a text by its UTF-8 lead bytes; never beyond its zero byte or
// length.
int64_t xp_fmt_validtext(const char *text, int64_t length);
int64_t xp_fmt_validstring(const char *text);

// Reads a decimal integer at the start of a text: white space, a sign, digits; saturates at the ends of the
// type; 0 when there are none.
int64_t xp_fmt_getquad(const char *text, int64_t length);
int32_t xp_fmt_getlong(const char *text, int64_t length);

// Packs the first four characters of a name into a code, skipping "-" and "_"; missing characters are zero
// bytes.
uint32_t xp_fmt_gettag(const char *text, int64_t length);

#endif
