#include "ipc/service_socket.h"

#include "xp/object/record.h"
#include "xp/object/ref.h"
#include "xp/service/system_root.h"
#include "xp/string/string.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

enum header_offset : size_t { kind_at = 0, size_at = 4 };

bool is_root_or_us(uid_t user) {
  return user == 0 || user == geteuid();
}

bool is_trusted_folder(int folder) {
  struct stat status;
  return fstat(folder, &status) == 0 && S_ISDIR(status.st_mode) && is_root_or_us(status.st_uid) &&
         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

int ipc_service_folder(ipc_port_found *found) {
  *found = IPC_PORT_FAILED;
  xp::ref path = xp::ref::adopt(xp_root_path(ipc_service_folder_path));
  if (!path) return -1;
  // A link is opened itself and then is no folder.
  int folder = open(xp_str_getptr(path.get()), O_PATH | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0) {
    if (errno == ENOENT || errno == ENOTDIR) *found = IPC_PORT_NO_FACILITY;
    return -1;
  }
  *found = is_trusted_folder(folder) ? IPC_PORT_FOUND : IPC_PORT_UNKNOWN;
  if (*found == IPC_PORT_FOUND) return folder;
  close(folder);
  return -1;
}

sockaddr_un ipc_service_address(int descriptor, const char *name) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d%s%s", descriptor,
           name == nullptr ? "" : "/", name == nullptr ? "" : name);
  return address;
}

bool ipc_service_peer_trusted(int socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && is_root_or_us(peer.uid);
}

void ipc_service_seal(uint8_t *packet, uint32_t size, ipc_service_kind kind) {
  memset(packet, 0, IPC_PORT_MESSAGE_HEADER);
  xp::store_be32(packet + kind_at, kind);
  xp::store_be32(packet + size_at, size);
}

bool ipc_service_sealed(const uint8_t *packet, int64_t size, ipc_service_kind kind) {
  return size >= int64_t{IPC_PORT_MESSAGE_HEADER} && xp::load_be32(packet + kind_at) == kind &&
         xp::load_be32(packet + size_at) == size;
}
