#include "xp/service/event.h"

#include "xp/object/type.h"
#include "xp/service/time.h"

#include <pthread.h>
#include <time.h>

namespace {

struct event : xp_obj {
  static constexpr uint32_t code = xp_code("evnt");
  pthread_mutex_t mutex;  // guards `set`
  pthread_cond_t changed;
  bool manual;
  bool set;
};

class guard {
public:
  explicit guard(event &e) : mutex_(e.mutex) { pthread_mutex_lock(&mutex_); }
  ~guard() { pthread_mutex_unlock(&mutex_); }
  guard(const guard &) = delete;
  guard &operator=(const guard &) = delete;

private:
  pthread_mutex_t &mutex_;
};

void release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  auto *e = static_cast<event *>(obj);
  pthread_cond_destroy(&e->changed);
  pthread_mutex_destroy(&e->mutex);
  xp::destroy(e);
}

constexpr xp::ops event_ops = {
    .retain = xp_obj_retain, .release = release, .compare = nullptr, .textify = nullptr, .control = nullptr};

// A condition whose time limits count on the clock that nobody sets.
bool make_condition(pthread_cond_t *condition) {
  pthread_condattr_t attributes;
  if (pthread_condattr_init(&attributes) != 0) return false;
  const bool made = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC) == 0 &&
                    pthread_cond_init(condition, &attributes) == 0;
  pthread_condattr_destroy(&attributes);
  return made;
}

bool make_parts(event &e) {
  if (pthread_mutex_init(&e.mutex, nullptr) != 0) return false;
  if (make_condition(&e.changed)) return true;
  pthread_mutex_destroy(&e.mutex);
  return false;
}

// Waits for a change until the deadline in ticks; false when it has passed.
bool await_change(event &e, int64_t deadline) {
  if (deadline == INT64_MAX) return pthread_cond_wait(&e.changed, &e.mutex) == 0;
  constexpr int64_t ticks_per_second = 1000 * XP_TICKS_PER_MS;
  const timespec until = {.tv_sec = deadline / ticks_per_second,
                          .tv_nsec = deadline % ticks_per_second * (1000000 / XP_TICKS_PER_MS)};
  return pthread_cond_timedwait(&e.changed, &e.mutex, &until) == 0;
}

}  // namespace

uint32_t xp_event_type() {
  return event::code;
}

xp_obj *xp_event_new(uint32_t flags) {
  auto *e = xp::make<event>(event_ops);
  if (e == nullptr) return nullptr;
  if (!make_parts(*e)) {
    xp::destroy(e);
    return nullptr;
  }
  e->manual = (flags & XP_EVENT_MANUAL) != 0;
  e->set = (flags & XP_EVENT_SET) != 0;
  return e;
}

int32_t xp_event_set(xp_obj *e) {
  auto *self = xp::as<event>(e);
  if (self == nullptr) return -1;
  const guard hold(*self);
  self->set = true;
  if (self->manual) {
    pthread_cond_broadcast(&self->changed);
  } else {
    pthread_cond_signal(&self->changed);
  }
  return 0;
}

int32_t xp_event_reset(xp_obj *e) {
  auto *self = xp::as<event>(e);
  if (self == nullptr) return -1;
  const guard hold(*self);
  self->set = false;
  return 0;
}

int32_t xp_event_wait(xp_obj *e, int64_t milliseconds) {
  auto *self = xp::as<event>(e);
  if (self == nullptr) return -1;
  const int64_t deadline = milliseconds == 0 ? 0 : xp_tick_after(milliseconds);
  const guard hold(*self);
  while (!self->set) {
    if (milliseconds == 0 || !await_change(*self, deadline)) break;
  }
  if (!self->set) return 0;
  self->set = self->manual;
  return 1;
}
