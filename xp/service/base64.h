// Base64 and base64url (RFC 4648). Safe from any thread.

#ifndef XP_SERVICE_BASE64_H
#define XP_SERVICE_BASE64_H

#include "xp/object/object.h"

#include <stdint.h>

enum : uint32_t {
  XP_B64_URL = 1,      // the URL and file name alphabet, without padding (RFC 4648, section 5)
  XP_B64_LENIENT = 2,  // decoding: either alphabet, white space anywhere, padding or not
};

// Writes the base64 text of `length` bytes; at most `capacity` bytes of whole four-character groups, no
// terminating zero. Returns the number written, or the length of the whole text when `buffer` is null.
int64_t xp_b64_encode(const void *bytes, int64_t length, uint32_t flags, char *buffer, int64_t capacity);

// The same in lines of `width` characters, cut to whole groups (at least one), with a line feed between two
// lines and none behind the last; a width of 0 or less makes one line.
int64_t xp_b64_lines(const void *bytes, int64_t length, uint32_t flags, int64_t width, char *buffer,
                     int64_t capacity);

// Reads base64 text: writes at most `capacity` bytes and returns the number written, or the number of all
// bytes when `buffer` is null; -1 for a text that is not base64, whatever has been written by then.
//
// Strictly: the alphabet alone, padding exactly where it belongs (none under XP_B64_URL), and no bits set
// behind the last byte, so that each content has one text. XP_B64_LENIENT takes either alphabet (even mixed),
// skips space, tab and line breaks, takes padding that is complete, cut short or absent, and ignores spare
// bits; nothing but white space may follow padding, and a lone character at the end is no byte.
int64_t xp_b64_decode(const char *text, int64_t length, uint32_t flags, void *buffer, int64_t capacity);

// The bytes of base64 text as new data (xp/service/data.h); null for a text that is not base64 and when
// memory is exhausted.
xp_obj *xp_b64_data(const char *text, int64_t length, uint32_t flags);

#endif
