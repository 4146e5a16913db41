// Blocks for small objects, in size classes of 16 bytes. A block costs a few instructions: each thread keeps
// some of every class at hand and trades them with the others by the batch. Safe from any thread; a block may
// be given back by another thread than took it.
//
// Invariants: (1) a slab block lies 8 bytes behind a multiple of 16 and a heap block on one, so the address
// alone tells them apart; (2) what a thread has at hand passes to the next thread when it ends: request
// threads come and go, and blocks must not go with them; (3) a block that was given back holds what its last
// owner left there, two words of links excepted: secret text is wiped by its owner.

#ifndef XP_OBJECT_SLAB_H
#define XP_OBJECT_SLAB_H

#include <stddef.h>
#include <stdint.h>

namespace xp::slab {

// Under a sanitizer every object is a heap block of its own, so that a stray access is seen. The functions
// below work there too, for their test.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool in_use = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
constexpr bool in_use = false;
#else
constexpr bool in_use = true;
#endif
#else
constexpr bool in_use = true;
#endif

// The largest block.
constexpr size_t largest = 1024;

constexpr size_t grain = 16;
constexpr size_t class_count = largest / grain;
constexpr size_t chunk_size = 65536;  // a chunk lies on a multiple of its size and begins with its class
constexpr int64_t batch_size = 32;

// The start of a free block. The first of a batch in a depot also leads to the next one and counts its own.
struct block {
  block *next;
  block *next_batch;
  int64_t count;
};

constexpr size_t smallest = 32;
static_assert(sizeof(block) <= smallest);

struct batch {
  block *first;
  int64_t count;
};

// A thread's blocks of one class.
struct hand {
  batch open;   // taken from and given to
  batch spare;  // empty or full
};

struct hands {
  hand of_class[class_count];
  hands *next;  // among those of ended threads
};

extern constinit thread_local hands *mine;

constexpr size_t class_of(size_t size) {
  return (size < smallest ? smallest - 1 : size - 1) / grain;
}

// What take and give do when the thread's open batch is empty, full, or there is none.
void *take_slowly(size_t of_class);
void give_slowly(block *b, size_t of_class);

// A block of at least `size` bytes, 1 to `largest`, which are not zeroed. Null when memory is exhausted, when
// the size is out of range, and always under valgrind: the caller then turns to the heap.
inline void *take(size_t size) {
  if (size - 1 >= largest) return nullptr;
  const size_t of_class = class_of(size);
  hands *held = mine;
  if (held == nullptr) return take_slowly(of_class);
  batch &open = held->of_class[of_class].open;
  block *b = open.first;
  if (open.count == 0) return take_slowly(of_class);
  open.first = b->next;
  --open.count;
  // The next taker reads and writes there; in a large heap it would wait for memory.
  __builtin_prefetch(open.first, 1);
  return b;
}

// Whether the block is one of take, by its address.
inline bool owns(const void *block) {
  return (reinterpret_cast<uintptr_t>(block) & 15) == 8;
}

// Gives a block of take back.
inline void give(void *given) {
  auto *b = static_cast<block *>(given);
  const size_t of_class =
      *reinterpret_cast<size_t *>(reinterpret_cast<uintptr_t>(b) & ~(uintptr_t{chunk_size} - 1));
  hands *held = mine;
  if (held == nullptr) return give_slowly(b, of_class);
  batch &open = held->of_class[of_class].open;
  if (open.count == batch_size) return give_slowly(b, of_class);
  b->next = open.first;
  open.first = b;
  ++open.count;
}

// Gives the memory of free blocks back to the system, those excepted that other living threads have at hand.
// 1 when there was some, else 0.
int64_t trim();

}  // namespace xp::slab

#endif
