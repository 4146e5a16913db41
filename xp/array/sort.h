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

// Binary search in a vector sorted by the same comparison, which is called with the key first. The position
// of the first item that equals `key`; for a missing key -1 - p, where p is the position at which it belongs
// (0 to `count`), so every negative result means missing.
int64_t xp_search(void *context, int64_t count, xp_obj *const *items, xp_obj *key, xp_sort_compare compare,
                  void *argument);

// The item that xp_search finds, borrowed; null for a missing key.
xp_obj *xp_search_get(void *context, int64_t count, xp_obj *const *items, xp_obj *key,
                      xp_sort_compare compare, void *argument);

// Comparisons and swaps of all xp_sort calls of the process: statistics only.
uint64_t xp_sort_comparisons();
uint64_t xp_sort_swaps();

#endif
