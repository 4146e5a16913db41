// Base64 and base64url (RFC 4648).

#ifndef XP_SERVICE_BASE64_H
#define XP_SERVICE_BASE64_H

#include <stdint.h>

enum : uint32_t {
  XP_B64_URL = 1,  // the URL and file name alphabet, without padding (RFC 4648, section 5)
};

// Writes the base64 text of `length` bytes; at most `capacity` bytes of whole four-character groups, no
// terminating zero. Returns the number written, or the length of the whole text when `buffer` is null.
int64_t xp_b64_encode(const void *bytes, int64_t length, uint32_t flags, char *buffer, int64_t capacity);

#endif
