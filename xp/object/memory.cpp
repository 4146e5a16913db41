#include "xp/object/memory.h"

#include "xp/object/memory_hook.h"
#include "xp/object/slab.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

namespace {

constexpr size_t default_alignment = 16;
constexpr size_t largest_alignment = 256;  // the distance less 1 has to fit into one byte

bool may_have(size_t size) {
  return xp::allocation_allowed() && size <= PTRDIFF_MAX;
}

}  // namespace

void *xp_alloc(size_t size) {
  void *block = may_have(size) ? calloc(1, size) : nullptr;
  if (block != nullptr) xp::count_block_taken();
  return block;
}

void *xp::block_unzeroed(size_t size) {
  if (!may_have(size)) return nullptr;
  void *block = xp::slab::in_use ? xp::slab::take(size) : nullptr;
  if (block == nullptr) block = malloc(size);
  if (block != nullptr) xp::count_block_taken();
  return block;
}

void *xp_realloc(void *block, size_t size) {
  if (block == nullptr) return xp_alloc(size);
  // The C library may free the block when asked for no bytes at all; one byte keeps null the sign of failure
  // alone.
  void *resized = may_have(size) ? realloc(block, size == 0 ? 1 : size) : nullptr;
  if (resized == nullptr) xp_free(block);
  return resized;
}

void xp_free(void *block) {
  if (block == nullptr) return;
  xp::count_block_given();
  if (xp::slab::in_use && xp::slab::owns(block)) return xp::slab::give(block);
  free(block);
}

void xp_delete(void *block) {
  xp_free(block);
}

void *xp_alloc_fast(size_t size, int64_t /*ignored*/, void *buffer, size_t buffer_size) {
  if (buffer == nullptr || size > buffer_size) return xp_alloc(size);
  return xp_memclr(buffer, size);
}

void xp_free_fast(void *block, void *buffer) {
  if (block != buffer) xp_free(block);
}

void *xp_alloc_aligned(size_t size, size_t alignment) {
  if (alignment == 0) alignment = default_alignment;
  if (alignment > largest_alignment) alignment = largest_alignment;
  if (size > PTRDIFF_MAX - alignment) return nullptr;
  auto *block = static_cast<unsigned char *>(xp_alloc(size + alignment));
  if (block == nullptr) return nullptr;
  // Deliberate: a block that is aligned already moves forward by a whole alignment, so that there is always a
  // byte in front for the distance.
  size_t distance = alignment - reinterpret_cast<uintptr_t>(block) % alignment;
  block += distance;
  block[-1] = static_cast<unsigned char>(distance - 1);
  return block;
}

void xp_free_aligned(void *block) {
  if (block == nullptr) return;
  auto *aligned = static_cast<unsigned char *>(block);
  xp_free(aligned - 1 - aligned[-1]);
}

void *xp_memcpy(void *to, const void *from, size_t size) {
  return size == 0 ? to : memcpy(to, from, size);
}

void *xp_memmov(void *to, const void *from, size_t size) {
  return size == 0 ? to : memmove(to, from, size);
}

void *xp_memset(void *to, int value, size_t size) {
  return size == 0 ? to : memset(to, value, size);
}

void *xp_memclr(void *to, size_t size) {
  return xp_memset(to, 0, size);
}

int xp_memcmp(const void *a, const void *b, size_t size) {
  return size == 0 ? 0 : memcmp(a, b, size);
}
