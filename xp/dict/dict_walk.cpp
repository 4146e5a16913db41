#include "xp/array/sort.h"
#include "xp/dict/dict_impl.h"
#include "xp/dict/hash.h"
#include "xp/object/ref.h"
#include "xp/service/traversal.h"
#include "xp/string/string.h"
#include "xp/string/string_impl.h"

#include <string.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace xp::dict {
namespace {

// --- In key order ---

std::string_view key_of(entry *e) {
  return {e->key(), e->key_length};
}

// The first seven bytes of a key as a number of their order, zeros behind a shorter one. They stand in one
// word with the length in front of them.
uint64_t prefix_of(entry *e) {
  uint64_t bytes = dict_hash::load_word(e->key() - 1) >> 8;
  if (e->key_length < 7) bytes &= (uint64_t{1} << (8 * e->key_length)) - 1;
  return __builtin_bswap64(bytes);
}

// By raw bytes, also where keys are case-insensitive; of two keys that begin alike the shorter one comes
// first.
int64_t key_order(void * /*context*/, xp_obj *a, xp_obj *b, void * /*argument*/) {
  auto *x = reinterpret_cast<entry *>(a);
  auto *y = reinterpret_cast<entry *>(b);
  uint64_t x_prefix = prefix_of(x);
  uint64_t y_prefix = prefix_of(y);
  if (x_prefix != y_prefix) return x_prefix < y_prefix ? -1 : 1;
  return key_of(x).compare(key_of(y));
}

// Few entries by insertion, with their prefixes beside them.
void sort_few(entry **entries, uint32_t count) {
  uint64_t prefixes[few_entries];
  for (uint32_t i = 0; i < count; ++i) {
    entry *e = entries[i];
    const uint64_t prefix = prefix_of(e);
    uint32_t at = i;
    for (; at > 0; --at) {
      const uint64_t other = prefixes[at - 1];
      if (other < prefix || (other == prefix && key_of(entries[at - 1]) < key_of(e))) break;
      prefixes[at] = other;
      entries[at] = entries[at - 1];
    }
    prefixes[at] = prefix;
    entries[at] = e;
  }
}

// Lists the entries that a walk visits. How many there are.
uint32_t list_entries(object *d, entry **entries) {
  uint32_t found = 0;
  const uint32_t room = d->count;
  walk(d, [&](entry *e) {
    entries[found++] = e;
    // The values come into the cache while the keys are put in order; a string's text has a line of its own.
    __builtin_prefetch(e->value);
    __builtin_prefetch(
        reinterpret_cast<const void *>(reinterpret_cast<uintptr_t>(e->value) + sizeof(xps_string)));
    return found == room ? 1 : 0;
  });
  return found;
}

int64_t visit_sorted(object *d, entry **entries, xp_dict_visitor visit, void *context) {
  const uint32_t found = list_entries(d, entries);
  if (found <= few_entries) {
    sort_few(entries, found);
  } else {
    xp_sort(nullptr, found, reinterpret_cast<xp_obj **>(entries), key_order, nullptr);
  }
  for (uint32_t i = 0; i < found; ++i) {
    entry *e = entries[i];
    if (visit(d, e->key(), e->key_length, e->value, context) != 0) return -1;
  }
  return 0;
}

// --- Paths ---

// The text of a path, which begins on the stack and moves to the heap when it grows.
class path {
public:
  explicit path(std::string_view separator) : separator_(separator) {}
  ~path() { xp_free_fast(text_, inline_text_); }
  path(const path &) = delete;
  path &operator=(const path &) = delete;

  const char *text() const { return text_; }
  uint64_t length() const { return length_; }
  void cut(uint64_t length) { text_[length_ = length] = '\0'; }

  // A separator that begins with a slash also begins the path.
  bool begin() { return !separator_.starts_with('/') || (reserve(0) && append(separator_)); }

  bool enter(std::string_view key, bool top) {
    return reserve(key.size()) && (top || append(separator_)) && append(key);
  }

private:
  static constexpr uint64_t step = 256;

  // Room for a separator, `more` bytes and the closing zero.
  bool reserve(uint64_t more) {
    uint64_t needed = separator_.size() + length_ + more;
    if (needed < capacity_) return true;
    auto *larger = static_cast<char *>(xp_alloc(needed + step));
    if (larger == nullptr) return false;
    memcpy(larger, text_, length_);
    xp_free_fast(std::exchange(text_, larger), inline_text_);
    capacity_ = needed + step;
    return true;
  }

  bool append(std::string_view bytes) {
    memcpy(text_ + length_, bytes.data(), bytes.size());
    cut(length_ + bytes.size());
    return true;
  }

  std::string_view separator_;
  char inline_text_[step] = {};
  char *text_ = inline_text_;
  uint64_t capacity_ = step;
  uint64_t length_ = 0;
};

struct path_walk {
  path *at;
  xp_dict_visitor visit;
  void *context;

  int64_t enter(object *d, bool top) {
    crit_guard guard(d->lock);
    return walk(d, [=, this](entry *e) { return step(d, e, top); });
  }

  int64_t step(object *d, entry *e, bool top) {
    uint64_t length = at->length();
    if (!at->enter(key_of(e), top)) return -1;
    int64_t result = 0;
    if (object *nested = d->raw() ? nullptr : as<object>(e->value)) {
      ref held = ref::share(nested);
      result = enter(nested, false);
    } else {
      result = visit(d, at->text(), static_cast<int64_t>(at->length()), e->value, context);
    }
    at->cut(length);
    return result;
  }
};

// --- Traversals ---

struct cursor {
  uint32_t bucket;
  uint32_t bucket_count;  // of the table that is walked
  entry *current;         // null before the first one
  bool ended;
};

void cursor_reset(xp_obj *container, void *state) {
  auto *d = as<object>(container);
  auto *at = static_cast<cursor *>(state);
  if (d == nullptr) return;
  crit_guard guard(d->lock);
  *at = {.bucket = 0, .bucket_count = d->bucket_count, .current = nullptr, .ended = false};
}

// The entry behind the cursor; null at the end, and once the table is another one than at the start. An entry
// that was erased meanwhile is still there to go on from: entries live as long as their dictionary.
entry *step_raw(object *d, cursor *at) {
  if (at->ended || at->bucket_count != d->bucket_count) return nullptr;
  entry *e = at->current != nullptr ? at->current->next : d->buckets[at->bucket];
  while (e == nullptr && ++at->bucket < d->bucket_count)
    e = d->buckets[at->bucket];
  return at->current = e;
}

template <typename Skip>
entry *step(object *d, cursor *at, Skip skips) {
  entry *e = step_raw(d, at);
  while (e != nullptr && skips(e))
    e = step_raw(d, at);
  at->ended = e == nullptr;
  return e;
}

xp_obj *next_key(xp_obj *container, void *state) {
  auto *d = as<object>(container);
  if (d == nullptr) return nullptr;
  crit_guard guard(d->lock);
  entry *e = step(d, static_cast<cursor *>(state), [d](entry *at) { return !d->visits(at); });
  return e == nullptr ? nullptr : xp_str_make(e->key(), e->key_length);
}

xp_obj *next_value(xp_obj *container, void *state) {
  auto *d = as<object>(container);
  if (d == nullptr) return nullptr;
  crit_guard guard(d->lock);
  entry *e = step(d, static_cast<cursor *>(state), [](entry *at) { return at->value == nullptr; });
  return e == nullptr ? nullptr : d->retain_value(e->value);
}

int64_t cursor_count(xp_obj *container, void * /*state*/) {
  return xp_dict_count(container);
}

constexpr xp_trav_ops key_ops = {
    .reset = cursor_reset, .next = next_key, .prev = nullptr, .count = cursor_count};
constexpr xp_trav_ops value_ops = {
    .reset = cursor_reset, .next = next_value, .prev = nullptr, .count = cursor_count};

}  // namespace

uint32_t order_few(object *d, entry **entries) {
  const uint32_t found = list_entries(d, entries);
  sort_few(entries, found);
  return found;
}

}  // namespace xp::dict

using namespace xp::dict;

void xp_dict_clear(xp_obj *d) {
  xp_dict_enumclear(
      d, [](xp_obj *, const char *, int64_t, xp_obj *, void *) -> int64_t { return 1; }, nullptr);
}

int32_t xp_dict_enum(xp_obj *d, xp_dict_visitor visit, void *context) {
  auto *self = xp::as<object>(d);
  if (self == nullptr || visit == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  int64_t stopped =
      walk(self, [=](entry *e) { return visit(d, e->key(), e->key_length, e->value, context); });
  return stopped != 0 ? -1 : 0;
}

int32_t xp_dict_enumsorted(xp_obj *d, xp_dict_visitor visit, void *context) {
  auto *self = xp::as<object>(d);
  if (self == nullptr || visit == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  entry *few[few_entries];
  auto **entries = static_cast<entry **>(xp_alloc_fast(self->count * sizeof(void *), 0, few, sizeof few));
  if (entries == nullptr) return -1;
  int64_t stopped = visit_sorted(self, entries, visit, context);
  xp_free_fast(entries, few);
  return stopped != 0 ? -1 : 0;
}

int32_t xp_dict_enumclear(xp_obj *d, xp_dict_visitor visit, void *context) {
  auto *self = xp::as<object>(d);
  if (self == nullptr || visit == nullptr) return 0;
  xp::crit_guard guard(self->lock);
  walk(self, [=](entry *e) {
    if (visit(d, e->key(), e->key_length, e->value, context) != 0) {
      // Raw values are set to null, too, and their hook releases nothing.
      self->release_value(std::exchange(e->value, nullptr));
    }
    return 0;
  });
  return 0;
}

int32_t xp_dict_traverse(xp_obj *d, const char *separator, xp_dict_visitor visit, void *context) {
  auto *self = xp::as<object>(d);
  if (self == nullptr || visit == nullptr) return 0;
  path at(separator == nullptr ? "" : separator);
  if (!at.begin()) return -1;
  path_walk walk_state{.at = &at, .visit = visit, .context = context};
  return walk_state.enter(self, true) != 0 ? -1 : 0;
}

xp_obj *xp_dict_travnew(xp_obj *d) {
  return xp::as<object>(d) == nullptr ? nullptr : xp_trav_new(d, &key_ops, sizeof(cursor));
}

xp_obj *xp_dict_travobjnew(xp_obj *d) {
  return xp::as<object>(d) == nullptr ? nullptr : xp_trav_new(d, &value_ops, sizeof(cursor));
}
