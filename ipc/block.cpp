#include "ipc/block.h"

#include "xp/object/memory.h"

#include <sys/mman.h>

#include <atomic>

// Two facts stand behind this file. Zeroing a block of 260 KB costs several times as much as a call that uses
// its first page. And the C library stops mapping blocks of this size once one was freed: from then on it
// zeroes them by hand, and each buffer becomes resident as a whole.

#if defined(__SANITIZE_ADDRESS__)
#define IPC_BLOCK_PLAIN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
#define IPC_BLOCK_PLAIN 1
#endif
#endif

#ifdef IPC_BLOCK_PLAIN

// Under a sanitizer of memory every block is the allocator's, so that a stray access is seen. The one of
// threads looks at the kept blocks below, whose owners follow each other.
void *ipc_block_take() {
  return xp_alloc(ipc_block_size);
}

void ipc_block_give(void *block) {
  xp_free(block);
}

#else

// Kept blocks, one to a slot: taken by exchange and given by compare-and-exchange, so nobody reads a block's
// memory that another thread may have freed. For the whole process and not for each thread: requests run on
// threads of their own that make one call and end.
static std::atomic<void *> kept[8];

void *ipc_block_take() {
  for (std::atomic<void *> &slot : kept) {
    if (slot.load(std::memory_order_relaxed) == nullptr) continue;
    // Acquire: what the last owner did with the block comes before what the new one does.
    if (void *block = slot.exchange(nullptr, std::memory_order_acquire)) return block;
  }
  void *block = mmap(nullptr, ipc_block_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return block == MAP_FAILED ? nullptr : block;
}

void ipc_block_give(void *block) {
  if (block == nullptr) return;
  for (std::atomic<void *> &slot : kept) {
    void *empty = nullptr;
    if (slot.load(std::memory_order_relaxed) != nullptr) continue;
    // Release: see ipc_block_take.
    if (slot.compare_exchange_strong(empty, block, std::memory_order_release, std::memory_order_relaxed))
      return;
  }
  munmap(block, ipc_block_size);
}

#endif
