// Locks: one process-wide lock for short critical sections of the runtime, critical sections ("crit", not
// recursive) and recursive locks ("sema"). Every function accepts null and then does nothing: a container
// without a lock calls them with null.

#ifndef XP_OBJECT_LOCK_H
#define XP_OBJECT_LOCK_H

#include "xp/object/object.h"

#include <stdint.h>

// --- The process-wide lock: not recursive, never held while foreign code runs ---

// Leaving before anybody has ever entered does nothing.
void xp_enter();
void xp_leave();

// --- Critical sections ---

// "crit"
uint32_t xp_crit_type();
xp_obj *xp_crit_new();
void xp_crit_release(xp_obj *c);

// Lock, unlock. A thread that enters twice waits for itself for ever.
void xp_crit_enter(xp_obj *c);
void xp_crit_leave(xp_obj *c);

// 1 when the lock was taken without waiting, else 0 (also for null).
int32_t xp_crit_try(xp_obj *c);

// --- Recursive locks ---

// "sema"
uint32_t xp_mux_type();
xp_obj *xp_mux_new();
void xp_mux_release(xp_obj *m);

// Locks, or goes one deeper when the caller holds the lock already.
void xp_mux_lock(xp_obj *m);

// Goes one up; the outermost unlock lets the next thread in. Only the thread that locked may unlock: the
// caller is not checked.
void xp_mux_unlock(xp_obj *m);

namespace xp {

// Holds a critical section, which may be null and must outlive it, until the end of the block.
class crit_guard {
public:
  explicit crit_guard(xp_obj *crit) : crit_(crit) { xp_crit_enter(crit_); }
  ~crit_guard() { xp_crit_leave(crit_); }
  crit_guard(const crit_guard &) = delete;
  crit_guard &operator=(const crit_guard &) = delete;

private:
  xp_obj *crit_;
};

}  // namespace xp

#endif
