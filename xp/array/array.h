// Arrays ("arry"): growable vectors of object references (or of raw pointer-sized values). An array created
// with XP_ARRAY_LOCKED locks itself around every operation; any other is for one thread at a time. What is
// done to an array as a whole stands in xp/array/array_bulk.h.

#ifndef XP_ARRAY_ARRAY_H
#define XP_ARRAY_ARRAY_H

#include "xp/array/sort.h"
#include "xp/object/object.h"

#include <stdint.h>

enum : uint32_t {
  XP_ARRAY_RAW = 3,     // either bit: values are raw and never retained or released
  XP_ARRAY_LOCKED = 4,  // the array owns a lock and takes it in every operation
};

// "arry"
uint32_t xp_array_type();

// An empty array: capacity 0, growth step 1.
xp_obj *xp_array_new(uint32_t flags);

// Raises the capacity to `capacity` slots when it is smaller; a negative one changes nothing. Returns the
// capacity, or -1 when memory is exhausted, which empties the array.
int64_t xp_array_setinitial(xp_obj *a, int64_t capacity);

// Slots added when the array is full: below 0 means 1; 0 means that it never grows.
int64_t xp_array_setgrowth(xp_obj *a, int64_t step);

// Gives spare slots back. Returns the count, or -1.
int64_t xp_array_setfinal(xp_obj *a);

// Inserts at `index`, or appends when it is negative or beyond the count. Returns the position, or -1 when
// the array cannot grow.
// Deliberate: when memory is exhausted while growing, the array is left empty rather than half-valid.
int64_t xp_array_insert(xp_obj *a, xp_obj *obj, int64_t index);

// Replaces the element at `index`; 0, or -1 when out of range.
int64_t xp_array_set(xp_obj *a, xp_obj *obj, int64_t index);

// The element as a new reference (a raw value as it stands); null when out of range.
xp_obj *xp_array_get(xp_obj *a, int64_t index);

// Takes the element out and hands its reference to the caller; null when out of range.
xp_obj *xp_array_remove(xp_obj *a, int64_t index);

// Takes the element out and releases it; 0, or -1 when out of range.
int64_t xp_array_delete(xp_obj *a, int64_t index);

int64_t xp_array_length(xp_obj *a);

// Calls `visit` for each element (borrowed) until it returns nonzero; -1 when it did, else 0. The lock is
// held.
using xp_array_visitor = int64_t (*)(xp_obj *a, int64_t index, xp_obj *value, void *context);
int64_t xp_array_enum(xp_obj *a, xp_array_visitor visit, void *context);

// A new array with the same flags and members; xp_duplicate, without XP_DUP_SHALLOW, copies the members, too,
// and recurses as deep as they nest.
xp_obj *xp_array_copy(xp_obj *a);

// xp_sort over the elements; 0. xp_search over the sorted elements: the position of the first that equals the
// key, or -1. `context` is the comparison's first argument, its last one is null. A null comparison is
// xp_compare, or the order of the raw values.
int64_t xp_array_sort(xp_obj *a, xp_sort_compare compare, void *context);
int64_t xp_array_search(xp_obj *a, xp_obj *key, xp_sort_compare compare, void *context);

// A traversal of the elements (xp/service/traversal.h), in both directions; the first step of a fresh one
// backward is to the last element.
xp_obj *xp_array_travnew(xp_obj *a);

#endif
