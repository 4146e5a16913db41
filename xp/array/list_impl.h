// The inside of a list, for the files of this folder.

#ifndef XP_ARRAY_LIST_IMPL_H
#define XP_ARRAY_LIST_IMPL_H

#include "xp/array/list.h"
#include "xp/object/lock.h"
#include "xp/object/type.h"

#include <stdint.h>

namespace xp::list {

// A place in the ring: an element, or the list itself between the last element and the first.
struct node : xp_obj {
  node *next;
  node *prev;
};

struct object : node {
  static constexpr uint32_t code = xp_code("list");

  xp_obj *lock;  // or null
  uint32_t flags;
  int32_t count;
  xp_obj *recycled;  // stack of element blocks, or null
  xp_obj *(*retain_value)(xp_obj *value);
  void (*release_value)(xp_obj *value);
  // How many elements were ever unlinked: while it stands still, every element seen so far is in the ring.
  uint64_t unlinked;

  bool has(uint32_t flag) { return (flags & flag) != 0; }
};

struct elem : node {
  static constexpr uint32_t code = xp_code("elem");

  xp_obj *value;
  object *owner;
};

// The lock, held to the end of the block, and the elements that were dropped meanwhile: they end after the
// lock is left, so the end of a value may use the list. The caller's reference keeps the list alive.
class session {
public:
  explicit session(object *l) : list_(l) { xp_crit_enter(l->lock); }
  ~session();
  session(const session &) = delete;
  session &operator=(const session &) = delete;

  // Takes an element out of the ring, for good.
  void drop(elem *e);

  // The next element that walks see from a place, in either direction; null at the end. A member that only a
  // weak list still holds is dropped on the way.
  elem *step(node *from, bool forward);
  elem *first() { return step(list_, true); }

  // The first element in that direction for which accept(value) is true.
  template <typename Accept>
  elem *find(bool forward, Accept accept) {
    elem *e = step(list_, forward);
    while (e != nullptr && !accept(e->value))
      e = step(e, forward);
    return e;
  }
  elem *find(xp_obj *value, bool forward = true) {
    return find(forward, [value](xp_obj *held) { return held == value; });
  }

  // Puts a new element with an owned value behind a place. The new count, or 0, the value left to the caller,
  // when there is no memory.
  int64_t link_behind(node *place, xp_obj *value);

private:
  object *list_;
  node *dropped_ = nullptr;  // chained by `next`
};

// Connect, disconnect: the ring alone, nothing counted.
void tie_in(node *place, node *n);
void cut_out(node *n);

// Whether an element is still in the ring; `n` may point to nothing any more.
bool in_ring(object *l, node *n);

// Two members are equal when xp_compare gives 0; raw values are equal when they are the same.
inline bool equal(object *l, xp_obj *a, xp_obj *b) {
  return l->has(XP_LIST_RAW) ? a == b : xp_compare(a, b) == 0;
}

}  // namespace xp::list

#endif
