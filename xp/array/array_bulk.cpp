#include "xp/array/array_bulk.h"

#include "xp/array/array_impl.h"
#include "xp/array/list.h"
#include "xp/object/ref.h"
#include "xp/service/traversal.h"

#include <string.h>

#include <algorithm>
#include <utility>

namespace xp::array {

loose_items::~loose_items() {
  for (int64_t i = 0; i < count_; ++i)
    release_item_(items_[i]);
  xp_free(items_);
}

bool loose_items::reserve(int64_t count) {
  if (count == 0) return true;
  items_ = static_cast<xp_obj **>(xp_alloc(static_cast<size_t>(count) * slot_size));
  return items_ != nullptr;
}

namespace {

// --- Taking elements out, under the lock ---

// Keeps [from, to); all else is null or has moved there. How many went.
int64_t keep_range(object *a, int64_t from, int64_t to) {
  int64_t gone = a->count - (to - from);
  if (from > 0) memmove(a->items, a->items + from, static_cast<size_t>(to - from) * slot_size);
  a->count = to - from;
  return gone;
}

// Lets the elements from `count` on go. Without memory to carry them out of the lock they end inside it.
int64_t cut(object *a, int64_t count, loose_items &gone) {
  int64_t former = std::exchange(a->count, count);
  bool carried = gone.reserve(former - count);
  for (int64_t i = count; i < former; ++i) {
    if (carried) {
      gone.add(a->items[i]);
    } else {
      a->release_item(a->items[i]);
    }
  }
  return former - count;
}

// --- Equal elements ---

struct equality {
  xp_sort_compare natural;

  bool same(xp_obj *x, xp_obj *y) const { return natural(nullptr, x, y, nullptr) == 0; }

  // Sorts places by what stands there. The sort orders ties by the items' own values, which are addresses
  // inside one vector: equal elements stand in the order of their places.
  static int64_t order_of_places(void *context, xp_obj *x, xp_obj *y, void * /*argument*/) {
    auto at = [](xp_obj *place) { return *reinterpret_cast<xp_obj **>(place); };
    return static_cast<equality *>(context)->natural(nullptr, at(x), at(y), nullptr);
  }
};

// Places in a vector of items.
class place_table {
public:
  explicit place_table(object *a)
      : places_(static_cast<xp_obj ***>(
            xp_alloc(static_cast<size_t>(std::max<int64_t>(a->count, 1)) * slot_size))),
        count_(a->count) {
    if (places_ == nullptr) return;
    for (int64_t i = 0; i < count_; ++i)
      places_[i] = a->items + i;
  }
  ~place_table() { xp_free(places_); }
  place_table(const place_table &) = delete;
  place_table &operator=(const place_table &) = delete;

  explicit operator bool() const { return places_ != nullptr; }

  // Leaves the places of the elements that stay, in order: all in front of `from`, behind it those that
  // nothing in front of them equals. How many.
  int64_t select(object *a, int64_t from) {
    equality equal{natural_order(a)};
    xp_sort(&equal, count_, reinterpret_cast<xp_obj **>(places_), equality::order_of_places, nullptr);
    int64_t kept = 0;
    xp_obj **first = nullptr;  // of the equals that are being met
    for (int64_t i = 0; i < count_; ++i) {
      xp_obj **place = places_[i];
      bool repeated = first != nullptr && equal.same(*first, *place);
      if (!repeated) first = place;
      if (!repeated || place < a->items + from) places_[kept++] = place;
    }
    std::sort(places_, places_ + kept);
    return kept;
  }

  xp_obj **operator[](int64_t i) const { return places_[i]; }

private:
  xp_obj ***places_;
  int64_t count_;
};

// Lets elements from `from` on go that an earlier one equals. How many, or -1 when memory is exhausted.
int64_t drop_repeated(object *a, int64_t from, loose_items &gone) {
  place_table places(a);
  if (!places) return -1;
  int64_t kept = places.select(a, from);
  if (!gone.reserve(a->count - kept)) return -1;
  int64_t next = 0;
  for (int64_t i = 0; i < a->count; ++i) {
    xp_obj *item = a->items[i];
    if (next < kept && places[next] == a->items + i) {
      a->items[next++] = item;
    } else {
      gone.add(item);
    }
  }
  a->count = kept;
  return gone.count();
}

// --- Putting elements in ---

// The elements of `from`, each with a reference of its own.
bool copy_items(object *from, loose_items &to) {
  crit_guard guard(from->lock);
  if (!to.reserve(from->count)) return false;
  for (int64_t i = 0; i < from->count; ++i)
    to.add(from->retain_item(from->items[i]));
  return true;
}

bool can_take(object *a, int64_t more) {
  if (more > most_slots - a->count) return false;
  int64_t needed = a->count + more;
  return needed <= a->capacity ||
         (a->growth != 0 &&
          raise_capacity(a, needed, std::max(needed, std::min(a->slots(), most_slots / 2) * 2)));
}

// Under the lock. The position of the first, or -1.
int64_t put_in(object *a, loose_items &items, int64_t index) {
  int64_t count = items.count();
  if (!can_take(a, count)) return -1;
  if (index < 0 || index > a->count) index = a->count;
  if (count == 0) return index;
  xp_obj **at = a->items + index;
  memmove(at + count, at, static_cast<size_t>(a->count - index) * slot_size);
  xp_memcpy(at, items.items(), static_cast<size_t>(count) * slot_size);
  a->count += count;
  items.hand_over();
  return index;
}

bool can_join(object *a, object *other) {
  return a != nullptr && other != nullptr && a->raw() == other->raw();
}

// Calls accept(item) for each element until it is true: that element's position, or -1.
template <typename Accept>
int64_t first_accepted(xp_obj *a, Accept accept) {
  auto *self = as<object>(a);
  if (self == nullptr) return -1;
  crit_guard guard(self->lock);
  for (int64_t i = 0; i < self->count; ++i) {
    if (accept(self->items[i])) return i;
  }
  return -1;
}

// The members of a walk, taken over.
xp_obj *array_of_walk(xp_obj *walk, uint32_t flags) {
  ref members = ref::adopt(xp_array_new(flags));
  auto *a = as<object>(members.get());
  if (a == nullptr || xp_array_setinitial(a, std::min<int64_t>(xp_trav_count(walk), most_slots)) < 0)
    return nullptr;
  xp_array_setgrowth(a, 64);
  while (xp_obj *member = xp_trav_next(walk)) {
    int64_t position = xp_array_insert(a, member, -1);
    a->release_item(member);
    if (position < 0) return nullptr;
  }
  return xp_array_setfinal(a) < 0 ? nullptr : members.leak();
}

}  // namespace
}  // namespace xp::array

using namespace xp::array;

int64_t xp_array_truncate(xp_obj *a, int64_t count) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return 0;
  loose_items gone(self);
  xp::crit_guard guard(self->lock);
  return self->holds(count) ? cut(self, count, gone) : 0;
}

int64_t xp_array_condense(xp_obj *a) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  xp_obj **end = std::remove(self->items, self->items + self->count, nullptr);
  return keep_range(self, 0, end - self->items);
}

int64_t xp_array_trim(xp_obj *a) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  int64_t from = 0;
  int64_t to = self->count;
  while (from < to && self->items[from] == nullptr)
    ++from;
  while (from < to && self->items[to - 1] == nullptr)
    --to;
  return keep_range(self, from, to);
}

int64_t xp_array_unique(xp_obj *a) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return 0;
  loose_items gone(self);
  xp::crit_guard guard(self->lock);
  return drop_repeated(self, 0, gone);
}

int64_t xp_array_inject(xp_obj *a, xp_obj *other, int64_t index) {
  auto *self = xp::as<object>(a);
  auto *from = xp::as<object>(other);
  if (!can_join(self, from)) return -1;
  loose_items items(from);
  if (!copy_items(from, items)) return -1;
  xp::crit_guard guard(self->lock);
  return put_in(self, items, index);
}

int64_t xp_array_join(xp_obj *a, xp_obj *other) {
  auto *self = xp::as<object>(a);
  auto *from = xp::as<object>(other);
  if (!can_join(self, from)) return -1;
  loose_items items(from);
  if (!copy_items(from, items)) return -1;
  xp::crit_guard guard(self->lock);
  return put_in(self, items, -1) < 0 ? -1 : self->count;
}

int64_t xp_array_merge(xp_obj *a, xp_obj *other) {
  auto *self = xp::as<object>(a);
  auto *from = xp::as<object>(other);
  if (!can_join(self, from)) return -1;
  loose_items items(from);
  loose_items gone(self);
  if (!copy_items(from, items)) return -1;
  xp::crit_guard guard(self->lock);
  int64_t former = self->count;
  if (put_in(self, items, -1) < 0) return -1;
  if (drop_repeated(self, former, gone) >= 0) return self->count;
  cut(self, former, gone);
  return -1;
}

void xp_array_reverse(xp_obj *a) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return;
  xp::crit_guard guard(self->lock);
  std::reverse(self->items, self->items + self->count);
}

int64_t xp_array_find(xp_obj *a, xp_obj *obj) {
  auto *self = xp::as<object>(a);
  if (self == nullptr) return -1;
  equality equal{natural_order(self)};
  return first_accepted(a, [=](xp_obj *item) { return equal.same(item, obj); });
}

int32_t xp_array_includes(xp_obj *a, xp_obj *obj) {
  return xp_array_find(a, obj) < 0 ? 0 : 1;
}

int32_t xp_array_present(xp_obj *a, xp_obj *obj) {
  return first_accepted(a, [=](xp_obj *item) { return item == obj; }) < 0 ? 0 : 1;
}

int64_t xp_array_scan(xp_obj *a, xp_array_predicate accept, void *context) {
  if (accept == nullptr) return -1;
  return first_accepted(a, [=](xp_obj *item) { return accept(item, context) != 0; });
}

xp_obj *xp_array_coerce(xp_obj *obj) {
  if (obj == nullptr) return nullptr;
  if (xp_type(obj) == object::code) return xp_retain(obj);
  xp::ref walk = xp::ref::adopt(xp_trav_make(obj));
  if (!walk) walk = xp::ref::adopt(xp_trav_one(obj));
  if (!walk) return nullptr;
  return array_of_walk(walk.get(), (xp_list_flags(obj) & XP_LIST_RAW) != 0 ? uint32_t{XP_ARRAY_RAW} : 0);
}
