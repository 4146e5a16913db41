// The property list's struct, shared inside this folder.

#ifndef XP_PLIST_PLIST_IMPL_H
#define XP_PLIST_PLIST_IMPL_H

#include "xp/object/type.h"

struct xp_plist : xp_obj {
  static constexpr uint32_t code = xp_code("plst");

  int32_t style;  // 0 to 8
  xp_obj *root;   // owned; may be null
  int32_t nulls;  // 1: keys with null values are written
};

#endif
