#include "xp/service/thread.h"

#include "xp/object/type.h"
#include "xp/service/time.h"

#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <time.h>

#include <atomic>

namespace {

constexpr size_t stack_size = size_t{1} << 20;

struct thread : xp_obj {
  static constexpr uint32_t code = xp_code("thrd");
  xp_thr_main entry;
  void *argument;
  int64_t result;  // what entry returned; read after the thread was joined
  pthread_t
      id;  // set by whoever comes first, the thread itself or its maker; touched through std::atomic_ref
  int32_t settled;  // 1 once it was detached or joined; touched through std::atomic_ref
};

void remember_id(thread &t, pthread_t id) {
  std::atomic_ref(t.id).store(id, std::memory_order_relaxed);
}

pthread_t id_of(thread &t) {
  return std::atomic_ref(t.id).load(std::memory_order_relaxed);
}

// True for the one caller who may detach or join the thread.
bool settle(thread &t) {
  return std::atomic_ref(t.settled).exchange(1, std::memory_order_acq_rel) == 0;
}

void release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  xp_thr_detach(obj);
  xp::destroy(obj);
}

constexpr xp::ops thread_ops = {
    .retain = xp_obj_retain, .release = release, .compare = nullptr, .textify = nullptr, .control = nullptr};

// The object of the calling thread, borrowed from what runs it; null on threads that were started elsewhere.
constinit thread_local xp_obj *current = nullptr;

// The start of every thread. It owns one reference to its object.
void *run(void *obj) {
  auto *t = static_cast<thread *>(obj);
  current = t;
  remember_id(*t, pthread_self());
  t->result = t->entry(nullptr, t->argument);
  current = nullptr;
  xp_release(t);
  return nullptr;
}

int start(thread *t) {
  pthread_attr_t attributes;
  int error = pthread_attr_init(&attributes);
  if (error != 0) return error;
  pthread_t id;
  error = pthread_attr_setstacksize(&attributes, stack_size);
  if (error == 0) error = pthread_create(&id, &attributes, run, xp_retain(t));
  if (error == 0) remember_id(*t, id);
  pthread_attr_destroy(&attributes);
  return error;
}

}  // namespace

uint32_t xp_thr_type() {
  return thread::code;
}

xp_obj *xp_thr_new(xp_thr_main entry, void *argument) {
  if (entry == nullptr) return nullptr;
  auto *t = xp::make<thread>(thread_ops);
  if (t == nullptr) return nullptr;
  t->entry = entry;
  t->argument = argument;
  if (start(t) != 0) {
    // No thread runs, so the reference that was meant for it goes with ours.
    xp::destroy(t);
    return nullptr;
  }
  return t;
}

int32_t xp_thr_detach(xp_obj *t) {
  auto *self = xp::as<thread>(t);
  if (self == nullptr || !settle(*self)) return -1;
  pthread_detach(id_of(*self));
  return 0;
}

int32_t xp_thr_join(xp_obj *t, int64_t *result) {
  auto *self = xp::as<thread>(t);
  if (self == nullptr) return -1;
  if (pthread_equal(id_of(*self), pthread_self())) return xp_thr_detach(t);
  if (!settle(*self)) return -1;
  pthread_join(id_of(*self), nullptr);
  if (result != nullptr) *result = self->result;
  return 0;
}

xp_obj *xp_thr_self() {
  return xp_retain(current);
}

void xp_thr_yield() {
  sched_yield();
}

void xp_thr_sleep(int64_t milliseconds) {
  if (milliseconds <= 0) return;
  constexpr int64_t ticks_per_second = 1000 * XP_TICKS_PER_MS;
  const int64_t deadline = xp_tick_after(milliseconds);
  const timespec until = {.tv_sec = deadline / ticks_per_second,
                          .tv_nsec = deadline % ticks_per_second * (1000000 / XP_TICKS_PER_MS)};
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}
