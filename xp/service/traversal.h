// Traversals ("trav"): objects that walk a container. A traversal holds a reference to what it walks and
// belongs to one thread at a time. One that has ended stays ended until it is reset.
//
// Generic code walks anything by
//   xp::ref t = xp::ref::adopt(xp_trav_make(obj));
//   while (xp::ref member = xp::ref::adopt(xp_trav_next(t.get()))) ...

#ifndef XP_SERVICE_TRAVERSAL_H
#define XP_SERVICE_TRAVERSAL_H

#include "xp/object/object.h"

#include <stdint.h>

// Arguments of XP_CTL_TRAVERSE: what a traversal is asked for, and what a container is.
enum : int64_t {
  XP_TRAV_RESET = 0,  // traversals: back to the state of a fresh one; 0
  XP_TRAV_NEXT = 1,   // traversals: the next member, a new reference, or 0
  XP_TRAV_PREV = 2,   // traversals: the previous member, a new reference, or 0
  XP_TRAV_MAKE = 3,   // containers: their traversal constructor, xp_obj *(*)(xp_obj *container)
  XP_TRAV_SKIP = 4,   // traversals: passes over members; pointer: an int64_t, how many, null: 1. How many.
  XP_TRAV_COUNT = 5,  // traversals: members of the container
};

// What a container supplies to be walked. `state` is the traversal's own zeroed memory; next and prev return
// new references, null at the end. `prev` may be null: the traversal runs forward only. `skip` may be null:
// members are passed over by fetching them; it gets a positive count and returns how many it passed.
struct xp_trav_ops {
  void (*reset)(xp_obj *container, void *state);
  xp_obj *(*next)(xp_obj *container, void *state);
  xp_obj *(*prev)(xp_obj *container, void *state);
  int64_t (*count)(xp_obj *container, void *state);
  int64_t (*skip)(xp_obj *container, void *state, int64_t count) = nullptr;
};

// "trav"
uint32_t xp_trav_type();

// A traversal of `container` (retained) with `state_size` bytes of state, reset at once. `ops` must live for
// ever.
xp_obj *xp_trav_new(xp_obj *container, const xp_trav_ops *ops, int64_t state_size);

// The state of a traversal; null for anything else. For containers whose constructors prepare it.
void *xp_trav_state(xp_obj *t);

// A traversal of anything that can be walked: a traversal itself is returned retained, a container makes one
// (a dictionary that of its keys), any other object gives null.
xp_obj *xp_trav_make(xp_obj *obj);

// A traversal, in both directions, of `obj` (retained) alone: for code that takes either one object or many.
xp_obj *xp_trav_one(xp_obj *obj);

// Back to the state of a fresh traversal.
void xp_trav_reset(xp_obj *t);

// The next, the previous member as a new reference (a raw value as it stands); null at the end, and always
// backward when the container runs forward only.
xp_obj *xp_trav_next(xp_obj *t);
xp_obj *xp_trav_prev(xp_obj *t);

// Passes over the next `count` members and returns how many there were; 0 for a count below 1. Not for raw
// values unless their container has a skip of its own.
int64_t xp_trav_skip(xp_obj *t, int64_t count);

// How many members the container has now, those that this traversal has passed included.
int64_t xp_trav_count(xp_obj *t);

#endif
