// Lists ("list"): circular doubly linked lists of element objects ("elem"), with the list itself as sentinel.
// A list created with XP_LIST_LOCKED locks itself around every operation; any other is for one thread at a
// time.

#ifndef XP_ARRAY_LIST_H
#define XP_ARRAY_LIST_H

#include "xp/object/object.h"

#include <stdint.h>

enum : uint32_t {
  XP_LIST_RAW = 1,       // values are raw and never retained or released
  XP_LIST_ADOPT = 2,     // stored values are taken over as they are, without a retain
  XP_LIST_LOCKED = 4,    // the list owns a lock and takes it in every operation
  XP_LIST_WEAK = 8,      // members that only the list holds go when a walk meets them; off with 1 or 2
  XP_LIST_RECYCLE = 16,  // released elements are kept for reuse
};

// "list"
uint32_t xp_list_type();

xp_obj *xp_list_new(uint32_t flags);

// Adds at the tail, at the head. The new count, or 0 when memory is exhausted.
int64_t xp_list_append(xp_obj *l, xp_obj *obj);
int64_t xp_list_insert(xp_obj *l, xp_obj *obj);

// Drops the element that holds this very object. 1, or 0 when there is none.
int64_t xp_list_remove(xp_obj *l, xp_obj *obj);

// The value behind, before the element that holds `after`, as a new reference; the first, the last when it is
// null; null at the end or when `after` is not in the list. Elements with a null value are skipped.
xp_obj *xp_list_next(xp_obj *l, xp_obj *after);
xp_obj *xp_list_prev(xp_obj *l, xp_obj *before);
xp_obj *xp_list_head(xp_obj *l);
xp_obj *xp_list_tail(xp_obj *l);

// Takes the first element out and hands its reference to the caller; null when empty.
xp_obj *xp_list_shift(xp_obj *l);

// Members; those of a weak list that no walk has met yet included.
int64_t xp_list_length(xp_obj *l);

// Releases every member.
void xp_list_drain(xp_obj *l);

// A traversal of the values (xp/service/traversal.h), in both directions; the first step of a fresh one
// backward is to the last member. One ends when the member that it stands on is removed.
xp_obj *xp_list_travnew(xp_obj *l);

#endif
