// What connections need of a message beyond ipc/message.h. Internal to this folder.

#ifndef IPC_MESSAGE_IMPL_H
#define IPC_MESSAGE_IMPL_H

#include "xp/object/object.h"

#include <stdint.h>

// The header of a message: what ipc_call appends to a request and a server to a reply.
struct ipc_header {
  uint32_t msgn;  // raw bytes
  uint32_t ptyp;  // raw bytes
  uint32_t ptid;  // raw bytes
};

// "call" of a reply, and of the request that is answered without the handler.
enum : uint32_t {
  IPC_NAME_REPLY = xp_code("@!*%"),
  IPC_NAME_PING = xp_code("IPCP"),
};

// Appends "vers", "msgn", "ptyp" and "ptid" at top level.
int32_t ipc_msg_set_header(xp_obj *m, const ipc_header &header);

// Whether the parameter block is open.
bool ipc_msg_params_open(xp_obj *m);

// One header record at top level: its four bytes, raw; IpcErrBadMessage when it is missing or shorter.
int32_t ipc_msg_get_word(xp_obj *m, uint32_t name, uint32_t *word);

// The records at top level that a call goes by, raw, from one walk: what ipc_msg_get_name and
// ipc_msg_get_word give for each. `found` has a bit for each that is there.
enum : uint32_t {
  IPC_FOUND_NAME = 1,
  IPC_FOUND_VERS = 2,
  IPC_FOUND_MSGN = 4,
  IPC_FOUND_PTYP = 8,
  IPC_FOUND_PTID = 16,
};
struct ipc_words {
  uint32_t name, vers, msgn, ptyp, ptid;
  uint32_t found;
};
ipc_words ipc_msg_get_words(xp_obj *m);

// Empties the message: its getters find nothing, nothing can be written.
void ipc_msg_clear(xp_obj *m);

#endif
