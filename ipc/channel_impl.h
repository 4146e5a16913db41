// What this folder needs of a channel beyond ipc/channel.h.

#ifndef IPC_CHANNEL_IMPL_H
#define IPC_CHANNEL_IMPL_H

#include "xp/object/object.h"

#include <stdint.h>

// What a failed connect suggests to whoever tries again.
enum class ipcc_retry {
  later,  // the server is not there (yet)
  soon,   // it is there, its queue is full
  never,  // our own descriptors are at their end
};

// Where a received message goes.
struct ipcc_place {
  xp_obj *buffer;  // the caller's reference
  bool exchange;   // in: the message may come in another standard buffer, for which `buffer` was given
  bool moved;      // out: bytes came in, though perhaps no whole message
};

// ipc_com_recv that may exchange the buffer and tells more.
int32_t ipcc_recv(xp_obj *c, ipcc_place *place, xp_obj **from);

// ipc_com_connect that tells more.
int32_t ipcc_connect(xp_obj *c, uint32_t code, uint32_t session, ipcc_retry *retry);

// Takes a server's socket file away before its channel ends, also while another thread polls the channel.
void ipcc_withdraw(xp_obj *c);

// The pause after IpcErrWouldBlock: at most 1 ms, less when the first member is ready to be written to, or
// read from.
void ipcc_pause(xp_obj *c, bool write);

#endif
