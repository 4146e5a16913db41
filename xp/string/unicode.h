// The seam to the platform's Unicode data. Pure functions over code points and well-formed UTF-8 of known
// length; no locale is asked. The implementation is the only place that knows the platform.

#ifndef XP_STRING_UNICODE_H
#define XP_STRING_UNICODE_H

#include <stdint.h>

// A code point with simple case folding.
uint32_t xps_unicode_fold(uint32_t point);

// The forms of xps_unicode_normalize.
enum : int32_t { XPS_NFC, XPS_NFD, XPS_NFKC, XPS_NFKD, XPS_FORMS };

// The text in upper or lower case, in a normal form. At most `capacity` bytes are written to `to`; the result
// is the length of the whole, however much of it fitted, or negative when the platform fails.
int64_t xps_unicode_upper(const char *text, int64_t length, char *to, int64_t capacity);
int64_t xps_unicode_lower(const char *text, int64_t length, char *to, int64_t capacity);
int64_t xps_unicode_normalize(const char *text, int64_t length, int32_t form, char *to, int64_t capacity);

#endif
