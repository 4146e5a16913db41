#include "xp/array/tuple.h"

#include "xp/object/deferred_release.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"

#include <assert.h>
#include <stdarg.h>

#include <algorithm>

namespace {

constexpr size_t slot_size = sizeof(void *);

struct tuple : xp_obj {
  static constexpr uint32_t code = xp_code("tupl");

  uint64_t mask;  // bit i modulo 32 is set: slot i is raw
  int64_t count;  // at least 1
  // The slots follow.

  xp_obj **slots() { return reinterpret_cast<xp_obj **>(this + 1); }
  bool raw(int64_t i) { return ((mask >> (i % 32)) & 1) != 0; }
};

void destroy(xp_obj *obj) {
  auto *t = static_cast<tuple *>(obj);
  for (int64_t i = 0; i < t->count; ++i) {
    if (!t->raw(i)) xp_release(t->slots()[i]);
  }
  xp::destroy(t);
}

void release(xp_obj *obj) {
  if (xp_prerelease(obj)) xp::end_container(obj, destroy);
}

bool mixed(tuple *t) {
  int64_t slots = std::min<int64_t>(t->count, 32);
  for (int64_t i = 0; i < slots; ++i) {
    if (t->raw(i)) return true;
  }
  return false;
}

int64_t compare_raw(xp_obj *a, xp_obj *b) {
  auto left = reinterpret_cast<uintptr_t>(a);
  auto right = reinterpret_cast<uintptr_t>(b);
  return left < right ? -1 : left > right ? 1 : 0;
}

int64_t compare_slot(tuple *a, tuple *b, int64_t i) {
  if (a->raw(i) != b->raw(i)) return a->raw(i) ? -1 : 1;
  return a->raw(i) ? compare_raw(a->slots()[i], b->slots()[i]) : xp_compare(a->slots()[i], b->slots()[i]);
}

int64_t compare(xp_obj *left, xp_obj *right) {
  auto *a = static_cast<tuple *>(left);
  auto *b = static_cast<tuple *>(right);
  // Deliberate: tuples of objects are ordered by their first elements alone, whatever else they hold and
  // however long they are. The first element is the key under which callers sort and look up the rest;
  // comparing on would make records with equal keys differ.
  if (!mixed(a) && !mixed(b)) return xp_compare(a->slots()[0], b->slots()[0]);
  int64_t shorter = std::min(a->count, b->count);
  for (int64_t i = 0; i < shorter; ++i) {
    if (int64_t order = compare_slot(a, b, i); order != 0) return order;
  }
  return a->count < b->count ? -1 : a->count > b->count ? 1 : 0;
}

tuple *make_tuple(int64_t count, uint64_t mask);

xp_obj *duplicate(tuple *t, uint32_t flags) {
  if ((flags & XP_DUP_SHALLOW) != 0) return xp_retain(t);
  tuple *copy = make_tuple(t->count, t->mask);
  if (copy == nullptr) return nullptr;
  for (int64_t i = 0; i < t->count; ++i) {
    xp_obj *slot = t->slots()[i];
    copy->slots()[i] = t->raw(i) ? slot : xp_duplicate(slot, flags);
  }
  return copy;
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void * /*pointer*/) {
  switch (code) {
    case XP_CTL_DUPLICATE:
      return xp::result(duplicate(static_cast<tuple *>(obj), static_cast<uint32_t>(argument)));
    default: return 0;
  }
}

constexpr xp::ops tuple_ops = {
    .retain = xp_obj_retain, .release = release, .compare = compare, .textify = nullptr, .control = control};

// A tuple of empty slots.
tuple *make_tuple(int64_t count, uint64_t mask) {
  constexpr int64_t most = PTRDIFF_MAX / static_cast<int64_t>(slot_size);
  if (count < 1 || count > most) return nullptr;
  auto *t = xp::make<tuple>(tuple_ops, static_cast<size_t>(count) * slot_size);
  if (t == nullptr) return nullptr;
  t->mask = mask;
  t->count = count;
  return t;
}

xp_obj *fill(tuple *t, va_list slots) {
  for (int64_t i = 0; t != nullptr && i < t->count; ++i) {
    xp_obj *slot = va_arg(slots, xp_obj *);
    t->slots()[i] = t->raw(i) ? slot : xp_retain(slot);
  }
  return t;
}

}  // namespace

uint32_t xp_tuple_type() {
  return tuple::code;
}

xp_obj *xp_tuple_new(int64_t count, ...) {
  va_list slots;
  va_start(slots, count);
  xp_obj *t = fill(make_tuple(count, 0), slots);
  va_end(slots);
  return t;
}

xp_obj *xp_tuple_newmixed(int64_t count, uint64_t mask, ...) {
  // Slots i and i + 32 share a bit, so a longer tuple cannot say which of the two is an object.
  auto bits = static_cast<uint32_t>(mask);
  assert(count <= 32 || bits == 0 || bits == UINT32_MAX);
  va_list slots;
  va_start(slots, mask);
  xp_obj *t = fill(make_tuple(count, bits), slots);
  va_end(slots);
  return t;
}

xp_obj *xp_tuple_get(xp_obj *t, int64_t index) {
  auto *self = xp::as<tuple>(t);
  if (self == nullptr || index < 0 || index >= self->count) return nullptr;
  xp_obj *slot = self->slots()[index];
  return self->raw(index) ? slot : xp_retain(slot);
}

int64_t xp_tuple_length(xp_obj *t) {
  auto *self = xp::as<tuple>(t);
  return self == nullptr ? 0 : self->count;
}
