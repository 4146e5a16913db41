#include "xp/object/null.h"

uint32_t xp_null_type() {
  return 0;
}

xp_obj *xp_null_new() {
  return xp_new(0, 0);
}
