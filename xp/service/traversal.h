// Traversals ("trav"): objects that walk a container. A traversal holds a reference to what it walks and
// belongs to one thread at a time. One that has ended stays ended until it is reset.

#ifndef XP_SERVICE_TRAVERSAL_H
#define XP_SERVICE_TRAVERSAL_H

#include "xp/object/object.h"

#include <stdint.h>

// Arguments of XP_CTL_TRAVERSE: the first four are answered by traversals, the last by containers, with their
// traversal constructor.
enum : int64_t {
  XP_TRAV_RESET = 0,
  XP_TRAV_NEXT = 1,
  XP_TRAV_PREV = 2,
  XP_TRAV_MAKE = 3,
  XP_TRAV_COUNT = 5,
};

// What a container supplies to be walked. `state` is the traversal's own zeroed memory; next and prev return
// new references, null at the end. `prev` may be null: the traversal runs forward only.
struct xp_trav_ops {
  void (*reset)(xp_obj *container, void *state);
  xp_obj *(*next)(xp_obj *container, void *state);
  xp_obj *(*prev)(xp_obj *container, void *state);
  int64_t (*count)(xp_obj *container, void *state);
};

// "trav"
uint32_t xp_trav_type();

// A traversal of `container` (retained) with `state_size` bytes of state, reset at once. `ops` must live for
// ever.
xp_obj *xp_trav_new(xp_obj *container, const xp_trav_ops *ops, int64_t state_size);

// The state of a traversal; null for anything else. For containers whose constructors prepare it.
void *xp_trav_state(xp_obj *t);

// A traversal of anything that can be walked: a traversal itself is returned retained, a container makes one,
// any other object gives null.
xp_obj *xp_trav_make(xp_obj *obj);

void xp_trav_reset(xp_obj *t);
xp_obj *xp_trav_next(xp_obj *t);
xp_obj *xp_trav_prev(xp_obj *t);
int64_t xp_trav_count(xp_obj *t);

#endif
