#include "ipc/errors.h"
#include "ipc/message_port.h"
#include "xp/object/ref.h"
#include "xp/service/system_root.h"
#include "xp/string/string.h"

#include <sys/stat.h>

// Message services on Linux. Looking one up tells a system without services, where waiting is pointless, from
// one whose service is not up yet. Nothing offers a service in this folder so far, so none is ever found, and
// the two other verbs have nothing to act on: they answer that there is no such peer.

namespace {

// Where services would be: one local socket for each session, named as the service.
constexpr char service_folder[] = "/run/com.brindle.services";

ipc_port_found look_up(const char * /*service*/, uint32_t *port) {
  *port = 0;
  xp::ref folder = xp::ref::adopt(xp_root_path(service_folder));
  if (!folder) return IPC_PORT_FAILED;
  struct stat status;
  bool there = lstat(xp_str_getptr(folder.get()), &status) == 0 && S_ISDIR(status.st_mode);
  return there ? IPC_PORT_UNKNOWN : IPC_PORT_NO_FACILITY;
}

int32_t exchange(uint32_t /*port*/, const uint8_t * /*message*/, uint32_t /*length*/, int32_t /*send_msecs*/,
                 uint8_t * /*reply*/, uint32_t /*room*/) {
  return IpcErrNotConnected;
}

void close_port(uint32_t /*port*/) {}

constexpr ipc_message_port linux_port = {.look_up = look_up, .exchange = exchange, .close = close_port};

}  // namespace

const ipc_message_port *ipc_port_platform() {
  return &linux_port;
}
