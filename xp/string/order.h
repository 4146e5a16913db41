// The order of texts by code points, straight from their UTF-8 bytes: nothing is converted and nothing
// allocated. Internal to this folder.

#ifndef XP_STRING_ORDER_H
#define XP_STRING_ORDER_H

#include <stdint.h>

// Order of two texts of known length: -1, 0, 1; when `exact` is 0, of the texts with simple case folding
// applied to each code point. A last sequence that the end cuts off is left out. A text that is not well
// formed comes before one that is; two of them stand in byte order, so that a text stays equal to itself.
int32_t xps_order(const char *a, int64_t alength, const char *b, int64_t blength, int32_t exact);

#endif
