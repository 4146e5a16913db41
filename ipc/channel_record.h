// The channel and group objects. Internal to the channel module.

#ifndef IPC_CHANNEL_RECORD_H
#define IPC_CHANNEL_RECORD_H

#include "ipc/channel_impl.h"
#include "ipc/socket_file.h"
#include "xp/object/type.h"

#include <stdint.h>
#include <sys/select.h>

struct ipc_com : xp_obj {
  static constexpr uint32_t code = xp_code("ipcc");
  int32_t descriptor;             // -1 when none
  char path[IPCC_PATH_KEPT + 1];  // socket file that this listener made; empty for every other channel
  uint64_t inode;                 // of that file: a successor's is left alone
  xp_obj *pending;                // buffer being sent, owned; null when none
  xp_obj *receive;                // buffer in which a message is put together, owned; null between messages
  uint32_t listener;              // 1 for a listening socket
  int32_t spare;                  // a listener's descriptor kept for hard times, -1 when none
  xp_obj *group;                  // of the outer channel of an endpoint, owned; null for a member
  xp_obj *bound;                  // of the outer channel of a server, owned: the listener in its group
};

struct ipc_group : xp_obj {
  static constexpr uint32_t code = xp_code("ipcg");
  xp_obj *members;  // list of channels, owned
  xp_obj *cursor;   // traversal of the members, where the next receive goes on; owned
  xp_obj *scan;     // traversal of the members for polls; owned
  int32_t wait;     // ms a poll waits, -1 without limit; touched through std::atomic_ref
  int32_t wake;     // event descriptor: both ends of the pipe that interrupts polls
  int32_t left;     // ready members of the last poll that no walk has served yet, the wake descriptor counted
  int32_t midway;   // 1 when the cursor stands behind a member that delivered a message
  fd_set read_ready;
  fd_set write_ready;
};

// One receive on a member that is ready.
int32_t ipcc_member_recv(ipc_com *member, ipcc_place *place);

// One write of a member's pending buffer.
int32_t ipcc_member_try_send(ipc_com *member);

// Whether the descriptor can be polled at all.
inline bool ipcc_pollable(int32_t descriptor) {
  return descriptor >= 0 && descriptor < FD_SETSIZE;
}

// The first member of a channel's group as a new reference; the channel itself when it has no group or no
// members.
xp_obj *ipcc_first(xp_obj *c);

#endif
