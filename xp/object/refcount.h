// The reference count of an object: a plain 32-bit integer that is touched through std::atomic_ref here and
// nowhere else. Internal to those who define types.

#ifndef XP_OBJECT_REFCOUNT_H
#define XP_OBJECT_REFCOUNT_H

#include <stdint.h>

#include <atomic>

namespace xp::refcount {

// A new owner needs an existing one to get its reference from, so nothing has to be ordered here; full
// ordering is promised to callers all the same and costs nothing on x86-64, where every locked addition is a
// full barrier.
inline void up(int32_t &count) {
  std::atomic_ref(count).fetch_add(1, std::memory_order_seq_cst);
}

// The count before it went down. Release makes this owner's writes visible to whoever destroys the object;
// acquire makes all the other owners' writes visible to us if that is who we are.
inline int32_t down(int32_t &count) {
  return std::atomic_ref(count).fetch_sub(1, std::memory_order_seq_cst);
}

// A momentary reading. Acquire, so that an owner who reads 1 sees what the former owners wrote.
inline int32_t read(int32_t &count) {
  return std::atomic_ref(count).load(std::memory_order_acquire);
}

// Counts down: true for the last owner, who has to end the object. An owner who reads 1 is the last one, and
// nobody else can reach the object to change that: a plain store does for what would cost a locked
// subtraction in every short life.
inline bool drop(int32_t &count) {
  if (read(count) > 1) return down(count) < 2;
  std::atomic_ref(count).store(0, std::memory_order_relaxed);
  return true;
}

// Counts down unless that would drop the last reference: true when it did. For types whose end belongs to one
// thread.
inline bool down_unless_last(int32_t &count) {
  int32_t seen = read(count);
  while (seen > 1) {
    if (std::atomic_ref(count).compare_exchange_weak(seen, seen - 1, std::memory_order_seq_cst)) return true;
  }
  return false;
}

}  // namespace xp::refcount

#endif
