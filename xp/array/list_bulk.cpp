#include "xp/array/list.h"
#include "xp/array/list_impl.h"
#include "xp/object/ref.h"

#include <utility>

namespace xp::list {
namespace {

int64_t move(xp_obj *l, xp_obj *obj, bool to_front) {
  auto *self = as<object>(l);
  if (self == nullptr || obj == nullptr) return 0;
  session held(self);
  elem *e = held.find(obj);
  if (e == nullptr) return 0;
  cut_out(e);
  tie_in(to_front ? self : self->prev, e);
  return 1;
}

// The first member for which accept(value) is true, as a new reference, or null.
template <typename Accept>
xp_obj *first_accepted(object *l, Accept accept) {
  session held(l);
  elem *e = held.find(true, accept);
  return e == nullptr ? nullptr : l->retain_value(e->value);
}

void drop_last(session &held, object *l, int64_t count) {
  for (; count > 0; --count)
    held.drop(static_cast<elem *>(l->prev));
}

bool has_equal(session &held, object *l, xp_obj *value) {
  return held.find(true, [=](xp_obj *present) { return equal(l, present, value); }) != nullptr;
}

// The copy is what carries the members from one lock to the other.
int64_t add_all(xp_obj *l, xp_obj *other, bool only_new) {
  auto *self = as<object>(l);
  auto *from = as<object>(other);
  if (self == nullptr || from == nullptr || self->has(XP_LIST_RAW) != from->has(XP_LIST_RAW)) return -1;
  ref copy = ref::adopt(xp_list_copy(from));
  auto *members = as<object>(copy.get());
  if (members == nullptr) return -1;
  session reading(members);
  session held(self);
  int64_t added = 0;
  for (node *n = members->next; n != members; n = n->next) {
    xp_obj *value = static_cast<elem *>(n)->value;
    if (only_new && has_equal(held, self, value)) continue;
    if (held.link_behind(self->prev, value) == 0) {
      drop_last(held, self, added);
      return -1;
    }
    self->retain_value(value);
    ++added;
  }
  return self->count;
}

// The member behind `e` after a callback that may have changed the list; `follower` is the one that stood
// there before.
elem *go_on(session &held, object *l, elem *e, node *follower, uint64_t unlinked) {
  if (l->unlinked == unlinked || in_ring(l, e)) return held.step(e, true);
  return in_ring(l, follower) ? held.step(follower->prev, true) : nullptr;
}

}  // namespace
}  // namespace xp::list

using namespace xp::list;

int64_t xp_list_delete(xp_obj *l, xp_obj *obj) {
  auto *self = xp::as<object>(l);
  if (self == nullptr) return 0;
  session held(self);
  int64_t former = self->count;
  elem *next = nullptr;
  for (elem *e = held.first(); e != nullptr; e = next) {
    next = held.step(e, true);
    if (equal(self, e->value, obj)) held.drop(e);
  }
  return former - self->count;
}

int64_t xp_list_movetofront(xp_obj *l, xp_obj *obj) {
  return move(l, obj, true);
}

int64_t xp_list_movetoback(xp_obj *l, xp_obj *obj) {
  return move(l, obj, false);
}

xp_obj *xp_list_find(xp_obj *l, xp_obj *obj) {
  auto *self = xp::as<object>(l);
  if (self == nullptr) return nullptr;
  return first_accepted(self, [=](xp_obj *value) { return equal(self, value, obj); });
}

int32_t xp_list_includes(xp_obj *l, xp_obj *obj) {
  auto *self = xp::as<object>(l);
  if (self == nullptr) return 0;
  session held(self);
  return has_equal(held, self, obj) ? 1 : 0;
}

int32_t xp_list_present(xp_obj *l, xp_obj *obj) {
  auto *self = xp::as<object>(l);
  if (self == nullptr) return 0;
  session held(self);
  return held.find(obj) == nullptr ? 0 : 1;
}

xp_obj *xp_list_scan(xp_obj *l, xp_list_predicate accept, void *context) {
  auto *self = xp::as<object>(l);
  if (self == nullptr || accept == nullptr) return nullptr;
  return first_accepted(self, [=](xp_obj *value) { return accept(value, context) != 0; });
}

void xp_list_reverse(xp_obj *l) {
  auto *self = xp::as<object>(l);
  if (self == nullptr) return;
  session held(self);
  node *n = self;
  do {
    std::swap(n->next, n->prev);
    n = n->prev;
  } while (n != self);
}

int64_t xp_list_join(xp_obj *l, xp_obj *other) {
  return add_all(l, other, false);
}

int64_t xp_list_merge(xp_obj *l, xp_obj *other) {
  return add_all(l, other, true);
}

int64_t xp_list_enum(xp_obj *l, xp_list_visitor visit, void *context) {
  auto *self = xp::as<object>(l);
  if (self == nullptr || visit == nullptr) return 0;
  session held(self);
  for (elem *e = held.first(); e != nullptr;) {
    node *follower = e->next;
    uint64_t unlinked = self->unlinked;
    if (visit(l, e->value, context) != 0) return -1;
    e = go_on(held, self, e, follower, unlinked);
  }
  return 0;
}
