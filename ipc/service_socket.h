// The sockets of message services on Linux, for both of their ends. A service is a local sequenced-packet
// socket named as the service, in a folder below the root of the client's files. One packet is one message: a
// request, then its reply. Internal to message ports and to the programs that offer a service.
//
// A folder counts when root or we own it and nobody else may write in it; a server counts when it runs as
// root or as us. What else stands there is taken for no service: its requests would go to a stranger.
//
//   offset  bytes
//   0       4      kind: a request that wants one reply, or a reply
//   4       4      size of the packet, this header included
//   8       16     zero: whom it is for and where the reply goes is known from the socket
//   24      4      carry nothing
//   28             the message (ipc/message.h) and zero bytes up to a multiple of 4
//
// Numbers are big-endian. A reply that ends with its header says that the request gets no answer.

#ifndef IPC_SERVICE_SOCKET_H
#define IPC_SERVICE_SOCKET_H

#include "ipc/message_port.h"

#include <stdint.h>
#include <sys/un.h>

inline constexpr char ipc_service_folder_path[] = "/run/com.brindle.services";

enum ipc_service_kind : uint32_t {
  IPC_SERVICE_REQUEST = 0x1513,
  IPC_SERVICE_REPLY = 0x0012,
};

// The folder, open as a place (O_PATH) and owned by the caller, and IPC_PORT_FOUND. Otherwise -1 and what a
// look-up in it would find.
int ipc_service_folder(ipc_port_found *found);

// The address of an open socket file, or of the file `name` in an open folder. Such an address is short
// however deep the folder lies, and means the very file that was looked at.
sockaddr_un ipc_service_address(int descriptor, const char *name);

// Whether the user at the other end of a connected socket is root or us.
bool ipc_service_peer_trusted(int socket);

// Writes the header of a packet of `size` bytes.
void ipc_service_seal(uint8_t *packet, uint32_t size, ipc_service_kind kind);

// Whether a received packet of `size` bytes has the header of its kind and size.
bool ipc_service_sealed(const uint8_t *packet, int64_t size, ipc_service_kind kind);

#endif
