// Tuples ("tupl"): a fixed number of objects or raw values, made in one call and immutable afterwards, so
// they may be shared between threads.

#ifndef XP_ARRAY_TUPLE_H
#define XP_ARRAY_TUPLE_H

#include "xp/object/object.h"

#include <stdint.h>

// "tupl"
uint32_t xp_tuple_type();

// A tuple of `count` objects (xp_obj * arguments), each retained; null when the count is below 1.
xp_obj *xp_tuple_new(int64_t count, ...);

// The same with slots of which some are raw pointer-sized values: bit i of `mask` marks slot i.
// Deliberate: the bit of slot i is bit i modulo 32, so tuples of more than 32 slots cannot mix.
xp_obj *xp_tuple_newmixed(int64_t count, uint64_t mask, ...);

// An object slot as a new reference, a raw slot as its value; null when `index` is out of range.
xp_obj *xp_tuple_get(xp_obj *t, int64_t index);

int64_t xp_tuple_length(xp_obj *t);

#endif
