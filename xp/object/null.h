// Null objects (type code 0): a bare header that stands for "nothing" where an object is needed. It counts as
// true and is equal to itself alone.

#ifndef XP_OBJECT_NULL_H
#define XP_OBJECT_NULL_H

#include "xp/object/object.h"

#include <stdint.h>

// 0
uint32_t xp_null_type();

xp_obj *xp_null_new();

#endif
