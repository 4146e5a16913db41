#include "ipc/message_port.h"

#include <stdio.h>

#include <atomic>

static std::atomic<const ipc_message_port *> in_place;

const ipc_message_port *ipc_port() {
  const ipc_message_port *port = in_place.load(std::memory_order_acquire);
  return port != nullptr ? port : ipc_port_platform();
}

void ipc_port_use(const ipc_message_port *port) {
  in_place.store(port, std::memory_order_release);
}

void ipc_port_service_name(uint32_t session, char (&name)[IPC_PORT_NAME_LIMIT]) {
  snprintf(name, sizeof name, "com.brindle.hxapi.ipc-%08X", __builtin_bswap32(session));
}
