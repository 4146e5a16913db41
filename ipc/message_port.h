// The seam to the system's message services: one service for each session, looked up by name, which takes one
// message and answers one. The platform has one; tests put another in its place.
//
// A message is IPC_PORT_MESSAGE_HEADER bytes that are the transport's, then the bytes of an IPC message
// (ipc/message.h), then zero bytes up to a multiple of 4.

#ifndef IPC_MESSAGE_PORT_H
#define IPC_MESSAGE_PORT_H

#include <stdint.h>

enum ipc_port_found : int32_t {
  IPC_PORT_FOUND = 0,
  IPC_PORT_UNKNOWN = 1,      // no service of that name yet, or one that is not to be trusted
  IPC_PORT_NO_FACILITY = 2,  // this system has no message services
  IPC_PORT_FAILED = 3,       // anything else
  IPC_PORT_BUSY = 4,         // the service is there, and its queue of clients is full
};

enum : uint32_t {
  IPC_PORT_MESSAGE_HEADER = 28,    // bytes before the IPC message
  IPC_PORT_MESSAGE_LIMIT = 65536,  // size of a reply, its header included
  IPC_PORT_NAME_LIMIT = 64,        // of a service's name, its zero byte included
};

struct ipc_message_port {
  // Looks a service up by its name, without waiting; `port` receives a handle above 0 when it is found. A
  // service is found only when it runs as root or as our own user.
  ipc_port_found (*look_up)(const char *service, uint32_t *port);

  // Fills the header of the message and hands its `size` bytes over, within send_msecs (-1: no limit). Then
  // waits for the reply, without a limit, and puts it in the message's place, which has room for
  // IPC_PORT_MESSAGE_LIMIT bytes at least. The reply's size, header included, or a negative code of
  // ipc/errors.h.
  int32_t (*exchange)(uint32_t port, uint8_t *message, uint32_t size, int32_t send_msecs);

  // Gives a handle up.
  void (*close)(uint32_t port);
};

// The size of the message that carries an IPC message of `length` bytes.
constexpr int64_t ipc_port_message_size(int64_t length) {
  return (length + IPC_PORT_MESSAGE_HEADER + 3) / 4 * 4;
}

// The name of a session's service. The session number as ipc/session.h has it.
void ipc_port_service_name(uint32_t session, char (&name)[IPC_PORT_NAME_LIMIT]);

// What connections use: the platform's, or what was put in its place.
const ipc_message_port *ipc_port();

// Puts another in its place, null for the platform's; for tests, before connections are made.
void ipc_port_use(const ipc_message_port *port);

// The platform's, defined beside the platform's code.
const ipc_message_port *ipc_port_platform();

#endif
