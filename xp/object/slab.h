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
constexpr size_t largest = 512;

// A block of at least `size` bytes, 1 to `largest`, which are not zeroed. Null when memory is exhausted, when
// the size is out of range, and always under valgrind: the caller then turns to the heap.
void *take(size_t size);

// Whether the block is one of take, by its address.
inline bool owns(const void *block) {
  return (reinterpret_cast<uintptr_t>(block) & 15) == 8;
}

// Gives a block of take back.
void give(void *block);

// Gives the memory of free blocks back to the system, those excepted that other living threads have at hand.
// 1 when there was some, else 0.
int64_t trim();

}  // namespace xp::slab

#endif
