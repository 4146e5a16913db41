#include "xp/service/traversal.h"

#include "xp/object/type.h"

#include <cstddef>

namespace {

// Aligned so that the state behind it may hold anything.
struct alignas(std::max_align_t) traversal : xp_obj {
  static constexpr uint32_t code = xp_code("trav");
  xp_obj *container;  // retained
  const xp_trav_ops *ops;
};

void *state_of(traversal *t) {
  return t + 1;
}

void release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  xp_release(static_cast<traversal *>(obj)->container);
  xp::destroy(obj);
}

void reset(traversal *t) {
  if (t->ops->reset != nullptr) t->ops->reset(t->container, state_of(t));
}

// One step of the container in either direction; null when it does not run that way.
xp_obj *step(traversal *t, xp_obj *(*move)(xp_obj *, void *)) {
  return move == nullptr ? nullptr : move(t->container, state_of(t));
}

int64_t count(traversal *t) {
  return t->ops->count == nullptr ? 0 : t->ops->count(t->container, state_of(t));
}

int64_t traverse(traversal *t, int64_t argument) {
  switch (argument) {
    case XP_TRAV_RESET: reset(t); return 0;
    case XP_TRAV_NEXT: return xp::result(step(t, t->ops->next));
    case XP_TRAV_PREV: return xp::result(step(t, t->ops->prev));
    case XP_TRAV_COUNT: return count(t);
    default: return 0;
  }
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void * /*pointer*/) {
  auto *t = xp::as<traversal>(obj);
  if (t == nullptr) return 0;
  switch (code) {
    case XP_CTL_TRAVERSE: return traverse(t, argument);
    default: return 0;
  }
}

constexpr xp::ops traversal_ops = {
    .retain = xp_obj_retain, .release = release, .compare = nullptr, .textify = nullptr, .control = control};

}  // namespace

uint32_t xp_trav_type() {
  return traversal::code;
}

xp_obj *xp_trav_new(xp_obj *container, const xp_trav_ops *ops, int64_t state_size) {
  if (container == nullptr || ops == nullptr || state_size < 0) return nullptr;
  auto *t = xp::make<traversal>(traversal_ops, static_cast<size_t>(state_size));
  if (t == nullptr) return nullptr;
  t->container = xp_retain(container);
  t->ops = ops;
  reset(t);
  return t;
}

void *xp_trav_state(xp_obj *t) {
  auto *self = xp::as<traversal>(t);
  return self == nullptr ? nullptr : state_of(self);
}

xp_obj *xp_trav_make(xp_obj *obj) {
  if (xp_type(obj) == traversal::code) return xp_retain(obj);
  using constructor = xp_obj *(*)(xp_obj *);
  auto make = reinterpret_cast<constructor>(
      static_cast<intptr_t>(xp_control(obj, XP_CTL_TRAVERSE, XP_TRAV_MAKE, nullptr)));
  return make == nullptr ? nullptr : make(obj);
}

void xp_trav_reset(xp_obj *t) {
  if (auto *self = xp::as<traversal>(t)) reset(self);
}

xp_obj *xp_trav_next(xp_obj *t) {
  auto *self = xp::as<traversal>(t);
  return self == nullptr ? nullptr : step(self, self->ops->next);
}

xp_obj *xp_trav_prev(xp_obj *t) {
  auto *self = xp::as<traversal>(t);
  return self == nullptr ? nullptr : step(self, self->ops->prev);
}

int64_t xp_trav_count(xp_obj *t) {
  auto *self = xp::as<traversal>(t);
  return self == nullptr ? 0 : count(self);
}
