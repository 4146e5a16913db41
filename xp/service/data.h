// Data ("data"): byte buffers that can grow. For one thread at a time.

#ifndef XP_SERVICE_DATA_H
#define XP_SERVICE_DATA_H

#include "xp/object/object.h"

#include <stdint.h>

// "data"
uint32_t xp_data_type();

// A copy of `length` bytes; null bytes give `length` zero bytes. Null when memory is exhausted or length is
// negative.
xp_obj *xp_data_new(const void *bytes, int64_t length);

// Data over the caller's bytes, which are not copied, must outlive it and are never written: for constants.
xp_obj *xp_data_const(const void *bytes, int64_t length);

// Data that takes over a block of xp_alloc of at least `length` bytes; null, and the block still the
// caller's, when memory is exhausted.
xp_obj *xp_data_alloc(void *bytes, int64_t length);

// The bytes, which move when the data grows; their number.
void *xp_data_getptr(xp_obj *d);
int64_t xp_data_length(xp_obj *d);

// Appends `length` bytes (zero bytes when null), which must not lie in the data itself, and grows
// geometrically. The new length, or -1 with nothing changed when memory is exhausted, the length negative or
// the data constant.
int64_t xp_data_append(xp_obj *d, const void *bytes, int64_t length);

#endif
