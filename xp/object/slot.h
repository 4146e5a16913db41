// Atomic slots: a pointer-sized word that holds one reference to an object, or null, and that several threads
// share without a lock. A slot that such threads can reach is touched through these functions alone. A null
// slot address does nothing.

#ifndef XP_OBJECT_SLOT_H
#define XP_OBJECT_SLOT_H

#include "xp/object/object.h"

// Puts a new reference to `obj` (null empties the slot) in the place of the object that was there, which is
// released.
void xp_replace(xp_obj **slot, xp_obj *obj);

// Takes the object out: the slot is empty and the caller owns its reference. Null when it was empty.
xp_obj *xp_reclaim(xp_obj **slot);

// Fills an empty slot. 1 when `obj` was stored: the slot owns the caller's reference; 0 when the slot was
// occupied: the caller keeps it.
int32_t xp_restore(xp_obj **slot, xp_obj *obj);

// A new reference to the slot's object, null when it is empty. `a` and `b` are handed to nobody: the retain
// operations of this runtime look at the object alone.
// Deliberate: the object is taken out while it is retained, so that nobody can release the slot's reference
// in between. Another thread may therefore find the slot empty for a moment.
xp_obj *xp_retrieve(xp_obj **slot, void *a, void *b);

#endif
