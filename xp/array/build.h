// Arrays made at once, for readers that know all the items when they make the array. Internal to the runtime.

#ifndef XP_ARRAY_BUILD_H
#define XP_ARRAY_BUILD_H

#include "xp/object/object.h"

#include <stdint.h>

namespace xp {

// A new array of `count` items, which the caller writes to `*items`, with a reference each, before it does
// anything else. Null when memory is exhausted.
xp_obj *array_of(int64_t count, xp_obj ***items);

}  // namespace xp

#endif
