// The one place where an errno becomes a code of ipc/errors.h. Internal to this folder.

#ifndef IPC_ERRNO_CODE_H
#define IPC_ERRNO_CODE_H

#include <stdint.h>

// What failed: the same errno means different things to different callers.
enum class ipc_failed {
  bind,      // opening, binding or listening on a socket
  connect,   // opening or connecting a socket
  transfer,  // reading or writing a stream
  other,
};

int32_t ipc_errno_code(ipc_failed operation, int error);

#endif
