// Dictionaries made at once, for readers that know all the members when they make the dictionary: one block
// holds the object and its keys. Internal to the runtime.

#ifndef XP_DICT_BUILD_H
#define XP_DICT_BUILD_H

#include "xp/object/object.h"

#include <stddef.h>
#include <stdint.h>

#include <span>

namespace xp {

namespace dict {
struct entry;
struct object;
}  // namespace dict

struct dict_member {
  xp_obj *value;  // owned; may be null
  const char *key;
  uint32_t key_length;  // 1 to 255
  uint32_t hash;        // dict_hash::of the key, folded: computed where the key is at hand anyway
};

// The dictionary that xp_dict_new(XP_DICT_NOCASE) and an xp_dict_adopt of each member, in their order, would
// make. Takes over the references of the values in any case. Null when memory is exhausted.
xp_obj *dict_of(std::span<const dict_member> members);

// A dictionary that others with the same keys in the same order can be copied from: lists of records are full
// of them. Borrowed, and of use as long as nobody changes the dictionary.
struct dict_model {
  dict::object *dictionary;
  dict::entry *first;  // the entries of the keys, in the order of the members
  dict::entry *past;

  size_t size() const;
};

// A dictionary of dict_of or dict_like as a model, `members` being how many it was made of. All null when it
// cannot be one: it is empty or large, or members took the places of others.
dict_model dict_model_of(xp_obj *dictionary, size_t members);

// What dict_of makes of members whose keys are byte for byte those of a model, in their order. Their keys and
// hashes are not looked at.
xp_obj *dict_like(const dict_model &model, std::span<const dict_member> members);

}  // namespace xp

#endif
