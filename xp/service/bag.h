// Bags ("xbag"): multisets of objects, in no particular order. A bag may hold one object, or objects that are
// equal, any number of times; two objects are the same member when xp_compare says that they are equal.
// Members stand in blocks ("bblk") of growing size, so that inserting never moves any of them, and removing
// moves one. Nulls are never members.
//
// A bag created with XP_BAG_LOCKED locks itself around every operation, comparisons and visitors included,
// which therefore must not use that bag; any other is for one thread at a time.

#ifndef XP_SERVICE_BAG_H
#define XP_SERVICE_BAG_H

#include "xp/object/object.h"

#include <stdint.h>

enum : uint32_t {
  XP_BAG_LOCKED = 4,  // the bag owns a lock and takes it in every operation
};

// "xbag"
uint32_t xp_bag_type();

// --- Life cycle ---

xp_obj *xp_bag_new(uint32_t flags);

// A bag itself, retained; of anything that can be walked (xp_trav_make) a new bag of its members, raw values
// excluded, a traversal giving those that are still before it; of any other object a bag of that one.
xp_obj *xp_bag_coerce(xp_obj *obj);

// A new bag with the same flags and members. xp_duplicate without XP_DUP_SHALLOW duplicates the members, too,
// and recurses into them.
xp_obj *xp_bag_copy(xp_obj *b);

// --- Members ---

// Sees to it that the bag can hold `count` members without taking memory. How many it can hold now, or -1,
// with nothing changed, when memory is exhausted.
int64_t xp_bag_setinitial(xp_obj *b, int64_t count);

// Inserts an object (retained), also when it is there already. The new number of members, or -1, with nothing
// changed, when memory is exhausted or `obj` is null.
int64_t xp_bag_insert(xp_obj *b, xp_obj *obj);

// Drops one member that equals `obj`. 1, or 0 when there is none.
int64_t xp_bag_remove(xp_obj *b, xp_obj *obj);

// Drops all members.
void xp_bag_drain(xp_obj *b);

// How many members equal `obj`; whether any does, 1 or 0. Both look at one member after the other.
int64_t xp_bag_count(xp_obj *b, xp_obj *obj);
int32_t xp_bag_includes(xp_obj *b, xp_obj *obj);

// All members, each as often as it was inserted.
int64_t xp_bag_length(xp_obj *b);

// --- Walking: both end early when a member is removed meanwhile, and need not meet one inserted meanwhile
// ---

// Calls `visit` for each member (borrowed) until it returns nonzero; -1 when it did, else 0.
using xp_bag_visitor = int64_t (*)(xp_obj *b, xp_obj *member, void *context);
int64_t xp_bag_enum(xp_obj *b, xp_bag_visitor visit, void *context);

// A traversal of the members (xp/service/traversal.h), forward only.
xp_obj *xp_bag_travnew(xp_obj *b);

#endif
