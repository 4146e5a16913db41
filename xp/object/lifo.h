// Stacks of free blocks ("lifo"). While an item is on the stack its first pointer-sized word is the stack's
// link. Safe from any thread, by a short lock: a stack without one either needs a double-width
// compare-and-swap, which is not lock-free on every x86-64, or reads the link of an item that another thread
// has already taken and freed.

#ifndef XP_OBJECT_LIFO_H
#define XP_OBJECT_LIFO_H

#include "xp/object/object.h"

#include <stdint.h>

// "lifo"
uint32_t xp_lifo_type();
xp_obj *xp_lifo_new();

// Deliberate: items that are still on the stack are not freed; the stack does not know how. Its owner pops
// them first.
void xp_lifo_release(xp_obj *l);

// Puts an item of at least one pointer's size, aligned like a pointer, on top.
void xp_lifo_push(xp_obj *l, void *item);

// Takes the item on top; null when the stack is empty.
void *xp_lifo_pop(xp_obj *l);

#endif
