// Making and ending objects without calls, for the types that readers make by the thousand. Internal to those
// who define types; xp/object/type.h says how everybody else does it.

#ifndef XP_OBJECT_QUICK_H
#define XP_OBJECT_QUICK_H

#include "xp/object/memory.h"
#include "xp/object/memory_hook.h"
#include "xp/object/refcount.h"
#include "xp/object/slab.h"
#include "xp/object/type.h"

namespace xp {

// A new object of type T with `tail` further bytes behind the struct, as xp::make makes it, except that what
// stands behind the header is whatever the block held before: the caller writes all that anybody reads.
template <typename T>
[[gnu::always_inline]] inline T *make_unzeroed(const ops &table, size_t tail = 0) {
  static_assert(std::is_base_of_v<xp_obj, T> && std::is_trivially_destructible_v<T>);
  static_assert(alignof(T) <= alignof(xp_obj));
  if (tail > SIZE_MAX - sizeof(T) || !allocation_allowed()) return nullptr;
  const size_t size = sizeof(T) + tail;
  void *block = slab::in_use ? slab::take(size) : nullptr;
  if (block != nullptr) {
    count_block_taken();
  } else {
    block = block_unzeroed(size);
    if (block == nullptr) return nullptr;
  }
  count_object();
  auto *obj = static_cast<T *>(static_cast<xp_obj *>(block));
  obj->refs = 1;
  obj->type = T::code;
  set_ops(obj, table);
  return obj;
}

// xp::destroy.
[[gnu::always_inline]] inline void destroy_quickly(xp_obj *obj) {
  if (!slab::in_use || !slab::owns(obj)) return destroy(obj);
  uncount_object();
  count_block_given();
  slab::give(obj);
}

// xp_release: nearly every value has the generic release.
[[gnu::always_inline]] inline void release_quickly(xp_obj *obj) {
  if (obj == nullptr) return;
  if (obj->release != xp_obj_release) return obj->release(obj);
  if (refcount::drop(obj->refs)) destroy_quickly(obj);
}

}  // namespace xp

#endif
