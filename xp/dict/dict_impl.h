// The inside of a dictionary, for the files of this folder and for the reader and the writer of
// JSON.
//
// Entries are carved from chunks and chained in buckets. Offsets inside an entry, which begins on a multiple
// of 8:
//    0  next entry of the chain (of the free list, once it is erased and recycled)
//    8  value: an object reference or a raw value
//   16  key length, 1 byte
//   17  key bytes; the entry ends on the next multiple of 8
// A chunk is a 16-byte header (next chunk, used bytes, capacity) and its entries. Capacities are multiples of
// 8: an entry of free list k (key length divided by 8) then always holds 24 + 8k bytes and fits every key of
// its list. Behind a bucket array that is not the inline one stands a filter word for each bucket: a bit for
// every hash tag that its chain has held. A clear bit says that a key is not there without touching the
// chain; erasing leaves bits set.

#ifndef XP_DICT_DICT_IMPL_H
#define XP_DICT_DICT_IMPL_H

#include "xp/dict/dict.h"
#include "xp/dict/small_index.h"
#include "xp/object/lock.h"
#include "xp/object/type.h"

#include <stddef.h>
#include <stdint.h>

#include <atomic>

namespace xp::dict {

constexpr uint32_t longest_key = 255;
constexpr uint32_t inline_bucket_count = 2;
constexpr uint32_t inline_chunk_capacity = 128;
constexpr uint32_t free_list_count = 32;

// The size of an entry; the same for all keys of one free list.
constexpr uint32_t entry_size(uint32_t key_length) {
  return (key_length + 24) & ~uint32_t{7};
}

struct entry {
  entry *next;
  xp_obj *value;
  uint8_t key_length;
  char first_key_bytes[7];  // the key goes on behind the struct

  char *key() { return reinterpret_cast<char *>(this) + offsetof(entry, first_key_bytes); }
  // The one that was carved next, if there is one in the chunk.
  entry *behind() {
    return reinterpret_cast<entry *>(reinterpret_cast<char *>(this) + entry_size(key_length));
  }
};
static_assert(offsetof(entry, key_length) == 16 && offsetof(entry, first_key_bytes) == 17 &&
              sizeof(entry) == 24);

struct chunk {
  chunk *next;
  uint32_t used;
  uint32_t capacity;

  unsigned char *entries() { return reinterpret_cast<unsigned char *>(this + 1); }
  entry *first() { return reinterpret_cast<entry *>(entries()); }
  // Behind the last entry.
  entry *past() { return reinterpret_cast<entry *>(entries() + used); }
};
static_assert(sizeof(chunk) == 16 && inline_chunk_capacity % 8 == 0);

struct object : xp_obj {
  static constexpr uint32_t code = xp_code("dict");

  uint32_t flags;  // XP_DICT_*; the learn bit may change while others read
  uint32_t count;  // keys present; may be read without the lock
  uint32_t chunk_size;
  uint32_t bucket_count;
  xp_obj *lock;  // or null
  xp_obj *(*retain_value)(xp_obj *value);
  void (*release_value)(xp_obj *value);
  xp_obj *blank;  // or null
  chunk *chunks;  // newest first; the last one is the inline chunk
  entry **buckets;
  entry *inline_buckets[inline_bucket_count];
  chunk inline_chunk;
  // Behind the struct: the entries of the inline chunk, inline_chunk_capacity bytes of them or, in a
  // dictionary that was made at once, as many as its first keys need; the index; with XP_DICT_RECYCLE the
  // list heads.

  bool has(uint32_t flag) { return (std::atomic_ref(flags).load(std::memory_order_relaxed) & flag) != 0; }
  bool raw() { return has(XP_DICT_RAW); }
  bool small() { return buckets == inline_buckets; }
  // Not for a small dictionary.
  uint32_t *filters() { return reinterpret_cast<uint32_t *>(buckets + bucket_count); }
  // In use as long as the buckets are the inline ones.
  small_index &index() {
    return *reinterpret_cast<small_index *>(inline_chunk.entries() + inline_chunk.capacity);
  }
  entry **free_list(uint32_t key_length) {
    constexpr size_t in_front = inline_chunk_capacity + small_index::size(small_index::most_places, false);
    return reinterpret_cast<entry **>(inline_chunk.entries() + in_front) + key_length / 8;
  }

  // Whether a walk visits the entry.
  bool visits(entry *e) { return e->value != nullptr || !has(XP_DICT_SKIPNULLS); }
};

// Calls step(entry) for each entry, until it returns nonzero, and returns that result. The next entry is read
// before the call and the table anew at each bucket, so a step may erase its entry, and a step that makes an
// unlocked dictionary grow reaches freed memory nowhere.
template <typename Step>
int64_t walk_all(object *d, Step step) {
  for (uint32_t i = 0; i < d->bucket_count; ++i) {
    entry *next = nullptr;
    for (entry *e = d->buckets[i]; e != nullptr; e = next) {
      next = e->next;
      if (int64_t result = step(e); result != 0) return result;
    }
  }
  return 0;
}

// The same for the entries that walks visit.
template <typename Step>
int64_t walk(object *d, Step step) {
  return walk_all(d, [&](entry *e) { return d->visits(e) ? int64_t{step(e)} : 0; });
}

// How many entries are put in order without memory from the heap.
constexpr uint32_t few_entries = 16;

// Lists the entries that a walk visits, in byte order of the keys, for a dictionary of at most few_entries
// keys. How many there are. Under the lock.
uint32_t order_few(object *d, entry **entries);

extern const ops operations;

// An empty dictionary with the inline buckets and no lock; `capacity` of the inline chunk, the rest for the
// index. Null when memory is exhausted.
object *make_empty(uint32_t flags, uint32_t capacity, uint32_t places, bool near);

// The duplicate operation. Null when memory is exhausted.
xp_obj *duplicate(object *d, uint32_t flags);

}  // namespace xp::dict

#endif
