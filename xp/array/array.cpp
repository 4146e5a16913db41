#include "xp/array/array.h"

#include "xp/array/array_impl.h"
#include "xp/array/build.h"
#include "xp/object/deferred_release.h"
#include "xp/object/quick.h"
#include "xp/object/ref.h"
#include "xp/service/traversal.h"

#include <string.h>

#include <algorithm>
#include <utility>

namespace xp::array {
namespace {

// --- The vector, under the lock ---

void free_vector(object *a, xp_obj **items) {
  if (items != a->first_items()) xp_free(items);
}

// Moves the items to a vector of `slots` slots, which hold them all. False, with nothing changed, when memory
// is exhausted.
bool move_items(object *a, int64_t slots) {
  if (slots > most_slots) return false;
  xp_obj **items = nullptr;
  if (slots > 0) {
    items = static_cast<xp_obj **>(xp_alloc(static_cast<size_t>(slots) * slot_size));
    if (items == nullptr) return false;
    xp_memcpy(items, a->items, static_cast<size_t>(a->count) * slot_size);
  }
  free_vector(a, std::exchange(a->items, items));
  a->set_room(std::min(a->capacity, slots), slots);
  return true;
}

void release_items(xp_obj **items, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    // Far enough ahead for memory to answer.
    if (i + 4 < count) __builtin_prefetch(items[i + 4], 1);
    release_quickly(items[i]);
  }
}

void drop_items(object *a) {
  xp_obj **items = std::exchange(a->items, nullptr);
  int64_t count = std::exchange(a->count, 0);
  a->set_room(0, 0);
  if (!a->raw()) release_items(items, count);
  free_vector(a, items);
}

bool set_capacity(object *a, int64_t capacity, int64_t comfortable) {
  if (!raise_capacity(a, capacity, comfortable)) {
    // Deliberate: left empty rather than half-valid. A caller that goes on appending after a failure would
    // otherwise end up with an array that lacks something in the middle.
    drop_items(a);
    return false;
  }
  return true;
}

bool make_room(object *a) {
  if (a->count < a->capacity) return true;
  if (a->growth == 0) return false;
  int64_t capacity = a->growth > INT64_MAX - a->capacity ? INT64_MAX : a->capacity + a->growth;
  return set_capacity(a, capacity, std::max(capacity, std::min(a->slots(), most_slots / 2) * 2));
}

// Opens a gap at `index` and puts an owned item there; the position, or -1.
int64_t place(object *a, xp_obj *item, int64_t index) {
  if (!make_room(a)) return -1;
  if (index < 0 || index > a->count) index = a->count;
  xp_obj **at = a->items + index;
  memmove(at + 1, at, static_cast<size_t>(a->count - index) * slot_size);
  *at = item;
  ++a->count;
  return index;
}

// Closes the gap that a taken item leaves.
xp_obj *take(object *a, int64_t index) {
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
  auto *a = static_cast<object *>(obj);
  if (!a->raw()) release_items(a->items, a->count);
  free_vector(a, a->items);
  release_quickly(a->lock);
  destroy_quickly(a);
}

void release(xp_obj *obj) {
  if (xp_prerelease(obj)) end_container(obj, destroy);
}

// A new array with the same flags and the members that copy_item makes; null when memory is exhausted.
template <typename Copy>
xp_obj *copy_with(object *a, Copy copy_item) {
  ref copy = ref::adopt(xp_array_new(a->flags));
  auto *to = as<object>(copy.get());
  if (to == nullptr) return nullptr;
  crit_guard guard(a->lock);
  if (!set_capacity(to, a->count, a->count)) return nullptr;
  for (int64_t i = 0; to->items != nullptr && i < a->count; ++i)
    to->items[to->count++] = copy_item(a->items[i]);
  return copy.leak();
}

xp_obj *duplicate(object *a, uint32_t flags) {
  if ((flags & XP_DUP_SHALLOW) != 0 || a->raw()) return xp_array_copy(a);
  return copy_with(a, [flags](xp_obj *item) { return xp_duplicate(item, flags); });
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void * /*pointer*/) {
  auto *a = static_cast<object *>(obj);
  switch (code) {
    case XP_CTL_DUPLICATE: return result(duplicate(a, static_cast<uint32_t>(argument)));
    case XP_CTL_INSTANCEOF: return argument == xp_code("trav");
    case XP_CTL_FALSEY: return xp_array_length(a) == 0;
    case XP_CTL_TRAVERSE:
      return argument == XP_TRAV_MAKE ? static_cast<int64_t>(reinterpret_cast<intptr_t>(&xp_array_travnew))
                                      : 0;
    default: return 0;
  }
}

constexpr ops array_ops = {
    .retain = xp_obj_retain, .release = release, .compare = nullptr, .textify = nullptr, .control = control};

// Without a lock, with room for some items behind the struct.
[[gnu::always_inline]] inline object *make_empty(uint32_t flags, size_t tail) {
  auto *a = xp::make_unzeroed<object>(array_ops, tail);
  if (a == nullptr) return nullptr;
  a->lock = nullptr;
  a->flags = flags;
  a->count = 0;
  a->set_room(0, 0);
  a->growth = 1;
  a->retain_item = a->raw() ? keep_raw : xp_retain;
  a->release_item = a->raw() ? drop_raw : xp_release;
  a->items = nullptr;
  return a;
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
  auto *a = as<object>(container);
  auto *at = static_cast<cursor *>(state);
  if (a == nullptr || at->state == cursor::ended) return nullptr;
  crit_guard guard(a->lock);
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

int64_t cursor_skip(xp_obj *container, void *state, int64_t count) {
  auto *a = as<object>(container);
  auto *at = static_cast<cursor *>(state);
  if (a == nullptr || at->state == cursor::ended) return 0;
  crit_guard guard(a->lock);
  int64_t next = at->state == cursor::fresh ? 0 : at->index + 1;
  int64_t passed = std::clamp<int64_t>(a->count - next, 0, count);
  // One that passes the last item stands on it: the next step ends the walk.
  if (passed > 0) *at = {.index = next + passed - 1, .state = cursor::walking};
  if (passed < count) at->state = cursor::ended;
  return passed;
}

constexpr xp_trav_ops traversal_ops = {.reset = cursor_reset,
                                       .next = cursor_next,
                                       .prev = cursor_prev,
                                       .count = cursor_count,
                                       .skip = cursor_skip};

}  // namespace

bool raise_capacity(object *a, int64_t capacity, int64_t comfortable) {
  if (capacity > a->slots() && !move_items(a, comfortable) && !move_items(a, capacity)) return false;
  if (capacity > a->capacity) a->set_room(capacity, a->slots());
  return true;
}

xp_obj *make_of(int64_t count, xp_obj ***items) {
  constexpr int64_t most_inside = 64;
  if (count > most_slots) return nullptr;
  const size_t size = static_cast<size_t>(count) * slot_size;
  object *a = make_empty(0, count > most_inside ? 0 : size);
  if (a == nullptr) return nullptr;
  a->items = count > most_inside ? static_cast<xp_obj **>(block_unzeroed(size)) : a->first_items();
  if (a->items == nullptr) {
    xp_release(a);
    return nullptr;
  }
  a->count = count;
  a->set_room(count, count);
  *items = a->items;
  return a;
}

xp_sort_compare natural_order(object *a) {
  // The order of raw values is that of ties.
  static constexpr xp_sort_compare as_they_are = [](void *, xp_obj *left, xp_obj *right, void *) -> int64_t {
    auto x = reinterpret_cast<uintptr_t>(left);
    auto y = reinterpret_cast<uintptr_t>(right);
    return x < y ? -1 : x > y ? 1 : 0;
  };
  return a->raw() ? as_they_are : xp_sort_cmpobj;
}

}  // namespace xp::array

using namespace xp::array;

xp_obj *xp::array_of(int64_t count, xp_obj ***items) {
  return make_of(count, items);
}

uint32_t xp_array_type() {
  return object::code;
}

xp_obj *xp_array_new(uint32_t flags) {
  object *a = make_empty(flags, 0);
  if (a == nullptr) return nullptr;
  if ((flags & XP_ARRAY_LOCKED) == 0) return a;
  a->lock = xp_crit_new();
  if (a->lock != nullptr) return a;
  xp_release(a);
  return nullptr;
}

int64_t xp_array_setinitial(xp_obj *a, int64_t capacity) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  if (capacity > self->capacity && !set_capacity(self, capacity, capacity)) return -1;
  return self->capacity;
}

int64_t xp_array_setgrowth(xp_obj *a, int64_t step) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  return self->growth = step < 0 ? 1 : step;
}

int64_t xp_array_setfinal(xp_obj *a) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  if (self->slots() > self->count && !move_items(self, self->count)) return -1;
  self->set_room(self->count, self->count);
  return self->count;
}

int64_t xp_array_insert(xp_obj *a, xp_obj *obj, int64_t index) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return -1;
  xp::crit_guard guard(self->lock);
  int64_t position = place(self, obj, index);
  if (position >= 0) self->retain_item(obj);
  return position;
}

int64_t xp_array_set(xp_obj *a, xp_obj *obj, int64_t index) {
  auto *self = xp::as<object>(a);
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
  auto *self = xp::as<object>(a);
  if (self == nullptr) return nullptr;
  xp::crit_guard guard(self->lock);
  return self->holds(index) ? self->retain_item(self->items[index]) : nullptr;
}

xp_obj *xp_array_remove(xp_obj *a, int64_t index) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return nullptr;
  xp::crit_guard guard(self->lock);
  return self->holds(index) ? take(self, index) : nullptr;
}

int64_t xp_array_delete(xp_obj *a, int64_t index) {
  auto *self = xp::as<object>(a);
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
  auto *self = xp::as<object>(a);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  return self->count;
}

int64_t xp_array_enum(xp_obj *a, xp_array_visitor visit, void *context) {
  auto *self = xp::as<object>(a);
  if (self == nullptr || visit == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  for (int64_t i = 0; i < self->count; ++i) {
    if (visit(a, i, self->items[i], context) != 0) return -1;
  }
  return 0;
}

xp_obj *xp_array_copy(xp_obj *a) {
  auto *self = xp::as<object>(a);
  return self == nullptr ? nullptr : copy_with(self, self->retain_item);
}

int64_t xp_array_sort(xp_obj *a, xp_sort_compare compare, void *context) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return 0;
  if (compare == nullptr) compare = natural_order(self);
  xp::crit_guard guard(self->lock);
  xp_sort(context, self->count, self->items, compare, nullptr);
  return 0;
}

int64_t xp_array_search(xp_obj *a, xp_obj *key, xp_sort_compare compare, void *context) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return -1;
  if (compare == nullptr) compare = natural_order(self);
  xp::crit_guard guard(self->lock);
  return std::max<int64_t>(xp_search(context, self->count, self->items, key, compare, nullptr), -1);
}

xp_obj *xp_array_travnew(xp_obj *a) {
  return xp::as<object>(a) == nullptr ? nullptr : xp_trav_new(a, &traversal_ops, sizeof(cursor));
}
