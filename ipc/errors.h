// Results of the IPC library: 0 or a positive count, else one of these codes. The only module that turns
// an errno into one is ipc/errno_code.cpp; everything above it speaks this set.

#ifndef IPC_ERRORS_H
#define IPC_ERRORS_H

#include <stdint.h>

enum : int32_t {
  IpcErrWouldBlock =
      -2561,               // nothing ready yet, a send still in progress, or a deadline passed while sending
  IpcErrNoMemory = -2562,  // no object or buffer; a received message larger than its destination
  IpcErrNotConnected = -2563,  // the peer closed the stream, broken pipe, or no connection to ping
  IpcErrTimeout = -2564,       // a connect or call deadline passed
  IpcErrBadMessage =
      -2565,             // parameter missing, message in the wrong building state or full, bad request header
  IpcErrSystem = -2566,  // a system call failed
  IpcErrBadState = -2567,    // bad argument, connection in the wrong state, or a reply that does not match
  IpcErrNoThread = -2568,    // the receive thread could not be started
  IpcErrPermission = -2569,  // connecting was refused for lack of permission
};

#endif
