// The format engine: printf-like formatting into a buffer or through an output function, with conversions for
// runtime objects and four-character codes and a string stage that escapes, quotes and maps case.
//
//   %[n$][flags][width][.precision][t|l|ll|I64]conversion[{option:options:parameter}]
//
// Formats must be literals: an argument's type is known only from the format. Independent of the locale
// unless a flag asks for it. Safe from any thread.

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
// it writes nothing and returns size - 1.
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
