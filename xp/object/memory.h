// Heap blocks of the runtime. Every allocation of the runtime and of the IPC library goes through these
// functions; exhaustion gives null, never a throw or an abort. Safe from any thread.

#ifndef XP_OBJECT_MEMORY_H
#define XP_OBJECT_MEMORY_H

#include <stddef.h>
#include <stdint.h>

// A zeroed block of `size` bytes, or null.
void *xp_alloc(size_t size);

// Resizes `block`; a null block gives a zeroed one. The grown part is not zeroed.
// Deliberate: on failure the old block is freed and null returned, so a caller never frees after a failed
// resize.
void *xp_realloc(void *block, size_t size);

namespace xp {

// A block of `size` bytes that are not zeroed, or null. For xp_free; above 1,024 bytes for xp_realloc, too.
void *block_unzeroed(size_t size);

}  // namespace xp

// Free a block made by xp_alloc, xp_realloc or xp_new; null is ignored. Both names do the same.
void xp_free(void *block);
void xp_delete(void *block);

// `buffer` itself, zeroed, when `size` fits into `buffer_size` bytes; otherwise a zeroed heap block, or null.
// `ignored` has no meaning.
void *xp_alloc_fast(size_t size, int64_t ignored, void *buffer, size_t buffer_size);

// Frees a block of xp_alloc_fast unless it is null or the caller's own `buffer`.
void xp_free_fast(void *block, void *buffer);

// A zeroed block of `size` bytes on a multiple of `alignment`, a power of two: 0 means 16, more than 256 is
// cut to 256. The block always has at least one byte in front of it, which holds the distance to the real
// block less 1. Only xp_free_aligned may free it.
void *xp_alloc_aligned(size_t size, size_t alignment);
void xp_free_aligned(void *block);

// The C library's memory functions under the runtime's names. Null pointers are fine when `size` is 0.
void *xp_memcpy(void *to, const void *from, size_t size);
void *xp_memmov(void *to, const void *from, size_t size);
void *xp_memset(void *to, int value, size_t size);
void *xp_memclr(void *to, size_t size);
int xp_memcmp(const void *a, const void *b, size_t size);

#endif
