// The memory of standard message buffers: blocks of whole pages straight from the kernel, a few of which are
// kept for reuse. Their bytes are arbitrary, and a page that nobody touches costs nothing. Safe from any
// thread. Internal to this folder.

#ifndef IPC_BLOCK_H
#define IPC_BLOCK_H

#include <stddef.h>

inline constexpr size_t ipc_block_size = 266240;  // 65 pages

// A block, or null; and its end. A process keeps at most eight free blocks.
void *ipc_block_take();
void ipc_block_give(void *block);

#endif
