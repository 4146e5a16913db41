#include "xp/array/list.h"

#include "xp/array/list_impl.h"
#include "xp/object/deferred_release.h"
#include "xp/object/lifo.h"
#include "xp/object/ref.h"
#include "xp/service/traversal.h"

#include <algorithm>
#include <utility>

namespace xp::list {
namespace {

// --- Elements ---

void elem_release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  auto *e = static_cast<elem *>(obj);
  object *owner = e->owner;
  owner->release_value(std::exchange(e->value, nullptr));
  if (owner->recycled != nullptr) {
    xp_lifo_push(owner->recycled, e);
  } else {
    xp::destroy(e);
  }
}

constexpr ops elem_ops = {.retain = xp_obj_retain,
                          .release = elem_release,
                          .compare = nullptr,
                          .textify = nullptr,
                          .control = nullptr};

elem *new_elem(object *l) {
  void *block = xp_lifo_pop(l->recycled);
  if (block == nullptr) return make<elem>(elem_ops);
  auto *e = static_cast<elem *>(xp_obj_init(xp_memclr(block, sizeof(elem)), elem::code));
  set_ops(e, elem_ops);
  return e;
}

elem *elem_at(object *l, node *n) {
  return n == l ? nullptr : static_cast<elem *>(n);
}

}  // namespace

// --- The ring ---

void tie_in(node *place, node *n) {
  n->prev = place;
  n->next = place->next;
  place->next->prev = n;
  place->next = n;
}

void cut_out(node *n) {
  n->prev->next = n->next;
  n->next->prev = n->prev;
}

bool in_ring(object *l, node *n) {
  node *at = l->next;
  while (at != l && at != n)
    at = at->next;
  return at == n;
}

session::~session() {
  xp_crit_leave(list_->lock);
  while (dropped_ != nullptr)
    xp_release(std::exchange(dropped_, dropped_->next));
}

void session::drop(elem *e) {
  cut_out(e);
  --list_->count;
  ++list_->unlinked;
  e->next = std::exchange(dropped_, e);
}

elem *session::step(node *from, bool forward) {
  node *at = forward ? from->next : from->prev;
  while (elem *e = elem_at(list_, at)) {
    bool forgotten = e->value != nullptr && list_->has(XP_LIST_WEAK) && xp_refs(e->value) == 1;
    if (e->value != nullptr && !forgotten) return e;
    at = forward ? e->next : e->prev;
    if (forgotten) drop(e);
  }
  return nullptr;
}

int64_t session::link_behind(node *place, xp_obj *value) {
  if (list_->count == INT32_MAX) return 0;
  elem *e = new_elem(list_);
  if (e == nullptr) return 0;
  e->value = value;
  e->owner = list_;
  tie_in(place, e);
  return ++list_->count;
}

namespace {

// --- Life cycle ---

// The hooks of lists of raw values.
xp_obj *keep_raw(xp_obj *value) {
  return value;
}
void drop_raw(xp_obj * /*value*/) {}

void drain(object *l) {
  session held(l);
  while (elem *e = elem_at(l, l->next))
    held.drop(e);
}

void destroy(xp_obj *obj) {
  auto *l = static_cast<object *>(obj);
  while (void *block = xp_lifo_pop(l->recycled))
    xp::destroy(static_cast<xp_obj *>(block));
  xp_release(std::exchange(l->recycled, nullptr));
  drain(l);
  xp_release(l->lock);
  xp::destroy(l);
}

void release(xp_obj *obj) {
  if (xp_prerelease(obj)) end_container(obj, destroy);
}

// A new list with the same flags and the members that copy_value makes; null when memory is exhausted.
template <typename Copy>
xp_obj *copy_with(object *l, Copy copy_value) {
  ref copy = ref::adopt(xp_list_new(l->flags));
  auto *to = as<object>(copy.get());
  if (to == nullptr) return nullptr;
  session into(to);
  session held(l);
  for (elem *e = held.first(); e != nullptr; e = held.step(e, true)) {
    xp_obj *value = copy_value(e->value);
    if (into.link_behind(to->prev, value) != 0) continue;
    to->release_value(value);
    return nullptr;
  }
  return copy.leak();
}

xp_obj *duplicate(object *l, uint32_t flags) {
  if ((flags & XP_DUP_SHALLOW) != 0 || l->has(XP_LIST_RAW)) return xp_list_copy(l);
  return copy_with(l, [flags](xp_obj *value) { return xp_duplicate(value, flags); });
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void * /*pointer*/) {
  auto *l = static_cast<object *>(obj);
  switch (code) {
    case XP_CTL_DUPLICATE: return result(duplicate(l, static_cast<uint32_t>(argument)));
    case XP_CTL_INSTANCEOF: return argument == xp_code("trav");
    case XP_CTL_FALSEY: return xp_list_empty(l);
    case XP_CTL_TRAVERSE:
      return argument == XP_TRAV_MAKE ? static_cast<int64_t>(reinterpret_cast<intptr_t>(&xp_list_travnew))
                                      : 0;
    default: return 0;
  }
}

constexpr ops list_ops = {
    .retain = xp_obj_retain, .release = release, .compare = nullptr, .textify = nullptr, .control = control};

bool make_parts(object *l) {
  if (l->has(XP_LIST_RECYCLE)) {
    l->recycled = xp_lifo_new();
    if (l->recycled == nullptr) return false;
  }
  if (!l->has(XP_LIST_LOCKED)) return true;
  l->lock = xp_crit_new();
  return l->lock != nullptr;
}

// --- Single members ---

int64_t add(xp_obj *l, xp_obj *obj, bool at_tail) {
  auto *self = as<object>(l);
  if (self == nullptr) return 0;
  session held(self);
  int64_t count = held.link_behind(at_tail ? self->prev : self, obj);
  if (count != 0 && !self->has(XP_LIST_ADOPT)) self->retain_value(obj);
  return count;
}

xp_obj *neighbour(xp_obj *l, xp_obj *of, bool forward) {
  auto *self = as<object>(l);
  if (self == nullptr) return nullptr;
  session held(self);
  node *from = of == nullptr ? self : static_cast<node *>(held.find(of, forward));
  elem *e = from == nullptr ? nullptr : held.step(from, forward);
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
node *cursor_place(object *l, cursor *at) {
  if (at->current == nullptr) return l;
  return at->unlinked == l->unlinked || in_ring(l, at->current) ? at->current : nullptr;
}

// Moves on by one member, which is in the ring as long as the session lasts; null at the end.
elem *cursor_move(session &held, object *l, cursor *at, bool forward) {
  if (at->ended) return nullptr;
  node *place = cursor_place(l, at);
  at->current = place == nullptr ? nullptr : held.step(place, forward);
  at->unlinked = l->unlinked;
  at->ended = at->current == nullptr;
  return at->current;
}

xp_obj *cursor_step(xp_obj *container, void *state, bool forward) {
  auto *l = as<object>(container);
  if (l == nullptr) return nullptr;
  session held(l);
  elem *e = cursor_move(held, l, static_cast<cursor *>(state), forward);
  return e == nullptr ? nullptr : l->retain_value(e->value);
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

int64_t cursor_skip(xp_obj *container, void *state, int64_t count) {
  auto *l = as<object>(container);
  if (l == nullptr) return 0;
  session held(l);
  int64_t passed = 0;
  while (passed < count && cursor_move(held, l, static_cast<cursor *>(state), true) != nullptr)
    ++passed;
  return passed;
}

constexpr xp_trav_ops traversal_ops = {.reset = cursor_reset,
                                       .next = cursor_next,
                                       .prev = cursor_prev,
                                       .count = cursor_count,
                                       .skip = cursor_skip};

}  // namespace
}  // namespace xp::list

using namespace xp::list;

uint32_t xp_list_type() {
  return object::code;
}

xp_obj *xp_list_new(uint32_t flags) {
  auto *l = xp::make<object>(list_ops);
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

uint32_t xp_list_flags(xp_obj *l) {
  auto *self = xp::as<object>(l);
  return self == nullptr ? 0 : self->flags;
}

int64_t xp_list_append(xp_obj *l, xp_obj *obj) {
  return add(l, obj, true);
}

int64_t xp_list_insert(xp_obj *l, xp_obj *obj) {
  return add(l, obj, false);
}

int64_t xp_list_remove(xp_obj *l, xp_obj *obj) {
  auto *self = xp::as<object>(l);
  if (self == nullptr || obj == nullptr) return 0;
  session held(self);
  elem *e = held.find(obj);
  if (e != nullptr) held.drop(e);
  return e == nullptr ? 0 : 1;
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
  auto *self = xp::as<object>(l);
  if (self == nullptr) return nullptr;
  session held(self);
  elem *e = held.first();
  if (e == nullptr) return nullptr;
  held.drop(e);
  return std::exchange(e->value, nullptr);
}

int64_t xp_list_length(xp_obj *l) {
  auto *self = xp::as<object>(l);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  return self->count;
}

int32_t xp_list_empty(xp_obj *l) {
  return xp_list_length(l) == 0 ? 1 : 0;
}

void xp_list_drain(xp_obj *l) {
  if (auto *self = xp::as<object>(l)) drain(self);
}

xp_obj *xp_list_copy(xp_obj *l) {
  auto *self = xp::as<object>(l);
  return self == nullptr ? nullptr : copy_with(self, self->retain_value);
}

xp_obj *xp_list_travnew(xp_obj *l) {
  return xp::as<object>(l) == nullptr ? nullptr : xp_trav_new(l, &traversal_ops, sizeof(cursor));
}
