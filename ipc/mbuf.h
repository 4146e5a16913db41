// Message buffers ("ipcb"): one block with its bookkeeping in front of the bytes. Data lies between start
// (the first byte not consumed yet) and end. For one thread at a time.
//  1. 0 <= start <= end <= capacity.
//  2. The bytes of a new buffer are arbitrary: blocks of the standard size are kept and used again.

#ifndef IPC_MBUF_H
#define IPC_MBUF_H

#include "xp/object/object.h"

#include <stdint.h>

enum : int64_t {
  IPC_MBUF_STANDARD = 262144,           // what every message and every receiving channel asks for
  IPC_MBUF_STANDARD_CAPACITY = 266168,  // what it gets: the object fills whole pages
};

// "ipcb"
uint32_t ipc_mbuf_type();

// A new empty buffer. A capacity that is a multiple of 4096 is raised by 4024, so that the object fills whole
// pages. Null when memory is exhausted or the capacity is negative.
xp_obj *ipc_mbuf_alloc(int64_t capacity);

// The first byte not consumed; the bytes from there to the end; the room from there to the capacity.
uint8_t *ipc_mbuf_getptr(xp_obj *b);
int64_t ipc_mbuf_getlen(xp_obj *b);
int64_t ipc_mbuf_getmax(xp_obj *b);

// Replaces the content by min(capacity, n) bytes of `src`, which may be the buffer's own bytes; the number
// taken.
int64_t ipc_mbuf_set(xp_obj *b, const void *src, int64_t n);

// Puts the end n bytes behind the start, at most at the capacity; the new length.
int64_t ipc_mbuf_setlen(xp_obj *b, int64_t n);

// Drops n bytes at the start, at most all; the bytes left.
int64_t ipc_mbuf_consume(xp_obj *b, int64_t n);

// Makes consumed bytes readable again.
void ipc_mbuf_rewind(xp_obj *b);

#endif
