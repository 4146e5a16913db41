#include "xp/array/array.h"

#include "xp/object/deferred_release.h"
#include "xp/object/lock.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/service/traversal.h"

#include <string.h>

#include <algorithm>
#include <utility>

namespace {

struct array : xp_obj {
  static constexpr uint32_t code = xp_code("arry");

  xp_obj *lock;  // or null
  uint32_t flags;
  int64_t capacity;  // slots the array may use; below or equal to `slots`
  int64_t growth;    // slots added when full
  int64_t count;
  xp_obj *(*retain_item)(xp_obj *item);
  void (*release_item)(xp_obj *item);
  xp_obj **items;
  // Slots of the vector. They double behind the capacity, so that growing by one does not copy everything
  // each time.
  int64_t slots;

  bool raw() { return (flags & XP_ARRAY_RAW) != 0; }
  bool holds(int64_t index) { return index >= 0 && index < count; }
};

constexpr size_t slot_size = sizeof(void *);
constexpr int64_t most_slots = PTRDIFF_MAX / static_cast<int64_t>(slot_size);

// --- The vector, under the lock ---

// Moves the items to a vector of `slots` slots, which hold them all. False, with nothing changed, when memory
// is exhausted.
bool move_items(array *a, int64_t slots) {
  if (slots > most_slots) return false;
  xp_obj **items = nullptr;
  if (slots > 0) {
    items = static_cast<xp_obj **>(xp_alloc(static_cast<size_t>(slots) * slot_size));
    if (items == nullptr) return false;
    xp_memcpy(items, a->items, static_cast<size_t>(a->count) * slot_size);
  }
  xp_free(std::exchange(a->items, items));
  a->slots = slots;
  return true;
}

void drop_items(array *a) {
  xp_obj **items = std::exchange(a->items, nullptr);
  int64_t count = std::exchange(a->count, 0);
  a->capacity = a->slots = 0;
  for (int64_t i = 0; i < count; ++i)
    a->release_item(items[i]);
  xp_free(items);
}

bool set_capacity(array *a, int64_t capacity, int64_t comfortable) {
  if (capacity > a->slots && !move_items(a, comfortable) && !move_items(a, capacity)) {
    // Deliberate: left empty rather than half-valid. A caller that goes on appending after a failure would
    // otherwise end up with an array that lacks something in the middle.
    drop_items(a);
    return false;
  }
  a->capacity = capacity;
  return true;
}

bool make_room(array *a) {
  if (a->count < a->capacity) return true;
  if (a->growth == 0) return false;
  int64_t capacity = a->growth > INT64_MAX - a->capacity ? INT64_MAX : a->capacity + a->growth;
  return set_capacity(a, capacity, std::max(capacity, std::min(a->slots, most_slots / 2) * 2));
}

// Opens a gap at `index` and puts an owned item there; the position, or -1.
int64_t place(array *a, xp_obj *item, int64_t index) {
  if (!make_room(a)) return -1;
  if (index < 0 || index > a->count) index = a->count;
  xp_obj **at = a->items + index;
  memmove(at + 1, at, static_cast<size_t>(a->count - index) * slot_size);
  *at = item;
  ++a->count;
  return index;
}

// Closes the gap that a taken item leaves.
xp_obj *take(array *a, int64_t index) {
  xp_obj **at = a->items + index;
  xp_obj *item = *at;
  --a->count;
  memmove(at, at + 1, static_cast<size_t>(a->count - index) * slot_size);
  return item;
}

// --- Life cycle ---

// The hooks of arrays of raw values.
xp_obj *keep_raw(xp_obj *item) {
  return item;
}
void drop_raw(xp_obj * /*item*/) {}

void destroy(xp_obj *obj) {
  auto *a = static_cast<array *>(obj);
  drop_items(a);
  xp_release(a->lock);
  xp::destroy(a);
}

void release(xp_obj *obj) {
  if (xp_prerelease(obj)) xp::end_container(obj, destroy);
}

// A new array with the same flags and the members that copy_item makes; null when memory is exhausted.
template <typename Copy>
xp_obj *copy_with(array *a, Copy copy_item) {
  xp::ref copy = xp::ref::adopt(xp_array_new(a->flags));
  auto *to = xp::as<array>(copy.get());
  if (to == nullptr) return nullptr;
  xp::crit_guard guard(a->lock);
  if (!set_capacity(to, a->count, a->count)) return nullptr;
  for (int64_t i = 0; i < a->count; ++i)
    to->items[to->count++] = copy_item(a->items[i]);
  return copy.leak();
}

xp_obj *duplicate(array *a, uint32_t flags) {
  if ((flags & XP_DUP_SHALLOW) != 0 || a->raw()) return xp_array_copy(a);
  return copy_with(a, [flags](xp_obj *item) { return xp_duplicate(item, flags); });
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void * /*pointer*/) {
  auto *a = static_cast<array *>(obj);
  switch (code) {
    case XP_CTL_DUPLICATE: return xp::result(duplicate(a, static_cast<uint32_t>(argument)));
    case XP_CTL_INSTANCEOF: return argument == xp_code("trav");
    case XP_CTL_FALSEY: return xp_array_length(a) == 0;
    case XP_CTL_TRAVERSE:
      return argument == XP_TRAV_MAKE ? static_cast<int64_t>(reinterpret_cast<intptr_t>(&xp_array_travnew))
                                      : 0;
    default: return 0;
  }
}

constexpr xp::ops array_ops = {
    .retain = xp_obj_retain, .release = release, .compare = nullptr, .textify = nullptr, .control = control};

// What a null comparison means for raw values.
int64_t compare_raw(void * /*context*/, xp_obj *a, xp_obj *b, void * /*argument*/) {
  auto left = reinterpret_cast<uintptr_t>(a);
  auto right = reinterpret_cast<uintptr_t>(b);
  return left < right ? -1 : left > right ? 1 : 0;
}

// --- Traversals ---

struct cursor {
  int64_t index;  // of the item returned last
  enum { fresh, walking, ended } state;
};

void cursor_reset(xp_obj * /*container*/, void *state) {
  *static_cast<cursor *>(state) = {.index = 0, .state = cursor::fresh};
}

xp_obj *cursor_step(xp_obj *container, void *state, bool forward) {
  auto *a = xp::as<array>(container);
  auto *at = static_cast<cursor *>(state);
  if (a == nullptr || at->state == cursor::ended) return nullptr;
  xp::crit_guard guard(a->lock);
  if (at->state == cursor::fresh) {
    at->index = forward ? 0 : a->count - 1;
  } else {
    at->index += forward ? 1 : -1;
  }
  at->state = a->holds(at->index) ? cursor::walking : cursor::ended;
  return at->state == cursor::walking ? a->retain_item(a->items[at->index]) : nullptr;
}

xp_obj *cursor_next(xp_obj *container, void *state) {
  return cursor_step(container, state, true);
}

xp_obj *cursor_prev(xp_obj *container, void *state) {
  return cursor_step(container, state, false);
}

int64_t cursor_count(xp_obj *container, void * /*state*/) {
  return xp_array_length(container);
}

constexpr xp_trav_ops traversal_ops = {
    .reset = cursor_reset, .next = cursor_next, .prev = cursor_prev, .count = cursor_count};

}  // namespace

uint32_t xp_array_type() {
  return array::code;
}

xp_obj *xp_array_new(uint32_t flags) {
  auto *a = xp::make<array>(array_ops);
  if (a == nullptr) return nullptr;
  a->flags = flags;
  a->growth = 1;
  a->retain_item = a->raw() ? keep_raw : xp_retain;
  a->release_item = a->raw() ? drop_raw : xp_release;
  if ((flags & XP_ARRAY_LOCKED) == 0) return a;
  a->lock = xp_crit_new();
  if (a->lock != nullptr) return a;
  xp_release(a);
  return nullptr;
}

int64_t xp_array_setinitial(xp_obj *a, int64_t capacity) {
  auto *self = xp::as<array>(a);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  if (capacity > self->capacity && !set_capacity(self, capacity, capacity)) return -1;
  return self->capacity;
}

int64_t xp_array_setgrowth(xp_obj *a, int64_t step) {
  auto *self = xp::as<array>(a);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  return self->growth = step < 0 ? 1 : step;
}

int64_t xp_array_setfinal(xp_obj *a) {
  auto *self = xp::as<array>(a);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  if (self->slots > self->count && !move_items(self, self->count)) return -1;
  self->capacity = self->count;
  return self->count;
}

int64_t xp_array_insert(xp_obj *a, xp_obj *obj, int64_t index) {
  auto *self = xp::as<array>(a);
  if (self == nullptr) return -1;
  xp::crit_guard guard(self->lock);
  int64_t position = place(self, obj, index);
  if (position >= 0) self->retain_item(obj);
  return position;
}

int64_t xp_array_set(xp_obj *a, xp_obj *obj, int64_t index) {
  auto *self = xp::as<array>(a);
  if (self == nullptr) return -1;
  xp_obj *former = nullptr;
  {
    xp::crit_guard guard(self->lock);
    if (!self->holds(index)) return -1;
    former = std::exchange(self->items[index], self->retain_item(obj));
  }
  self->release_item(former);
  return 0;
}

xp_obj *xp_array_get(xp_obj *a, int64_t index) {
  auto *self = xp::as<array>(a);
  if (self == nullptr) return nullptr;
  xp::crit_guard guard(self->lock);
  return self->holds(index) ? self->retain_item(self->items[index]) : nullptr;
}

xp_obj *xp_array_remove(xp_obj *a, int64_t index) {
  auto *self = xp::as<array>(a);
  if (self == nullptr) return nullptr;
  xp::crit_guard guard(self->lock);
  return self->holds(index) ? take(self, index) : nullptr;
}

int64_t xp_array_delete(xp_obj *a, int64_t index) {
  auto *self = xp::as<array>(a);
  if (self == nullptr) return -1;
  xp_obj *taken = nullptr;
  {
    xp::crit_guard guard(self->lock);
    if (!self->holds(index)) return -1;
    taken = take(self, index);
  }
  self->release_item(taken);
  return 0;
}

int64_t xp_array_length(xp_obj *a) {
  auto *self = xp::as<array>(a);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  return self->count;
}

int64_t xp_array_enum(xp_obj *a, xp_array_visitor visit, void *context) {
  auto *self = xp::as<array>(a);
  if (self == nullptr || visit == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  for (int64_t i = 0; i < self->count; ++i) {
    if (visit(a, i, self->items[i], context) != 0) return -1;
  }
  return 0;
}

xp_obj *xp_array_copy(xp_obj *a) {
  auto *self = xp::as<array>(a);
  return self == nullptr ? nullptr : copy_with(self, self->retain_item);
}

int64_t xp_array_sort(xp_obj *a, xp_sort_compare compare, void *context) {
  auto *self = xp::as<array>(a);
  if (self == nullptr) return 0;
  if (compare == nullptr && self->raw()) compare = compare_raw;
  xp::crit_guard guard(self->lock);
  xp_sort(context, self->count, self->items, compare, nullptr);
  return 0;
}

int64_t xp_array_search(xp_obj *a, xp_obj *key, xp_sort_compare compare, void *context) {
  auto *self = xp::as<array>(a);
  if (self == nullptr) return -1;
  if (compare == nullptr && self->raw()) compare = compare_raw;
  xp::crit_guard guard(self->lock);
  return xp_search(context, self->count, self->items, key, compare, nullptr);
}

xp_obj *xp_array_travnew(xp_obj *a) {
  return xp::as<array>(a) == nullptr ? nullptr : xp_trav_new(a, &traversal_ops, sizeof(cursor));
}
