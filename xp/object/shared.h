// Objects that live as long as the process: the booleans and the small numbers. Each stands in a slot that is
// filled once and never changes afterwards, so that a reader can never meet an object that somebody is about
// to free. Internal to those who define types.

#ifndef XP_OBJECT_SHARED_H
#define XP_OBJECT_SHARED_H

#include "xp/object/debug.h"
#include "xp/object/slot.h"

#include <atomic>

namespace xp {

// A new reference to the object in `slot`; null when it is not filled yet.
inline xp_obj *shared_get(xp_obj *&slot) {
  return xp_retain(std::atomic_ref(slot).load(std::memory_order_acquire));
}

// Fills `slot` with `made`, whose reference it takes over, unless another thread was first. A new reference
// to the object that stands in the slot now; null when `made` is null.
inline xp_obj *shared_set(xp_obj *&slot, xp_obj *made) {
  if (made == nullptr) return nullptr;
  if (xp_restore(&slot, made)) {
    xp_dbg_forget(made);
  } else {
    xp_release(made);
  }
  return shared_get(slot);
}

}  // namespace xp

#endif
