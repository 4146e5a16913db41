#include "xp/object/lock.h"

#include "xp/object/type.h"

#include <pthread.h>

#include <atomic>

namespace {

pthread_mutex_t global = PTHREAD_MUTEX_INITIALIZER;
std::atomic<bool> global_used = false;

struct crit : xp_obj {
  static constexpr uint32_t code = xp_code("crit");
  pthread_mutex_t mutex;
};

struct mux : xp_obj {
  static constexpr uint32_t code = xp_code("sema");
  pthread_mutex_t mutex;
  pthread_t owner;  // 0 while nobody holds the mutex; touched through std::atomic_ref
  int64_t depth;    // the holder's alone
};

constexpr xp::ops crit_ops = {.retain = xp_obj_retain,
                              .release = xp_crit_release,
                              .compare = nullptr,
                              .textify = nullptr,
                              .control = nullptr};

constexpr xp::ops mux_ops = {.retain = xp_obj_retain,
                             .release = xp_mux_release,
                             .compare = nullptr,
                             .textify = nullptr,
                             .control = nullptr};

// A lock object of type T with its mutex made; null when memory is exhausted.
template <typename T>
xp_obj *make_lock(const xp::ops &table) {
  auto *lock = xp::make<T>(table);
  if (lock != nullptr && pthread_mutex_init(&lock->mutex, nullptr) != 0) {
    xp::destroy(lock);
    return nullptr;
  }
  return lock;
}

template <typename T>
void release_lock(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  pthread_mutex_destroy(&static_cast<T *>(obj)->mutex);
  xp::destroy(obj);
}

}  // namespace

void xp_enter() {
  pthread_mutex_lock(&global);
  global_used.store(true, std::memory_order_relaxed);
}

void xp_leave() {
  if (global_used.load(std::memory_order_relaxed)) pthread_mutex_unlock(&global);
}

uint32_t xp_crit_type() {
  return crit::code;
}

xp_obj *xp_crit_new() {
  return make_lock<crit>(crit_ops);
}

void xp_crit_release(xp_obj *c) {
  release_lock<crit>(c);
}

void xp_crit_enter(xp_obj *c) {
  if (auto *lock = xp::as<crit>(c)) pthread_mutex_lock(&lock->mutex);
}

void xp_crit_leave(xp_obj *c) {
  if (auto *lock = xp::as<crit>(c)) pthread_mutex_unlock(&lock->mutex);
}

int32_t xp_crit_try(xp_obj *c) {
  auto *lock = xp::as<crit>(c);
  return lock != nullptr && pthread_mutex_trylock(&lock->mutex) == 0 ? 1 : 0;
}

uint32_t xp_mux_type() {
  return mux::code;
}

xp_obj *xp_mux_new() {
  return make_lock<mux>(mux_ops);
}

void xp_mux_release(xp_obj *m) {
  release_lock<mux>(m);
}

// The owner is compared with the caller alone, and only the caller itself ever writes the caller's identity,
// so a relaxed reading decides correctly; the mutex orders everything else.
void xp_mux_lock(xp_obj *m) {
  auto *lock = xp::as<mux>(m);
  if (lock == nullptr) return;
  std::atomic_ref owner(lock->owner);
  if (owner.load(std::memory_order_relaxed) != pthread_self()) {
    pthread_mutex_lock(&lock->mutex);
    owner.store(pthread_self(), std::memory_order_relaxed);
  }
  ++lock->depth;
}

void xp_mux_unlock(xp_obj *m) {
  auto *lock = xp::as<mux>(m);
  if (lock == nullptr) return;
  if (lock->depth-- != 1) return;
  std::atomic_ref(lock->owner).store(0, std::memory_order_relaxed);
  pthread_mutex_unlock(&lock->mutex);
}
