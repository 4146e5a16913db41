#include "xp/service/traversal.h"

#include "xp/dict/dict.h"
#include "xp/object/ref.h"
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

int64_t skip(traversal *t, int64_t count) {
  if (count < 1) return 0;
  if (t->ops->skip != nullptr) return t->ops->skip(t->container, state_of(t), count);
  int64_t passed = 0;
  while (passed < count && xp::ref::adopt(step(t, t->ops->next)))
    ++passed;
  return passed;
}

int64_t traverse(traversal *t, int64_t argument, const void *pointer) {
  switch (argument) {
    case XP_TRAV_RESET: reset(t); return 0;
    case XP_TRAV_NEXT: return xp::result(step(t, t->ops->next));
    case XP_TRAV_PREV: return xp::result(step(t, t->ops->prev));
    case XP_TRAV_SKIP: return skip(t, pointer == nullptr ? 1 : *static_cast<const int64_t *>(pointer));
    case XP_TRAV_COUNT: return count(t);
    default: return 0;
  }
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void *pointer) {
  auto *t = xp::as<traversal>(obj);
  if (t == nullptr) return 0;
  switch (code) {
    case XP_CTL_TRAVERSE: return traverse(t, argument, pointer);
    default: return 0;
  }
}

constexpr xp::ops traversal_ops = {
    .retain = xp_obj_retain, .release = release, .compare = nullptr, .textify = nullptr, .control = control};

// --- One object: the state is where the walk stands ---

enum class place { fresh, on_it, ended };

void one_reset(xp_obj * /*container*/, void *state) {
  *static_cast<place *>(state) = place::fresh;
}

// The only step, in whichever direction.
xp_obj *one_step(xp_obj *container, void *state) {
  auto *at = static_cast<place *>(state);
  *at = *at == place::fresh ? place::on_it : place::ended;
  return *at == place::on_it ? xp_retain(container) : nullptr;
}

int64_t one_count(xp_obj * /*container*/, void * /*state*/) {
  return 1;
}

constexpr xp_trav_ops one_ops = {.reset = one_reset, .next = one_step, .prev = one_step, .count = one_count};

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
  // Dictionaries have two traversals, so they answer with neither; by their keys the values are found, too.
  if (xp_type(obj) == xp_code("dict")) return xp_dict_travnew(obj);
  using constructor = xp_obj *(*)(xp_obj *);
  auto make = reinterpret_cast<constructor>(
      static_cast<intptr_t>(xp_control(obj, XP_CTL_TRAVERSE, XP_TRAV_MAKE, nullptr)));
  return make == nullptr ? nullptr : make(obj);
}

xp_obj *xp_trav_one(xp_obj *obj) {
  return xp_trav_new(obj, &one_ops, sizeof(place));
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

int64_t xp_trav_skip(xp_obj *t, int64_t count) {
  auto *self = xp::as<traversal>(t);
  return self == nullptr ? 0 : skip(self, count);
}

int64_t xp_trav_count(xp_obj *t) {
  auto *self = xp::as<traversal>(t);
  return self == nullptr ? 0 : count(self);
}
