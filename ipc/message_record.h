// The message object. Internal to the message module.

#ifndef IPC_MESSAGE_RECORD_H
#define IPC_MESSAGE_RECORD_H

#include "ipc/ntld_impl.h"
#include "xp/object/type.h"

#include <stdint.h>

struct ipc_msg : xp_obj {
  static constexpr uint32_t code = xp_code("ipcm");
  xp_obj *channel;       // where a reply goes, owned; may be null
  xp_obj *buffer;        // the bytes, owned
  xp_ntld *writer;       // NTLD builder over the buffer, owned
  uint32_t params_open;  // 1 while the parameter block is open
  uint32_t verified;     // length of the message whose parameter block was looked at, 0 for none yet
  uint32_t params_good;  // whether that block may be read; it is there and its children are well formed
};

#endif
