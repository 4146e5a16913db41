// The seam to the system's message services: one service for each login session, looked up by name, which
// takes one message and answers one. The platform's own is ipc_message_port(); tests put another in its
// place.

#ifndef IPC_MESSAGE_PORT_H
#define IPC_MESSAGE_PORT_H

#include <stdint.h>

enum ipc_port_found : int32_t {
  IPC_PORT_FOUND = 0,
  IPC_PORT_UNKNOWN = 1,      // no service of that name yet
  IPC_PORT_NO_FACILITY = 2,  // this system has no message services
  IPC_PORT_FAILED = 3,       // anything else
};

enum : uint32_t {
  IPC_PORT_MESSAGE_LIMIT = 65536,  // a reply's size with its header, in bytes
  IPC_PORT_MESSAGE_HEADER = 28,    // what the transport puts before the bytes of a message
};

struct ipc_message_port {
  // Looks a service up by its name; `port` receives a handle above 0 when it is found.
  ipc_port_found (*look_up)(const char *service, uint32_t *port);

  // Hands one message over, within send_msecs (-1: no limit), and waits for the reply without a limit. The
  // reply's length in bytes, at most `room`, or a negative code of ipc/errors.h.
  int32_t (*exchange)(uint32_t port, const uint8_t *message, uint32_t length, int32_t send_msecs,
                      uint8_t *reply, uint32_t room);

  // Gives a handle up.
  void (*close)(uint32_t port);
};

// What connections use: the platform's, or what was put in its place.
const ipc_message_port *ipc_port();

// Puts another in its place, null for the platform's; for tests, before connections are made.
void ipc_port_use(const ipc_message_port *port);

// The platform's, defined beside the platform's code.
const ipc_message_port *ipc_port_platform();

#endif
