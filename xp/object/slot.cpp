#include "xp/object/slot.h"

#include <atomic>

namespace {

// Takes what is in the slot and leaves `obj`. Release hands our writes to the next owner, acquire takes the
// writes of the last one over.
xp_obj *exchange(xp_obj **slot, xp_obj *obj) {
  return std::atomic_ref(*slot).exchange(obj, std::memory_order_acq_rel);
}

}  // namespace

void xp_replace(xp_obj **slot, xp_obj *obj) {
  if (slot != nullptr) xp_release(exchange(slot, xp_retain(obj)));
}

xp_obj *xp_reclaim(xp_obj **slot) {
  return slot == nullptr ? nullptr : exchange(slot, nullptr);
}

int32_t xp_restore(xp_obj **slot, xp_obj *obj) {
  if (slot == nullptr) return 0;
  xp_obj *empty = nullptr;
  return std::atomic_ref(*slot).compare_exchange_strong(empty, obj, std::memory_order_acq_rel) ? 1 : 0;
}

xp_obj *xp_retrieve(xp_obj **slot, void * /*a*/, void * /*b*/) {
  xp_obj *taken = xp_reclaim(slot);
  xp_obj *result = xp_retain(taken);
  if (taken != nullptr && !xp_restore(slot, taken)) xp_release(taken);
  return result;
}
