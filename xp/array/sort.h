// Sorting and searching vectors of pointer-sized items. Bounded and memory-safe whatever the comparison
// answers, also one that is no order at all.

#ifndef XP_ARRAY_SORT_H
#define XP_ARRAY_SORT_H

#include "xp/object/object.h"

#include <stdint.h>

// Negative, 0 or positive. `context` and `argument` are handed through.
using xp_sort_compare = int64_t (*)(void *context, xp_obj *a, xp_obj *b, void *argument);

// xp_compare(a, b); what a null comparison means.
int64_t xp_sort_cmpobj(void *context, xp_obj *a, xp_obj *b, void *argument);

// Sorts in place by introspective sort. Items that compare equal are ordered by their raw values, so the
// order is total and the result does not depend on the input order. Nothing happens for a count below 1 or
// null items.
void xp_sort(void *context, int64_t count, xp_obj **items, xp_sort_compare compare, void *argument);

// Position of an item in a sorted vector that compares equal to `key`, or -1. Of several equal items any may
// be found.
int64_t xp_search(void *context, int64_t count, xp_obj *const *items, xp_obj *key, xp_sort_compare compare,
                  void *argument);

// Comparisons and swaps of all xp_sort calls of the process: statistics only.
uint64_t xp_sort_comparisons();
uint64_t xp_sort_swaps();

#endif
