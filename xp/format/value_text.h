// Single values as text and back: numbers, bytes, UUIDs, network addresses and times. Short names for what
// the format engine does with one directive, and the readers that belong to them. Nothing here depends on the
// locale but the words of times. Safe from any thread; pure functions, but for the clock and the time zone.
//
// The writers share one form, that of xp_fmt_text: at most size - 1 bytes and a terminating zero; the bytes
// written, or with a null buffer the length of the whole text. Readers never look behind `length` (below 0:
// behind the zero byte) and take any bytes. xp_fmt_getlong and xp_fmt_getquad are in xp/format/format.h.

#ifndef XP_FORMAT_VALUE_TEXT_H
#define XP_FORMAT_VALUE_TEXT_H

#include <stdint.h>

// --- Numbers ---

// Decimal; the smallest 64-bit number in plain digits, unlike the directive, so that xp_fmt_getquad reads it.
int64_t xp_fmt_long(char *buffer, int64_t size, int32_t value);
int64_t xp_fmt_quad(char *buffer, int64_t size, int64_t value);
int64_t xp_fmt_ulong(char *buffer, int64_t size, uint32_t value);
int64_t xp_fmt_uquad(char *buffer, int64_t size, uint64_t value);

// Hexadecimal without prefix: lower case and no more digits than needed; upper case and all 8 or 16 digits.
int64_t xp_fmt_xlong(char *buffer, int64_t size, uint32_t value);
int64_t xp_fmt_xquad(char *buffer, int64_t size, uint64_t value);
int64_t xp_fmt_hexlong(char *buffer, int64_t size, uint32_t value);
int64_t xp_fmt_hexquad(char *buffer, int64_t size, uint64_t value);

// The text of number objects: the shortest one that reads back the same, with ".0" when it would read as an
// integer; "inf", "-inf", "nan".
int64_t xp_fmt_double(char *buffer, int64_t size, double value);

// Reads a number at the start of a text: white space, a sign, then digits with a fraction and an exponent, or
// "inf" or "nan" in either case. 0 when there is none; an infinity or a zero beyond the range.
double xp_fmt_getdouble(const char *text, int64_t length);

// --- Bytes ---

// Two upper-case hexadecimal digits for each byte; nothing for null or a length below 1.
int64_t xp_fmt_data(char *buffer, int64_t size, const void *bytes, int64_t length);

// Reads pairs of hexadecimal digits in either case, with white space between pairs or not. Writes at most
// `capacity` bytes and returns the number written, or with null `bytes` the number of all; -1 for any other
// text, whatever has been written by then.
int64_t xp_fmt_getdata(const char *text, int64_t length, void *bytes, int64_t capacity);

// The 16 bytes of a UUID, in order, as 6ba7b810-9dad-11d1-80b4-00c04fd430c8; nothing for null.
int64_t xp_fmt_uuid(char *buffer, int64_t size, const void *bytes);

// Reads a text of just this shape, in either case: 0 with all 16 bytes, or -1 with none of them touched.
int32_t xp_fmt_getuuid(const char *text, int64_t length, void *bytes);

// --- Network addresses ---

// An address in network order: 4 bytes as 192.0.2.1, 16 as 2001:db8::1 in the shortest form; nothing for
// another length or null.
int64_t xp_fmt_addr(char *buffer, int64_t size, const void *address, int64_t length);

// Reads a text that is one address: its length, 4 or 16, with so many bytes in `address`, which has room for
// 16; or 0 with nothing touched. A zone, a port, and numbers that are not decimal are no part of an address.
int32_t xp_fmt_getaddr(const char *text, int64_t length, void *address);

// --- Times ---

// A time in seconds since 1970 UTC, 0 for now, by a pattern of the engine's time conversions (zero-terminated
// and of any bytes); null: 2026-11-15 03:10:37.
int64_t xp_fmt_utctime(char *buffer, int64_t size, int64_t seconds, const char *pattern);
int64_t xp_fmt_localtime(char *buffer, int64_t size, int64_t seconds, const char *pattern);

#endif
