// The connection object. Internal to the connection module.

#ifndef IPC_CONNECTION_RECORD_H
#define IPC_CONNECTION_RECORD_H

#include "ipc/connection.h"
#include "xp/object/type.h"

#include <stdint.h>

#include <atomic>

enum ipc_state : uint32_t {
  IPC_STATE_IDLE = 0,
  IPC_STATE_STREAM = 1,
  IPC_STATE_RECEIVING = 2,
  IPC_STATE_PORT = 3,
};

// The fields that a server's thread and a closing thread both touch go through ipc_shared.
struct ipc_conn : xp_obj {
  static constexpr uint32_t code = xp_code("ipch");
  uint32_t endpoint;    // a server's code; what a client sends as "ptyp"
  uint32_t session;     // bytes in big-endian order
  uint32_t mode;        // IPC_MODE_*; shared
  uint32_t state;       // ipc_state; shared
  ipc_handler handler;  // of a server
  void *context;        // passed to the handler
  int32_t timeout;      // ms, -1 without limit; shared
  xp_obj *channel;      // owned; null when idle; shared
  uint32_t port;        // message-port handle in state 3, else 0; shared
  xp_obj *buffer;       // a server's receive buffer, owned; made by the first poll
  uint32_t sequence;    // number of the next request
  uint32_t run;         // 1 while the receiving thread is to go on; shared
  xp_obj *thread;       // the receiving thread, owned; null when there is none
  xp_obj *served;       // the channel that the thread serves, the thread's own reference
  uint32_t orphaned;    // 1 when the handler ended the connection: its thread frees it
};

template <typename T>
std::atomic_ref<T> ipc_shared(T &field) {
  return std::atomic_ref<T>(field);
}

// Ends a server's thread and waits for it. Not for the thread itself.
void ipc_conn_stop(ipc_conn *c);

// Whether the connection is idle and may be put to use; a thread that served it before has ended then.
bool ipc_conn_ready(ipc_conn *c);

// Whether the calling thread is the connection's receiving thread.
bool ipc_conn_is_own_thread(const ipc_conn *c);

// Frees what is left of a connection that nobody refers to.
void ipc_conn_destroy(ipc_conn *c);

#endif
