// The property list's struct, shared inside this folder.

#ifndef XP_PLIST_PLIST_IMPL_H
#define XP_PLIST_PLIST_IMPL_H

#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/plist/style.h"

#include <stdint.h>

// What is kept beside the tree.
struct xp_plist_settings {
  int32_t nulls;      // 1: keys with null values are written
  uint32_t bookmark;  // the checksum of xp_plist_bookmark; 0 before
};

struct xp_plist : xp_obj {
  static constexpr uint32_t code = xp_code("plst");

  const xp_plist_style *style;
  xp_obj *root;  // owned; may be null
  xp_plist_settings settings;
};

namespace xp {

// A new list over a tree, in a style of 0 to 8; null when memory is exhausted.
xp_obj *wrap_list(ref root, int32_t style, const xp_plist_settings &settings = {});

}  // namespace xp

#endif
