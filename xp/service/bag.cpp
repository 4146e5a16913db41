#include "xp/service/bag.h"

#include "xp/object/deferred_release.h"
#include "xp/object/lock.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/service/traversal.h"

#include <algorithm>
#include <utility>

namespace {

constexpr size_t slot_size = sizeof(void *);
constexpr int64_t least_slots = 8;  // of a block that an insert makes
constexpr int64_t enough_slots = 1024;
constexpr int64_t most_slots = PTRDIFF_MAX / 16;

// Slots for members stand behind the struct; the first `count` of them are in use.
struct block : xp_obj {
  static constexpr uint32_t code = xp_code("bblk");
  block *next;  // an older one
  int64_t capacity;
  int64_t count;

  xp_obj **slots() { return reinterpret_cast<xp_obj **>(this + 1); }
};

// Every block but the first of the chain is full, and the first is not empty.
struct bag : xp_obj {
  static constexpr uint32_t code = xp_code("xbag");
  xp_obj *lock;  // or null
  uint32_t flags;
  block *first;       // or null
  block *spare;       // an empty block that comes next, or null
  int64_t count;      // members of all blocks
  uint64_t removals;  // while it stands still, a place in the bag stays what it was
};

// Where a member stands; the place before the first has no block.
struct place {
  block *in;
  int64_t index;
};

// --- Blocks ---

void block_release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  auto *k = static_cast<block *>(obj);
  for (int64_t i = 0; i < k->count; ++i)
    xp_release(k->slots()[i]);
  xp::destroy(k);
}

constexpr xp::ops block_ops = {.retain = xp_obj_retain,
                               .release = block_release,
                               .compare = nullptr,
                               .textify = nullptr,
                               .control = nullptr};

block *new_block(int64_t capacity) {
  if (capacity > most_slots) return nullptr;
  auto *k = xp::make<block>(block_ops, static_cast<size_t>(capacity) * slot_size);
  if (k != nullptr) k->capacity = capacity;
  return k;
}

void release_chain(block *first) {
  while (first != nullptr)
    xp_release(std::exchange(first, first->next));
}

int64_t room_in(const block *k) {
  return k == nullptr ? 0 : k->capacity - k->count;
}

// --- The chain, under the lock ---

bool make_room(bag &b) {
  if (room_in(b.first) > 0) return true;
  block *fresh = std::exchange(b.spare, nullptr);
  if (fresh == nullptr) fresh = new_block(std::clamp(b.count, least_slots, enough_slots));
  if (fresh == nullptr) return false;
  fresh->next = b.first;
  b.first = fresh;
  return true;
}

// Puts an owned member where there is room.
void put(bag &b, xp_obj *member) {
  b.first->slots()[b.first->count++] = member;
  ++b.count;
}

// Takes the empty first block off the chain and keeps it, or the spare one, whichever is larger.
void retire_first(bag &b) {
  block *empty = std::exchange(b.first, b.first->next);
  empty->next = nullptr;
  if (b.spare == nullptr || b.spare->capacity < empty->capacity) std::swap(b.spare, empty);
  xp_release(empty);
}

// Takes a member out; the last one of the first block closes the gap.
xp_obj *take(bag &b, place at) {
  xp_obj *&slot = at.in->slots()[at.index];
  xp_obj *member = std::exchange(slot, b.first->slots()[b.first->count - 1]);
  --b.first->count;
  --b.count;
  ++b.removals;
  if (b.first->count == 0) retire_first(b);
  return member;
}

// Goes to the next member; false at the end.
bool step(const bag &b, place &at) {
  if (at.in != nullptr && at.index + 1 < at.in->count) {
    ++at.index;
  } else {
    at = {.in = at.in == nullptr ? b.first : at.in->next, .index = 0};
  }
  return at.in != nullptr;
}

// Goes to the next member that equals `obj`; false when there is none.
bool find(const bag &b, xp_obj *obj, place &at) {
  while (step(b, at)) {
    if (xp_compare(at.in->slots()[at.index], obj) == 0) return true;
  }
  return false;
}

// --- Life cycle ---

void destroy(xp_obj *obj) {
  auto *b = static_cast<bag *>(obj);
  release_chain(b->first);
  xp_release(b->spare);
  xp_release(b->lock);
  xp::destroy(b);
}

void release(xp_obj *obj) {
  if (xp_prerelease(obj)) xp::end_container(obj, destroy);
}

// A new bag with the same flags and the members that copy_member makes; null when memory is exhausted.
template <typename Copy>
xp_obj *copy_with(bag &b, Copy copy_member) {
  xp::ref copy = xp::ref::adopt(xp_bag_new(b.flags));
  auto *to = xp::as<bag>(copy.get());
  if (to == nullptr) return nullptr;
  const xp::crit_guard guard(b.lock);
  place at{};
  while (step(b, at)) {
    xp::ref member = xp::ref::adopt(copy_member(at.in->slots()[at.index]));
    if (!member || !make_room(*to)) return nullptr;
    put(*to, member.leak());
  }
  return copy.leak();
}

xp_obj *duplicate(bag &b, uint32_t flags) {
  if ((flags & XP_DUP_SHALLOW) != 0) return copy_with(b, xp_retain);
  return copy_with(b, [flags](xp_obj *member) { return xp_duplicate(member, flags); });
}

int64_t traversal_constructor(int64_t argument) {
  return argument == XP_TRAV_MAKE ? static_cast<int64_t>(reinterpret_cast<intptr_t>(&xp_bag_travnew)) : 0;
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void * /*pointer*/) {
  auto *b = xp::as<bag>(obj);
  if (b == nullptr) return 0;
  switch (code) {
    case XP_CTL_DUPLICATE: return xp::result(duplicate(*b, static_cast<uint32_t>(argument)));
    case XP_CTL_INSTANCEOF: return argument == xp_code("trav");
    case XP_CTL_FALSEY: return xp_bag_length(b) == 0;
    case XP_CTL_TRAVERSE: return traversal_constructor(argument);
    default: return 0;
  }
}

constexpr xp::ops bag_ops = {
    .retain = xp_obj_retain, .release = release, .compare = nullptr, .textify = nullptr, .control = control};

// --- Walking ---

struct cursor {
  place at;
  uint64_t removals;  // the bag's counter at the first step
  enum { fresh, walking, ended } state;
};

// The next member, borrowed; null at the end, and once members were removed.
xp_obj *advance(const bag &b, cursor &c) {
  if (c.state == cursor::fresh) c.removals = b.removals;
  const bool goes = c.state != cursor::ended && c.removals == b.removals && step(b, c.at);
  c.state = goes ? cursor::walking : cursor::ended;
  return goes ? c.at.in->slots()[c.at.index] : nullptr;
}

void cursor_reset(xp_obj * /*container*/, void *state) {
  *static_cast<cursor *>(state) = {};
}

xp_obj *cursor_next(xp_obj *container, void *state) {
  auto *b = xp::as<bag>(container);
  if (b == nullptr) return nullptr;
  const xp::crit_guard guard(b->lock);
  return xp_retain(advance(*b, *static_cast<cursor *>(state)));
}

int64_t cursor_count(xp_obj *container, void * /*state*/) {
  return xp_bag_length(container);
}

constexpr xp_trav_ops traversal_ops = {
    .reset = cursor_reset, .next = cursor_next, .prev = nullptr, .count = cursor_count};

}  // namespace

uint32_t xp_bag_type() {
  return bag::code;
}

xp_obj *xp_bag_new(uint32_t flags) {
  xp::ref made = xp::ref::adopt(xp::make<bag>(bag_ops));
  auto *b = xp::as<bag>(made.get());
  if (b == nullptr) return nullptr;
  b->flags = flags;
  if ((flags & XP_BAG_LOCKED) != 0) {
    b->lock = xp_crit_new();
    if (b->lock == nullptr) return nullptr;
  }
  return made.leak();
}

xp_obj *xp_bag_coerce(xp_obj *obj) {
  if (obj == nullptr || xp_type(obj) == bag::code) return xp_retain(obj);
  const bool walks = xp_instanceof(obj, xp_code("trav")) != 0;
  const xp::ref from = xp::ref::adopt(walks ? xp_trav_make(obj) : xp_trav_one(obj));
  xp::ref made = xp::ref::adopt(xp_bag_new(0));
  if (!from || !made) return nullptr;
  while (const xp::ref member = xp::ref::adopt(xp_trav_next(from.get()))) {
    if (xp_bag_insert(made.get(), member.get()) < 0) return nullptr;
  }
  return made.leak();
}

xp_obj *xp_bag_copy(xp_obj *b) {
  auto *self = xp::as<bag>(b);
  return self == nullptr ? nullptr : copy_with(*self, xp_retain);
}

int64_t xp_bag_setinitial(xp_obj *b, int64_t count) {
  auto *self = xp::as<bag>(b);
  if (self == nullptr) return 0;
  const xp::crit_guard guard(self->lock);
  const int64_t inside = self->count + room_in(self->first);
  const int64_t capacity = inside + room_in(self->spare);
  if (count <= capacity) return capacity;
  block *larger = new_block(count - inside);
  if (larger == nullptr) return -1;
  xp_release(std::exchange(self->spare, larger));
  return count;
}

int64_t xp_bag_insert(xp_obj *b, xp_obj *obj) {
  auto *self = xp::as<bag>(b);
  if (self == nullptr || obj == nullptr) return -1;
  const xp::crit_guard guard(self->lock);
  if (!make_room(*self)) return -1;
  put(*self, xp_retain(obj));
  return self->count;
}

int64_t xp_bag_remove(xp_obj *b, xp_obj *obj) {
  auto *self = xp::as<bag>(b);
  if (self == nullptr || obj == nullptr) return 0;
  xp::ref taken;  // released after the lock
  const xp::crit_guard guard(self->lock);
  place at{};
  if (!find(*self, obj, at)) return 0;
  taken = xp::ref::adopt(take(*self, at));
  return 1;
}

void xp_bag_drain(xp_obj *b) {
  auto *self = xp::as<bag>(b);
  if (self == nullptr) return;
  block *first = nullptr;
  {
    const xp::crit_guard guard(self->lock);
    first = std::exchange(self->first, nullptr);
    self->count = 0;
    ++self->removals;
  }
  release_chain(first);
}

int64_t xp_bag_count(xp_obj *b, xp_obj *obj) {
  auto *self = xp::as<bag>(b);
  if (self == nullptr || obj == nullptr) return 0;
  const xp::crit_guard guard(self->lock);
  int64_t count = 0;
  for (place at{}; find(*self, obj, at);)
    ++count;
  return count;
}

int32_t xp_bag_includes(xp_obj *b, xp_obj *obj) {
  auto *self = xp::as<bag>(b);
  if (self == nullptr || obj == nullptr) return 0;
  const xp::crit_guard guard(self->lock);
  place at{};
  return find(*self, obj, at) ? 1 : 0;
}

int64_t xp_bag_length(xp_obj *b) {
  auto *self = xp::as<bag>(b);
  if (self == nullptr) return 0;
  const xp::crit_guard guard(self->lock);
  return self->count;
}

int64_t xp_bag_enum(xp_obj *b, xp_bag_visitor visit, void *context) {
  auto *self = xp::as<bag>(b);
  if (self == nullptr || visit == nullptr) return 0;
  const xp::crit_guard guard(self->lock);
  cursor c{};
  while (xp_obj *member = advance(*self, c)) {
    if (visit(b, member, context) != 0) return -1;
  }
  return 0;
}

xp_obj *xp_bag_travnew(xp_obj *b) {
  return xp::as<bag>(b) == nullptr ? nullptr : xp_trav_new(b, &traversal_ops, sizeof(cursor));
}
