#include "ipc/channel_record.h"
#include "ipc/clock.h"
#include "ipc/errno_code.h"
#include "ipc/errors.h"
#include "ipc/message_port.h"
#include "ipc/service_socket.h"
#include "xp/service/file_descriptor.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

// Message ports on Linux: a handle is a connected sequenced-packet socket. It waits in one place alone, where
// the reply is received; everything else asks not to wait.

namespace {

uint32_t handle_of(int socket) {
  return static_cast<uint32_t>(socket) + 1;
}

int socket_of(uint32_t port) {
  return static_cast<int>(port) - 1;
}

// --- Looking up ---

// What opening or connecting to a service's file says with an errno. A file whose server is gone refuses; a
// server whose queue is full says so at once, since nothing here waits.
ipc_port_found found_by(int error) {
  switch (error) {
    case ENOENT:
    case ECONNREFUSED: return IPC_PORT_UNKNOWN;
    case EAGAIN: return IPC_PORT_BUSY;
    default: return IPC_PORT_FAILED;
  }
}

// Opens a service's file as a place; -1 when there is no socket. A link is opened itself and is none.
int open_file(int folder, const char *service, ipc_port_found *found) {
  int file = openat(folder, service, O_PATH | O_NOFOLLOW | O_CLOEXEC);
  *found = file < 0 ? found_by(errno) : IPC_PORT_UNKNOWN;
  struct stat status;
  if (file < 0 || (fstat(file, &status) == 0 && S_ISSOCK(status.st_mode))) return file;
  close(file);
  return -1;
}

ipc_port_found connect_socket(int socket, int file) {
  if (!ipcc_pollable(socket)) return IPC_PORT_FAILED;
  sockaddr_un address = ipc_service_address(file, nullptr);
  while (connect(socket, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
    if (errno != EINTR) return found_by(errno);
  }
  if (!ipc_service_peer_trusted(socket)) return IPC_PORT_UNKNOWN;
  return fcntl(socket, F_SETFL, 0) == 0 ? IPC_PORT_FOUND : IPC_PORT_FAILED;
}

ipc_port_found look_up(const char *service, uint32_t *port) {
  *port = 0;
  ipc_port_found found;
  xp::descriptor folder(ipc_service_folder(&found));
  if (!folder) return found;
  xp::descriptor file(open_file(folder.get(), service, &found));
  if (!file) return found;
  int connected = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (connected < 0) return IPC_PORT_FAILED;
  found = connect_socket(connected, file.get());
  if (found == IPC_PORT_FOUND) {
    *port = handle_of(connected);
  } else {
    close(connected);
  }
  return found;
}

void close_port(uint32_t port) {
  if (port != 0) close(socket_of(port));
}

// --- Exchanging ---

// A reply belongs to the exchange that waited for it: what a server sent beyond that is dropped, packets
// without a byte included, which look like the end. Their number is limited by what the kernel keeps for a
// socket, and here by what a server that never stops may cost.
void drop_late_replies(int socket) {
  uint8_t byte;
  for (int left = 64; left > 0 && recv(socket, &byte, sizeof byte, MSG_DONTWAIT) >= 0; --left) {
  }
}

// Waits until the socket can be written to, for msecs ms or without limit (-1), or a signal arrives.
void wait_writable(int socket, int32_t msecs) {
  pollfd waiting = {.fd = socket, .events = POLLOUT, .revents = 0};
  poll(&waiting, 1, msecs);
}

// The time left of a limit, rounded up; the clock decides whether the limit has passed.
int32_t left_of(uint32_t start, int32_t limit) {
  if (limit == -1) return -1;
  auto passed = static_cast<int32_t>(ipc_time_diff(start, ipc_time_msecs()));
  return std::max(limit - passed, 0) + 1;
}

// A packet goes as a whole or not at all. The largest requests are above what a socket takes at first; where
// the system's limit is lower than they are, they fail.
int32_t send_packet(int socket, const uint8_t *packet, uint32_t size, int32_t msecs) {
  uint32_t start = ipc_time_msecs();
  for (bool widened = false; send(socket, packet, size, MSG_NOSIGNAL | MSG_DONTWAIT) < 0;) {
    if (errno == EMSGSIZE && !widened) {
      int room = static_cast<int>(size);  // the kernel doubles it for its own bookkeeping
      setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
      widened = true;
      continue;
    }
    if (errno != EAGAIN && errno != EINTR) return ipc_errno_code(ipc_failed::transfer, errno);
    if (ipc_time_expired(start, msecs)) return IpcErrTimeout;
    wait_writable(socket, left_of(start, msecs));
  }
  return 0;
}

// Deliberate: there is no limit, since the deadline covers handing the request over. A server that works for
// minutes has acted on the request, and its answer is worth more than a timeout. One that dies ends the wait.
int32_t receive_packet(int socket, uint8_t *packet) {
  ssize_t count;
  do {
    // With the flag the count is the packet's own size, also when that is above the room.
    count = recv(socket, packet, IPC_PORT_MESSAGE_LIMIT, MSG_TRUNC);
  } while (count < 0 && errno == EINTR);
  if (count < 0) return ipc_errno_code(ipc_failed::transfer, errno);
  if (count == 0) return IpcErrNotConnected;
  if (count > ssize_t{IPC_PORT_MESSAGE_LIMIT}) return IpcErrNoMemory;
  return ipc_service_sealed(packet, count, IPC_SERVICE_REPLY) ? static_cast<int32_t>(count)
                                                              : IpcErrBadMessage;
}

int32_t exchange(uint32_t port, uint8_t *message, uint32_t size, int32_t send_msecs) {
  int socket = socket_of(port);
  drop_late_replies(socket);
  ipc_service_seal(message, size, IPC_SERVICE_REQUEST);
  int32_t error = send_packet(socket, message, size, send_msecs);
  return error != 0 ? error : receive_packet(socket, message);
}

constexpr ipc_message_port linux_port = {.look_up = look_up, .exchange = exchange, .close = close_port};

}  // namespace

const ipc_message_port *ipc_port_platform() {
  return &linux_port;
}
