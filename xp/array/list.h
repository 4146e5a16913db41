// Lists ("list"): circular doubly linked lists of element objects ("elem"), with the list itself as sentinel.
// A list created with XP_LIST_LOCKED locks itself around every operation; any other is for one thread at a
// time. Members that go are released after the lock is left, so their end may use the list.
//
// "This very object" is meant by identity; two members are equal when xp_compare gives 0 (raw values: when
// they are the same). Members with a null value are counted, but walks and look-ups pass over them.

#ifndef XP_ARRAY_LIST_H
#define XP_ARRAY_LIST_H

#include "xp/object/object.h"

#include <stdint.h>

enum : uint32_t {
  XP_LIST_RAW = 1,       // values are raw and never retained or released
  XP_LIST_ADOPT = 2,     // append and insert take the caller's reference over; copies and joins still retain
  XP_LIST_LOCKED = 4,    // the list owns a lock and takes it in every operation
  XP_LIST_WEAK = 8,      // members that only the list holds go when a walk meets them; off with 1 or 2
  XP_LIST_RECYCLE = 16,  // released elements are kept for reuse
};

// "list"
uint32_t xp_list_type();

xp_obj *xp_list_new(uint32_t flags);

// The flags of a list; 0 for anything else.
uint32_t xp_list_flags(xp_obj *l);

// A new list with the same flags and members; xp_duplicate, without XP_DUP_SHALLOW, copies the members, too,
// and recurses as deep as they nest.
xp_obj *xp_list_copy(xp_obj *l);

// --- Single members ---

// Adds at the tail, at the head. The new count, or 0 when memory is exhausted.
int64_t xp_list_append(xp_obj *l, xp_obj *obj);
int64_t xp_list_insert(xp_obj *l, xp_obj *obj);

// Drops the first element that holds this very object. 1, or 0 when there is none.
int64_t xp_list_remove(xp_obj *l, xp_obj *obj);

// Drops every member that equals `obj`. How many.
int64_t xp_list_delete(xp_obj *l, xp_obj *obj);

// The value behind, before the element that holds this very object, as a new reference; the first, the last
// when it is null; null at the end or when the object is not in the list. Of several elements with the object
// the first in the direction of the walk counts.
xp_obj *xp_list_next(xp_obj *l, xp_obj *after);
xp_obj *xp_list_prev(xp_obj *l, xp_obj *before);
xp_obj *xp_list_head(xp_obj *l);
xp_obj *xp_list_tail(xp_obj *l);

// Takes the first element out and hands its reference to the caller; null when empty.
xp_obj *xp_list_shift(xp_obj *l);

// Moves the first element that holds this very object to the head, to the tail. 1, or 0 when there is none. A
// traversal that stands on it goes on from its new place.
int64_t xp_list_movetofront(xp_obj *l, xp_obj *obj);
int64_t xp_list_movetoback(xp_obj *l, xp_obj *obj);

// --- Looking up, from the head on ---

// The first member that equals `obj`, as a new reference, or null.
xp_obj *xp_list_find(xp_obj *l, xp_obj *obj);

// 1 when a member equals `obj`; when this very object is a member. Else 0.
int32_t xp_list_includes(xp_obj *l, xp_obj *obj);
int32_t xp_list_present(xp_obj *l, xp_obj *obj);

// The first member for which `accept` returns nonzero, as a new reference, or null. The lock is held;
// `accept` must leave the list as it is.
using xp_list_predicate = int64_t (*)(xp_obj *value, void *context);
xp_obj *xp_list_scan(xp_obj *l, xp_list_predicate accept, void *context);

// --- The whole list ---

// Members; those of a weak list that no walk has met yet included.
int64_t xp_list_length(xp_obj *l);

// 1 when there are no members (as in what is no list), else 0.
int32_t xp_list_empty(xp_obj *l);

// Releases every member.
void xp_list_drain(xp_obj *l);

void xp_list_reverse(xp_obj *l);

// Appends all members of `other`, which is read first under its own lock, stays as it is and may be the same
// list. merge leaves out those that equal a member of `l`, former or newly added, and compares each with
// each. The new count; -1, with nothing added, when memory is exhausted or only one of both holds raw values.
int64_t xp_list_join(xp_obj *l, xp_obj *other);
int64_t xp_list_merge(xp_obj *l, xp_obj *other);

// Calls `visit` for each member (borrowed) until it returns nonzero; -1 when it did, else 0. The lock is
// held. The callback of an unlocked list may change it: the walk goes on behind the member it is called for,
// or, once that one is gone, with the one that followed it; when both are gone, it ends.
using xp_list_visitor = int64_t (*)(xp_obj *l, xp_obj *value, void *context);
int64_t xp_list_enum(xp_obj *l, xp_list_visitor visit, void *context);

// A traversal of the values (xp/service/traversal.h), in both directions; the first step of a fresh one
// backward is to the last member. One ends when the member that it stands on is removed.
xp_obj *xp_list_travnew(xp_obj *l);

#endif
