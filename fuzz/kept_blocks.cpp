// In place of ipc/block.cpp under a fuzzer: the same blocks again and again. Mapped anew for each message, as
// the sanitizer's allocator does with blocks of this size, they cost most of an input's time. A block that
// nobody has is out of bounds, and the one given back first is taken first, so that a late access meets it as
// long as possible.

#include "ipc/block.h"
#include "xp/object/memory.h"

#include <sanitizer/asan_interface.h>

#include <mutex>

namespace {

constexpr size_t most = 16;  // one input has fewer

std::mutex guard;
void *kept[most];
size_t first, count;

}  // namespace

void *ipc_block_take() {
  const std::lock_guard lock(guard);
  if (count == 0) return xp_alloc(ipc_block_size);
  void *const block = kept[first];
  first = (first + 1) % most;
  --count;
  ASAN_UNPOISON_MEMORY_REGION(block, ipc_block_size);
  return block;
}

void ipc_block_give(void *block) {
  if (block == nullptr) return;
  const std::lock_guard lock(guard);
  if (count == most) {
    xp_free(block);
    return;
  }
  ASAN_POISON_MEMORY_REGION(block, ipc_block_size);
  kept[(first + count) % most] = block;
  ++count;
}
