// What is done to arrays as a whole: cutting, turning, joining, looking up, scanning. The rules of
// xp/array/array.h hold: a locked array is locked once for the whole operation, null and what is no array
// count as an empty array that takes nothing.
//
// Two elements are equal when xp_compare gives 0; raw values are equal when they are the same. Where an
// operation has a second array, that one is read first, under its own lock, and left as it is; it may be the
// same array. Elements that go are released after the lock is left, so their end may use the array. Arrays of
// raw values and of objects never mix: the result is then that of failure.

#ifndef XP_ARRAY_ARRAY_BULK_H
#define XP_ARRAY_ARRAY_BULK_H

#include "xp/object/object.h"

#include <stdint.h>

// --- Fewer elements. Each result is how many went ---

// Releases the elements from position `count` on. Nothing happens for a negative count or one beyond the end.
int64_t xp_array_truncate(xp_obj *a, int64_t count);

// Takes out the null elements (raw: zeros), all of them, or those at both ends. The rest keeps its order.
int64_t xp_array_condense(xp_obj *a);
int64_t xp_array_trim(xp_obj *a);

// Releases each element that an earlier one equals; the first of equals stays in its place. Sorts a table of
// places, so it takes n log n comparisons; -1, with nothing changed, when there is no memory for that.
int64_t xp_array_unique(xp_obj *a);

// --- More elements. The capacity grows to what is needed, whatever the growth step; an array that never
// grows (step 0) takes what fits whole or nothing. -1, with nothing changed, on failure ---

// Puts all elements of `other` in at `index`, or at the end when it is negative or beyond. The position of
// the first of them.
int64_t xp_array_inject(xp_obj *a, xp_obj *other, int64_t index);

// Appends all elements of `other`. The new count.
int64_t xp_array_join(xp_obj *a, xp_obj *other);

// Appends those elements of `other` that equal none in `a` and no earlier one of `other`. The new count. What
// `a` held stays as it is, equal elements included.
int64_t xp_array_merge(xp_obj *a, xp_obj *other);

// --- Order ---

void xp_array_reverse(xp_obj *a);

// --- Looking up, from the first element on ---

// The position of the first element that equals `obj`, or -1.
int64_t xp_array_find(xp_obj *a, xp_obj *obj);

// 1 when an element equals `obj`; when `obj` itself, this very object, is an element. Else 0.
int32_t xp_array_includes(xp_obj *a, xp_obj *obj);
int32_t xp_array_present(xp_obj *a, xp_obj *obj);

// The position of the first element (borrowed) for which `accept` returns nonzero, or -1. The lock is held.
using xp_array_predicate = int64_t (*)(xp_obj *value, void *context);
int64_t xp_array_scan(xp_obj *a, xp_array_predicate accept, void *context);

// --- Anything as an array ---

// A new reference to an array: `obj` itself when it is one; a new array of the members when it is something
// to walk (list, bag, the keys of a dictionary, what is left of a traversal); an array of `obj` alone when it
// is anything else. Null for null, and when memory is exhausted (keys that could not be made end the walk, so
// the array may then be short). A list of raw values gives an array of raw values; other walks that yield raw
// values must not be handed in.
xp_obj *xp_array_coerce(xp_obj *obj);

#endif
