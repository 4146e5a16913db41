#include "xp/dict/build.h"
#include "xp/dict/dict_impl.h"
#include "xp/dict/hash.h"
#include "xp/object/quick.h"
#include "xp/object/short_copy.h"

#include <string.h>

#include <utility>

namespace xp {

using namespace dict;

namespace {

bool same_key(entry *e, const dict_member &m) {
  if (e->key_length != m.key_length) return false;
  for (uint32_t i = 0; i < m.key_length; ++i) {
    const auto a = static_cast<unsigned char>(e->key()[i]);
    const auto b = static_cast<unsigned char>(m.key[i]);
    if (dict_hash::fold(a) != dict_hash::fold(b)) return false;
  }
  return true;
}

void append(object *d, const dict_member &m) {
  entry *e = d->chunks->past();
  d->chunks->used += entry_size(m.key_length);
  ++d->count;
  e->next = std::exchange(d->inline_buckets[m.hash & (inline_bucket_count - 1)], e);
  e->value = m.value;
  e->key_length = static_cast<uint8_t>(m.key_length);
  copy_short(e->key(), m.key, m.key_length);
  d->index().add_near(e, m.hash);
}

// Up to most_places members, with their own references, all in the inline chunk.
object *make_small(std::span<const dict_member> members) {
  uint32_t size = 0;
  for (const dict_member &m : members)
    size += entry_size(m.key_length);
  object *d = make_empty(XP_DICT_NOCASE, size, static_cast<uint32_t>(members.size()), true);
  if (d == nullptr) return nullptr;
  uint64_t seen = 0;  // a bit for each hash: most keys need no look for an equal one
  for (const dict_member &m : members) {
    const uint64_t bit = uint64_t{1} << (m.hash * 0x9E3779B1u >> 26);
    entry *same = nullptr;
    if ((seen & bit) != 0) same = d->index().find(m.hash, [&m](entry *e) { return same_key(e, m); });
    seen |= bit;
    if (same != nullptr) {
      xp_release(std::exchange(same->value, m.value));
    } else {
      append(d, m);
    }
  }
  return d;
}

}  // namespace

// Deliberate: more members than the index has places are stored one by one, so that the buckets grow, and
// entries change their places in the chains, as they always do.
xp_obj *dict_of(std::span<const dict_member> members) {
  const bool small = members.size() <= small_index::most_places;
  xp_obj *d = small ? make_small(members) : xp_dict_new(XP_DICT_NOCASE);
  if (small && d != nullptr) return d;
  bool complete = d != nullptr;
  for (const dict_member &m : members)
    complete = xp_dict_adopt(d, m.key, m.key_length, m.value) == 0 && complete;
  if (complete) return d;
  xp_release(d);
  return nullptr;
}

dict_model dict_model_of(xp_obj *dictionary, size_t members) {
  auto *d = static_cast<object *>(dictionary);
  // An index of distances means that all entries stand in front of it.
  if (members == 0 || members != d->count || !d->small() || !d->index().near) return {};
  return {.dictionary = d, .first = d->inline_chunk.first(), .past = d->inline_chunk.past()};
}

size_t dict_model::size() const {
  return dictionary->count;
}

// The model's block with other values. What points into the block points as far into the new one.
xp_obj *dict_like(const dict_model &model, std::span<const dict_member> members) {
  object *like = model.dictionary;
  const size_t tail = like->inline_chunk.capacity + small_index::size(like->index().places, true);
  const size_t contents = sizeof(object) - sizeof(xp_obj) + tail;
  auto *d = make_unzeroed<object>(operations, tail);
  if (d == nullptr) {
    for (const dict_member &m : members)
      xp_release(m.value);
    return nullptr;
  }
  memcpy(static_cast<xp_obj *>(d) + 1, static_cast<xp_obj *>(like) + 1, contents);
  const uintptr_t distance = reinterpret_cast<uintptr_t>(d) - reinterpret_cast<uintptr_t>(like);
  const auto moved = [distance](entry *e) {
    return e == nullptr ? nullptr : reinterpret_cast<entry *>(reinterpret_cast<uintptr_t>(e) + distance);
  };
  d->chunks = &d->inline_chunk;
  d->buckets = d->inline_buckets;
  for (entry *&first : d->inline_buckets)
    first = moved(first);
  const dict_member *m = members.data();
  d->index().each([&](entry *e) {
    e->next = moved(e->next);
    e->value = m++->value;
  });
  return d;
}

}  // namespace xp
