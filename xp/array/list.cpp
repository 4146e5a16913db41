#include "xp/array/list.h"

#include "xp/object/deferred_release.h"
#include "xp/object/lifo.h"
#include "xp/object/lock.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/service/traversal.h"

#include <utility>

namespace {

// A place in the ring: an element, or the list itself between the last element and the first.
struct node : xp_obj {
  node *next;
  node *prev;
};

struct list : node {
  static constexpr uint32_t code = xp_code("list");

  xp_obj *lock;  // or null
  uint32_t flags;
  int32_t count;
  xp_obj *recycled;  // stack of element blocks, or null
  xp_obj *(*retain_value)(xp_obj *value);
  void (*release_value)(xp_obj *value);
  // How many elements were ever unlinked: while it stands still, a traversal's element is still in the ring.
  uint64_t unlinked;

  bool has(uint32_t flag) { return (flags & flag) != 0; }
};

struct elem : node {
  static constexpr uint32_t code = xp_code("elem");

  xp_obj *value;
  list *owner;
};

// --- Elements ---

void elem_release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  auto *e = static_cast<elem *>(obj);
  list *owner = e->owner;
  owner->release_value(std::exchange(e->value, nullptr));
  if (owner->recycled != nullptr) {
    xp_lifo_push(owner->recycled, e);
  } else {
    xp::destroy(e);
  }
}

constexpr xp::ops elem_ops = {.retain = xp_obj_retain,
                              .release = elem_release,
                              .compare = nullptr,
                              .textify = nullptr,
                              .control = nullptr};

elem *new_elem(list *l) {
  void *block = xp_lifo_pop(l->recycled);
  if (block == nullptr) return xp::make<elem>(elem_ops);
  auto *e = static_cast<elem *>(xp_obj_init(xp_memclr(block, sizeof(elem)), elem::code));
  xp::set_ops(e, elem_ops);
  return e;
}

// --- The ring, under the lock ---

elem *elem_at(list *l, node *n) {
  return n == l ? nullptr : static_cast<elem *>(n);
}

// Puts a new element with an owned value behind `place`. The new count, or 0.
int64_t link_behind(list *l, node *place, xp_obj *value) {
  if (l->count == INT32_MAX) return 0;
  elem *e = new_elem(l);
  if (e == nullptr) return 0;
  e->value = value;
  e->owner = l;
  e->prev = place;
  e->next = place->next;
  place->next->prev = e;
  place->next = e;
  return ++l->count;
}

void unlink(list *l, elem *e) {
  e->prev->next = e->next;
  e->next->prev = e->prev;
  --l->count;
  ++l->unlinked;
}

// The next element that walks see, in either direction; null at the end. A member that only a weak list still
// holds is dropped on the way.
elem *step(list *l, node *from, bool forward) {
  node *at = forward ? from->next : from->prev;
  while (elem *e = elem_at(l, at)) {
    if (e->value != nullptr) {
      if (!l->has(XP_LIST_WEAK) || xp_refs(e->value) != 1) return e;
    }
    at = forward ? e->next : e->prev;
    if (e->value != nullptr) {
      unlink(l, e);
      xp_release(e);
    }
  }
  return nullptr;
}

// The first element in that direction that holds this very object.
elem *find(list *l, xp_obj *value, bool forward) {
  elem *e = step(l, l, forward);
  while (e != nullptr && e->value != value)
    e = step(l, e, forward);
  return e;
}

void drain(list *l) {
  while (elem *e = elem_at(l, l->next)) {
    unlink(l, e);
    xp_release(e);
  }
}

// --- Life cycle ---

// The hooks of lists of raw values.
xp_obj *keep_raw(xp_obj *value) {
  return value;
}
void drop_raw(xp_obj * /*value*/) {}

void destroy(xp_obj *obj) {
  auto *l = static_cast<list *>(obj);
  while (void *block = xp_lifo_pop(l->recycled))
    xp::destroy(static_cast<xp_obj *>(block));
  xp_release(std::exchange(l->recycled, nullptr));
  drain(l);
  xp_release(l->lock);
  xp::destroy(l);
}

void release(xp_obj *obj) {
  if (xp_prerelease(obj)) xp::end_container(obj, destroy);
}

xp_obj *duplicate(list *l, uint32_t flags) {
  xp::ref copy = xp::ref::adopt(xp_list_new(l->flags));
  auto *to = xp::as<list>(copy.get());
  if (to == nullptr) return nullptr;
  bool shares = (flags & XP_DUP_SHALLOW) != 0 || l->has(XP_LIST_RAW);
  xp::crit_guard guard(l->lock);
  for (elem *e = step(l, l, true); e != nullptr; e = step(l, e, true)) {
    xp_obj *value = shares ? l->retain_value(e->value) : xp_duplicate(e->value, flags);
    if (link_behind(to, to->prev, value) != 0) continue;
    to->release_value(value);
    return nullptr;
  }
  return copy.leak();
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void * /*pointer*/) {
  auto *l = static_cast<list *>(obj);
  switch (code) {
    case XP_CTL_DUPLICATE: return xp::result(duplicate(l, static_cast<uint32_t>(argument)));
    case XP_CTL_INSTANCEOF: return argument == xp_code("trav");
    case XP_CTL_FALSEY: return xp_list_length(l) == 0;
    case XP_CTL_TRAVERSE:
      return argument == XP_TRAV_MAKE ? static_cast<int64_t>(reinterpret_cast<intptr_t>(&xp_list_travnew))
                                      : 0;
    default: return 0;
  }
}

constexpr xp::ops list_ops = {
    .retain = xp_obj_retain, .release = release, .compare = nullptr, .textify = nullptr, .control = control};

bool make_parts(list *l) {
  if (l->has(XP_LIST_LOCKED)) {
    l->lock = xp_crit_new();
    if (l->lock == nullptr) return false;
  }
  if (!l->has(XP_LIST_RECYCLE)) return true;
  l->recycled = xp_lifo_new();
  return l->recycled != nullptr;
}

int64_t add(xp_obj *l, xp_obj *obj, bool at_tail) {
  auto *self = xp::as<list>(l);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  int64_t count = link_behind(self, at_tail ? self->prev : self, obj);
  if (count != 0 && !self->has(XP_LIST_ADOPT)) self->retain_value(obj);
  return count;
}

xp_obj *neighbour(xp_obj *l, xp_obj *of, bool forward) {
  auto *self = xp::as<list>(l);
  if (self == nullptr) return nullptr;
  xp::crit_guard guard(self->lock);
  node *from = of == nullptr ? self : static_cast<node *>(find(self, of, forward));
  elem *e = from == nullptr ? nullptr : step(self, from, forward);
  return e == nullptr ? nullptr : self->retain_value(e->value);
}

// --- Traversals ---

struct cursor {
  elem *current;      // borrowed from the ring
  uint64_t unlinked;  // the list's counter when `current` was known to be in the ring
  bool ended;
};

void cursor_reset(xp_obj * /*container*/, void *state) {
  *static_cast<cursor *>(state) = {.current = nullptr, .unlinked = 0, .ended = false};
}

// Where the cursor stands; null when its element has left the ring. Only after something was unlinked does
// the ring have to be searched.
node *cursor_place(list *l, cursor *at) {
  if (at->current == nullptr) return l;
  if (at->unlinked == l->unlinked) return at->current;
  node *n = l->next;
  while (n != l && n != at->current)
    n = n->next;
  return n == l ? nullptr : n;
}

xp_obj *cursor_step(xp_obj *container, void *state, bool forward) {
  auto *l = xp::as<list>(container);
  auto *at = static_cast<cursor *>(state);
  if (l == nullptr || at->ended) return nullptr;
  xp::crit_guard guard(l->lock);
  node *place = cursor_place(l, at);
  at->current = place == nullptr ? nullptr : step(l, place, forward);
  at->unlinked = l->unlinked;
  at->ended = at->current == nullptr;
  return at->ended ? nullptr : l->retain_value(at->current->value);
}

xp_obj *cursor_next(xp_obj *container, void *state) {
  return cursor_step(container, state, true);
}

xp_obj *cursor_prev(xp_obj *container, void *state) {
  return cursor_step(container, state, false);
}

int64_t cursor_count(xp_obj *container, void * /*state*/) {
  return xp_list_length(container);
}

constexpr xp_trav_ops traversal_ops = {
    .reset = cursor_reset, .next = cursor_next, .prev = cursor_prev, .count = cursor_count};

}  // namespace

uint32_t xp_list_type() {
  return list::code;
}

xp_obj *xp_list_new(uint32_t flags) {
  auto *l = xp::make<list>(list_ops);
  if (l == nullptr) return nullptr;
  l->next = l->prev = l;
  // Deliberate: values that the list does not retain cannot be weak; it would read a count that is not
  // theirs.
  if ((flags & (XP_LIST_RAW | XP_LIST_ADOPT)) != 0) flags &= ~uint32_t{XP_LIST_WEAK};
  l->flags = flags;
  l->retain_value = l->has(XP_LIST_RAW) ? keep_raw : xp_retain;
  l->release_value = l->has(XP_LIST_RAW) ? drop_raw : xp_release;
  if (make_parts(l)) return l;
  xp_release(l);
  return nullptr;
}

int64_t xp_list_append(xp_obj *l, xp_obj *obj) {
  return add(l, obj, true);
}

int64_t xp_list_insert(xp_obj *l, xp_obj *obj) {
  return add(l, obj, false);
}

int64_t xp_list_remove(xp_obj *l, xp_obj *obj) {
  auto *self = xp::as<list>(l);
  if (self == nullptr || obj == nullptr) return 0;
  elem *e = nullptr;
  {
    xp::crit_guard guard(self->lock);
    e = find(self, obj, true);
    if (e == nullptr) return 0;
    unlink(self, e);
  }
  xp_release(e);
  return 1;
}

xp_obj *xp_list_next(xp_obj *l, xp_obj *after) {
  return neighbour(l, after, true);
}

xp_obj *xp_list_prev(xp_obj *l, xp_obj *before) {
  return neighbour(l, before, false);
}

xp_obj *xp_list_head(xp_obj *l) {
  return xp_list_next(l, nullptr);
}

xp_obj *xp_list_tail(xp_obj *l) {
  return xp_list_prev(l, nullptr);
}

xp_obj *xp_list_shift(xp_obj *l) {
  auto *self = xp::as<list>(l);
  if (self == nullptr) return nullptr;
  xp::crit_guard guard(self->lock);
  elem *e = step(self, self, true);
  if (e == nullptr) return nullptr;
  xp_obj *value = std::exchange(e->value, nullptr);
  unlink(self, e);
  xp_release(e);
  return value;
}

int64_t xp_list_length(xp_obj *l) {
  auto *self = xp::as<list>(l);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  return self->count;
}

void xp_list_drain(xp_obj *l) {
  auto *self = xp::as<list>(l);
  if (self == nullptr) return;
  xp::crit_guard guard(self->lock);
  drain(self);
}

xp_obj *xp_list_travnew(xp_obj *l) {
  return xp::as<list>(l) == nullptr ? nullptr : xp_trav_new(l, &traversal_ops, sizeof(cursor));
}
