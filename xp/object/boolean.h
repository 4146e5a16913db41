// Booleans ("bool"): exactly two shared, process-wide objects.

#ifndef XP_OBJECT_BOOLEAN_H
#define XP_OBJECT_BOOLEAN_H

#include "xp/object/object.h"

#include <stdint.h>

// "bool"
uint32_t xp_boolean_type();

// The shared object for true (any nonzero value) or false, retained.
xp_obj *xp_boolean_new(int64_t value);

// False before true.
int64_t xp_bool_compare(xp_obj *a, xp_obj *b);

#endif
