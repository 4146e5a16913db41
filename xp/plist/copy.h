// Deep copies of trees: dictionaries, arrays and data are made anew, as are other containers that copy
// themselves (xp_duplicate). What cannot change is shared with the original: strings, numbers, booleans,
// dates, URLs, and what does not copy itself, property lists inside the tree among them. New dictionaries and
// arrays have the flags of the old ones; keys keep their spelling and null values stay.
//
// Takes memory, not stack: dictionaries and arrays may nest as deep as they like. A node that is in the tree
// twice is copied twice. A tree that contains itself must not be copied. Null on failure, with nothing left
// behind. For one thread at a time, as the tree is.

#ifndef XP_PLIST_COPY_H
#define XP_PLIST_COPY_H

#include "xp/object/object.h"

// A new property list with a copy of the tree and the same style, setting for nulls and bookmark; null for
// anything else.
xp_obj *xp_plist_copy(xp_obj *p);

// A copy of any node; of a dictionary, of an array, null for anything else. A null node has a null copy.
xp_obj *xp_plist_icopy(xp_obj *node);
xp_obj *xp_plist_dictcopy(xp_obj *dict);
xp_obj *xp_plist_arraycopy(xp_obj *array);

#endif
