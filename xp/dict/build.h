// Dictionaries made at once, for readers that know all the members when they make the dictionary: one block
// holds the object and its keys. Internal to the runtime.

#ifndef XP_DICT_BUILD_H
#define XP_DICT_BUILD_H

#include "xp/object/object.h"

#include <stdint.h>

#include <span>

namespace xp {

struct dict_member {
  xp_obj *value;  // owned; may be null
  const char *key;
  uint32_t key_length;  // 1 to 255
  uint32_t hash;        // dict_hash::of the key, folded: computed where the key is at hand anyway
};

// The dictionary that xp_dict_new(XP_DICT_NOCASE) and an xp_dict_adopt of each member, in their order, would
// make. Takes over the references of the values in any case. Null when memory is exhausted.
xp_obj *dict_of(std::span<const dict_member> members);

}  // namespace xp

#endif
