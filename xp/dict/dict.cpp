#include "xp/dict/dict.h"

#include "xp/dict/dict_impl.h"
#include "xp/dict/hash.h"
#include "xp/object/deferred_release.h"
#include "xp/object/quick.h"
#include "xp/object/ref.h"
#include "xp/object/short_copy.h"
#include "xp/string/string.h"

#include <assert.h>
#include <string.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace xp::dict {
namespace {

constexpr uint32_t first_chunk_size = 128;
constexpr uint32_t largest_chunk_size = 32768;
constexpr uint32_t first_grown_bucket_count = 16;
constexpr uint32_t largest_bucket_count = 32768;
constexpr size_t pointer_size = sizeof(void *);

// A key as it is looked up: cut to its longest length.
struct lookup {
  const char *bytes;
  uint32_t length;
  uint32_t hash;
  uint64_t last;  // its last word, folded where the dictionary folds
  bool nocase;
};

// Looking up is a few dozen instructions on every path; calls between its parts would double them.
[[gnu::always_inline]] inline lookup make_lookup(object *d, const char *key, int64_t length) {
  size_t bytes = length < 0 ? strnlen(key, longest_key) : static_cast<size_t>(length);
  // Deliberate: two keys that agree in their first 255 bytes are one key; an entry has one byte for the
  // length.
  bytes = std::min<size_t>(bytes, longest_key);
  bool nocase = d->has(XP_DICT_NOCASE);
  uint64_t last = dict_hash::last_word(key, bytes);
  return {.bytes = key,
          .length = static_cast<uint32_t>(bytes),
          .hash = dict_hash::of(key, bytes, nocase),
          .last = nocase ? dict_hash::fold_word(last) : last,
          .nocase = nocase};
}

[[gnu::always_inline]] inline bool matches(entry *e, const lookup &key) {
  if (e->key_length != key.length) return false;
  // In front of an entry's key stand its value and its length.
  uint64_t last = dict_hash::last_word_inside(e->key(), key.length);
  if ((key.nocase ? dict_hash::fold_word(last) : last) != key.last) return false;
  return dict_hash::same_front(e->key(), key.bytes, key.length, key.nocase);
}

uint32_t bucket_of(object *d, uint32_t hash) {
  return hash & (d->bucket_count - 1);
}

// The bit of a hash in its bucket's filter word.
uint32_t filter_bit(uint32_t hash) {
  return uint32_t{1} << ((hash * 0x9E3779B1u) >> 27);
}

// The key's entry, or null.
[[gnu::always_inline]] inline entry *find(object *d, const lookup &key) {
  if (d->small() && d->index().complete())
    return d->index().find(key.hash, [&](entry *e) { return matches(e, key); });
  uint32_t bucket = bucket_of(d, key.hash);
  if (!d->small() && (d->filters()[bucket] & filter_bit(key.hash)) == 0) return nullptr;
  entry *e = d->buckets[bucket];
  while (e != nullptr && !matches(e, key))
    e = e->next;
  return e;
}

// Puts an entry at the head of its chain.
void link(object *d, entry *e, uint32_t hash) {
  uint32_t bucket = bucket_of(d, hash);
  e->next = std::exchange(d->buckets[bucket], e);
  if (d->small()) {
    d->index().add(e, hash);
  } else {
    d->filters()[bucket] |= filter_bit(hash);
  }
}

// The count changes under the lock only, but is read without it.
void add_to_count(object *d, uint32_t difference) {
  std::atomic_ref(d->count).store(d->count + difference, std::memory_order_relaxed);
}

// --- Room for entries ---

bool add_chunk(object *d, uint32_t key_length) {
  uint32_t size = d->chunk_size;
  while (size < key_length + 33)
    size *= 2;
  auto *c = static_cast<chunk *>(block_unzeroed(size));
  if (c == nullptr) return false;
  c->used = 0;
  c->capacity = size - static_cast<uint32_t>(sizeof(chunk));
  assert(c->capacity % 8 == 0);
  if (d->chunk_size < largest_chunk_size) d->chunk_size *= 2;
  c->next = d->chunks;
  d->chunks = c;
  return true;
}

bool make_room(object *d, uint32_t key_length) {
  chunk *newest = d->chunks;
  return newest->capacity - newest->used >= key_length + 17 || add_chunk(d, key_length);
}

entry *carve(object *d, uint32_t key_length) {
  chunk *c = d->chunks;
  auto *e = reinterpret_cast<entry *>(c->entries() + c->used);
  c->used += entry_size(key_length);
  assert(c->used <= c->capacity);
  return e;
}

// Empty bucket chains and their filters, or null.
entry **new_buckets(uint32_t count) {
  return static_cast<entry **>(xp_alloc(count * (pointer_size + sizeof(uint32_t))));
}

void rehash(object *d, uint32_t bucket_count) {
  entry **buckets = new_buckets(bucket_count);
  if (buckets == nullptr) return;  // the old table goes on serving, with longer chains
  bool nocase = d->has(XP_DICT_NOCASE);
  entry **former = std::exchange(d->buckets, buckets);
  uint32_t former_count = std::exchange(d->bucket_count, bucket_count);
  for (uint32_t i = 0; i < former_count; ++i) {
    while (entry *e = former[i]) {
      former[i] = e->next;
      link(d, e, dict_hash::of(e->key(), e->key_length, nocase));
    }
  }
  if (former != d->inline_buckets) xp_free(former);
}

// Deliberate: the first 16 keys share the two inline buckets, so that small dictionaries need no table of
// their own.
void grow(object *d) {
  if (d->bucket_count < first_grown_bucket_count) {
    if (d->count > first_grown_bucket_count) rehash(d, first_grown_bucket_count);
  } else if (d->count > d->bucket_count && d->bucket_count < largest_bucket_count) {
    rehash(d, d->bucket_count * 2);
  }
}

// An entry for a new key, counted; null when memory is exhausted.
entry *new_entry(object *d, uint32_t key_length) {
  if (d->has(XP_DICT_RECYCLE)) {
    entry **list = d->free_list(key_length);
    if (entry *e = *list) {
      *list = e->next;
      add_to_count(d, 1);
      return e;
    }
  }
  if (!make_room(d, key_length)) return nullptr;
  add_to_count(d, 1);
  grow(d);
  return carve(d, key_length);
}

// --- Storing and erasing, under the lock ---

// Takes an entry out of its chain and returns its value, which the caller releases.
xp_obj *unlink(object *d, entry *e, uint32_t hash) {
  entry **link = &d->buckets[bucket_of(d, hash)];
  while (*link != e)
    link = &(*link)->next;
  *link = e->next;
  if (d->small()) d->index().remove(e);
  if (d->has(XP_DICT_RECYCLE)) e->next = std::exchange(*d->free_list(e->key_length), e);
  add_to_count(d, static_cast<uint32_t>(-1));
  return std::exchange(e->value, nullptr);
}

void put_entry(object *d, entry *e, std::string_view key, uint32_t hash, xp_obj *value) {
  link(d, e, hash);
  e->value = value;
  e->key_length = static_cast<uint8_t>(key.size());
  copy_short(e->key(), key.data(), key.size());
}

bool insert(object *d, const lookup &key, xp_obj *value) {
  entry *e = new_entry(d, key.length);
  if (e == nullptr) return false;
  put_entry(d, e, {key.bytes, key.length}, key.hash, value);
  return true;
}

// Puts an owned value under a key. `released` receives the reference that nobody owns any more: the former
// value, or the new one when it could not be stored. It is released after the lock is left, so that the end
// of a value may use the dictionary.
int32_t put(object *d, const lookup &key, xp_obj *value, xp_obj **released) {
  crit_guard guard(d->lock);
  bool erases = value == nullptr && d->has(XP_DICT_RECYCLE);
  if (entry *e = find(d, key)) {
    *released = erases ? unlink(d, e, key.hash) : std::exchange(e->value, value);
    return 0;
  }
  if (erases || insert(d, key, value)) return 0;
  *released = value;
  return -1;
}

// --- Life cycle ---

// The hooks of dictionaries of raw values.
xp_obj *keep_raw(xp_obj *value) {
  return value;
}
void drop_raw(xp_obj * /*value*/) {}

template <typename Step>
void each_entry(chunk *c, Step step) {
  for (uint32_t at = 0; at < c->used;) {
    auto *e = reinterpret_cast<entry *>(c->entries() + at);
    at += entry_size(e->key_length);
    step(e);
  }
}

// All values come into the cache before the first one goes.
void release_few(small_index &index) {
  xp_obj *values[small_index::most_places];
  uint32_t count = 0;
  index.each([&](entry *e) {
    __builtin_prefetch(e->value, 1);
    values[count++] = e->value;
  });
  for (uint32_t i = 0; i < count; ++i)
    release_quickly(values[i]);
}

// In the order in which the entries lie in memory: their chains lead all over it. The values of erased
// entries are null.
void release_values(object *d) {
  if (d->raw()) return;
  if (d->small() && d->index().complete()) return release_few(d->index());
  for (chunk *c = d->chunks; c != nullptr; c = c->next) {
    each_entry(c, [](entry *e) { __builtin_prefetch(e->value, 1); });
    each_entry(c, [](entry *e) { release_quickly(std::exchange(e->value, nullptr)); });
  }
}

void destroy(xp_obj *obj) {
  auto *d = static_cast<object *>(obj);
  {
    crit_guard guard(d->lock);
    release_values(d);
  }
  release_quickly(d->blank);
  release_quickly(d->lock);
  while (d->chunks != &d->inline_chunk)
    xp_free(std::exchange(d->chunks, d->chunks->next));
  if (d->buckets != d->inline_buckets) xp_free(d->buckets);
  destroy_quickly(d);
}

void release(xp_obj *obj) {
  if (xp_prerelease(obj)) end_container(obj, destroy);
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void * /*pointer*/) {
  switch (code) {
    case XP_CTL_DUPLICATE:
      return result(duplicate(static_cast<object *>(obj), static_cast<uint32_t>(argument)));
    case XP_CTL_INSTANCEOF: return argument == xp_code("trav");
    // Deliberate: no emptiness test. An empty dictionary is truthy, unlike an empty array.
    default: return 0;
  }
}

uint32_t initial_bucket_count(uint32_t flags) {
  switch (flags & XP_DICT_BUCKETS_32K) {
    case XP_DICT_BUCKETS_8K: return 8192;
    case XP_DICT_BUCKETS_16K: return 16384;
    case XP_DICT_BUCKETS_32K: return 32768;
    default: return inline_bucket_count;
  }
}

bool make_parts(object *d) {
  if (uint32_t count = initial_bucket_count(d->flags); count > inline_bucket_count) {
    entry **buckets = new_buckets(count);
    if (buckets == nullptr) return false;
    d->buckets = buckets;
    d->bucket_count = count;
  }
  if ((d->flags & XP_DICT_LOCKED) == 0) return true;
  d->lock = xp_crit_new();
  return d->lock != nullptr;
}

}  // namespace

const ops operations = {
    .retain = xp_obj_retain, .release = release, .compare = nullptr, .textify = nullptr, .control = control};

object *make_empty(uint32_t flags, uint32_t capacity, uint32_t places, bool near) {
  const size_t lists = (flags & XP_DICT_RECYCLE) != 0 ? free_list_count * pointer_size : 0;
  auto *d = xp::make_unzeroed<object>(operations, capacity + small_index::size(places, near) + lists);
  if (d == nullptr) return nullptr;
  d->flags = flags;
  d->count = 0;
  d->chunk_size = first_chunk_size;
  d->bucket_count = inline_bucket_count;
  d->lock = nullptr;
  d->retain_value = d->raw() ? keep_raw : xp_retain;
  d->release_value = d->raw() ? drop_raw : xp_release;
  d->blank = nullptr;
  d->chunks = &d->inline_chunk;
  d->buckets = d->inline_buckets;
  std::fill_n(d->inline_buckets, inline_bucket_count, nullptr);
  d->inline_chunk = {.next = nullptr, .used = 0, .capacity = capacity};
  d->index().init(places, near);
  if (lists != 0) xp_memclr(d->free_list(0), lists);
  return d;
}

}  // namespace xp::dict

using namespace xp::dict;

uint32_t xp_dict_type() {
  return object::code;
}

xp_obj *xp_dict_new(uint32_t flags) {
  object *d = make_empty(flags, inline_chunk_capacity, small_index::most_places, false);
  if (d == nullptr || make_parts(d)) return d;
  xp_release(d);
  return nullptr;
}

int32_t xp_dict_store(xp_obj *d, const char *key, int64_t keylen, xp_obj *value) {
  auto *self = xp::as<object>(d);
  if (self == nullptr || key == nullptr) return -1;
  // The new value is retained before the old one goes: both may be the same last reference.
  return xp_dict_adopt(d, key, keylen, self->retain_value(value));
}

int32_t xp_dict_adopt(xp_obj *d, const char *key, int64_t keylen, xp_obj *value) {
  auto *self = xp::as<object>(d);
  if (self == nullptr) {
    xp_release(value);
    return -1;
  }
  int32_t result = key == nullptr ? -1 : 0;
  xp_obj *released = value;
  if (lookup k = key == nullptr ? lookup{} : make_lookup(self, key, keylen); k.length > 0) {
    released = nullptr;
    result = put(self, k, value, &released);
  }
  self->release_value(released);
  return result;
}

xp_obj *xp_dict_fetch(xp_obj *d, const char *key, int64_t keylen) {
  auto *self = xp::as<object>(d);
  if (self == nullptr || key == nullptr) return nullptr;
  lookup k = make_lookup(self, key, keylen);
  if (k.length == 0) return nullptr;
  {
    xp::crit_guard guard(self->lock);
    if (entry *e = find(self, k)) {
      if (self->blank != nullptr && xp_compare(self->blank, e->value) == 0) return nullptr;
      return self->raw() ? e->value : xp_retain(e->value);
    }
  }
  if (self->has(XP_DICT_LEARN)) xp_dict_store(d, key, keylen, nullptr);
  return nullptr;
}

int32_t xp_dict_erase(xp_obj *d, const char *key, int64_t keylen) {
  auto *self = xp::as<object>(d);
  if (self == nullptr || key == nullptr) return -1;
  lookup k = make_lookup(self, key, keylen);
  if (k.length == 0) return 0;
  xp_obj *released = nullptr;
  {
    xp::crit_guard guard(self->lock);
    if (entry *e = find(self, k)) released = unlink(self, e, k.hash);
  }
  self->release_value(released);
  return 0;
}

uint32_t xp_dict_count(xp_obj *d) {
  auto *self = xp::as<object>(d);
  return self == nullptr ? 0 : std::atomic_ref(self->count).load(std::memory_order_relaxed);
}

void xp_dict_blank(xp_obj *d, const char *text) {
  auto *self = xp::as<object>(d);
  if (self == nullptr) return;
  bool wanted = text != nullptr && *text != '\0' && !self->raw();
  xp::ref former = xp::ref::adopt(wanted ? xp_str_new(text) : nullptr);
  xp::crit_guard guard(self->lock);
  former = xp::ref::adopt(std::exchange(self->blank, former.leak()));
}

int32_t xp_dict_learn(xp_obj *d, int32_t on) {
  auto *self = xp::as<object>(d);
  if (self == nullptr) return 0;
  std::atomic_ref flags(self->flags);
  uint32_t before = 0;
  if (on < 0) {
    before = flags.load(std::memory_order_relaxed);
  } else if (on > 0) {
    before = flags.fetch_or(XP_DICT_LEARN, std::memory_order_relaxed);
  } else {
    before = flags.fetch_and(~uint32_t{XP_DICT_LEARN}, std::memory_order_relaxed);
  }
  return (before & XP_DICT_LEARN) != 0 ? 1 : 0;
}
