// The inside of numbers and booleans, for their own files and for writers that meet them by the thousand.
// Internal to the runtime. Both are immutable.

#ifndef XP_OBJECT_SCALAR_IMPL_H
#define XP_OBJECT_SCALAR_IMPL_H

#include "xp/object/type.h"

#include <stdint.h>

namespace xp {

struct number : xp_obj {
  static constexpr uint32_t code = xp_code("xnum");
  int64_t integer;  // of a float: cut towards zero, saturated
  double real;
  int32_t is_float;  // made as a float
};

struct boolean : xp_obj {
  static constexpr uint32_t code = xp_code("bool");
  int32_t value;  // 0 or 1
};

}  // namespace xp

#endif
