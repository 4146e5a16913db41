// The seam to the platform's Unicode data. Pure functions over well-formed UTF-8 of known length; nothing is
// allocated, no locale is asked.

#ifndef XP_STRING_UNICODE_H
#define XP_STRING_UNICODE_H

#include <stdint.h>

// Order of two texts by code points: -1, 0, 1. When `exact` is 0, of the texts with simple case folding
// applied to each code point.
int32_t xps_unicode_compare(const char *a, int64_t alength, const char *b, int64_t blength, int32_t exact);

#endif
