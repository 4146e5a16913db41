#include "ipc/channel.h"

#include "ipc/channel_impl.h"
#include "ipc/channel_record.h"
#include "ipc/clock.h"
#include "ipc/errno_code.h"
#include "ipc/errors.h"
#include "ipc/mbuf.h"
#include "xp/array/list.h"
#include "xp/object/ref.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

// Making and ending channels. Moving messages is channel_transfer.cpp, polling groups channel_group.cpp.

namespace {

constexpr int backlog = 5;

constexpr xp::ops channel_ops = {.retain = xp_obj_retain,
                                 .release = ipc_com_release,
                                 .compare = nullptr,
                                 .textify = nullptr,
                                 .control = nullptr};

int open_spare() {
  return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

ipc_com *new_channel(int32_t descriptor) {
  auto *c = xp::make<ipc_com>(channel_ops);
  if (c == nullptr) return nullptr;
  c->descriptor = descriptor;
  c->spare = -1;
  return c;
}

bool set_nonblocking(int descriptor) {
  int flags = fcntl(descriptor, F_GETFL);
  return flags >= 0 && fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) == 0;
}

// Gives the channel a group with one member; the code when it cannot be had.
int32_t set_group(ipc_com *c, xp_obj *member) {
  xp::ref group = xp::ref::adopt(ipc_com_grp_alloc());
  auto *g = xp::as<ipc_group>(group.get());
  if (g == nullptr) return IpcErrNoMemory;
  if (!ipcc_pollable(g->wake) || xp_list_append(g->members, member) == 0) return IpcErrSystem;
  xp::ref old = xp::ref::adopt(c->group);
  c->group = group.leak();
  const bool listens = xp::as<ipc_com>(member)->listener != 0;
  xp_release(std::exchange(c->bound, listens ? xp_retain(member) : nullptr));
  return 0;
}

// Makes a member over a descriptor and its group; on failure the descriptor stays the caller's.
int32_t wrap(xp_obj *obj, int32_t descriptor) {
  auto *c = xp::as<ipc_com>(obj);
  if (c == nullptr) return IpcErrBadState;
  if (!ipcc_pollable(descriptor) || !set_nonblocking(descriptor)) return IpcErrSystem;
  xp::ref member = xp::ref::adopt(new_channel(descriptor));
  if (!member) return IpcErrNoMemory;
  int32_t error = set_group(c, member.get());
  if (error != 0) xp::as<ipc_com>(member.get())->descriptor = -1;
  return error;
}

// The kernel interrupts no connect that does not wait; a tracer may.
int connect_to(int descriptor, const sockaddr_un &address) {
  int result;
  do {
    result = connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address);
  } while (result != 0 && errno == EINTR);
  return result;
}

int new_socket() {
  return socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

// Makes the listening socket and its file; the member then owns both.
int32_t listen_on(ipc_com *member, uint32_t code, uint32_t session) {
  int32_t directory = ipcc_directory_prepare(ipcc_directory());
  if (directory < 0) return directory;
  ipcc_path path = ipcc_path_of(code, session);
  member->descriptor = new_socket();
  int32_t error = member->descriptor < 0 ? ipc_errno_code(ipc_failed::bind, errno) : 0;
  if (error == 0) error = ipcc_file_bind(directory, member->descriptor, path.text, &member->inode);
  if (error == 0) {
    memcpy(member->path, path.text, sizeof path.text);
    if (listen(member->descriptor, backlog) != 0) error = ipc_errno_code(ipc_failed::bind, errno);
  }
  close(directory);
  return error;
}

// Accepts one connection. When the process has no descriptor left the spare one is given up, so that the
// client is accepted, turned away at once and does not keep the listener ready for ever. A client that cannot
// even be turned away does keep it ready: the pause leaves the processor to others until that has changed.
int accept_one(ipc_com *listener) {
  int descriptor = -1;
  do {
    descriptor = accept4(listener->descriptor, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor >= 0 || errno == EAGAIN) return descriptor;
  int refused = -1;
  if (errno == EMFILE || errno == ENFILE) {
    if (listener->spare >= 0) close(listener->spare);
    refused = accept4(listener->descriptor, nullptr, nullptr, SOCK_CLOEXEC);
    if (refused >= 0) close(refused);
    listener->spare = open_spare();
  }
  if (refused < 0) ipc_sleep(1);
  return -1;
}

}  // namespace

uint32_t ipc_com_type() {
  return ipc_com::code;
}

xp_obj *ipc_com_alloc() {
  return new_channel(-1);
}

void ipc_com_release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  auto *c = static_cast<ipc_com *>(obj);
  xp_release(c->group);
  xp_release(c->bound);
  // The name goes first: as long as the socket is open no successor's file can have its inode.
  if (c->path[0] != 0) ipcc_file_unlink(c->path, c->inode);
  if (c->descriptor >= 0) close(c->descriptor);
  if (c->spare >= 0) close(c->spare);
  xp_release(c->pending);
  xp_release(c->receive);
  xp::destroy(c);
}

int32_t ipc_com_bind(xp_obj *obj, uint32_t code, uint32_t session) {
  auto *c = xp::as<ipc_com>(obj);
  if (c == nullptr) return IpcErrBadState;
  // A failure ends the member, which closes its socket and unlinks its file.
  xp::ref member = xp::ref::adopt(new_channel(-1));
  auto *listener = xp::as<ipc_com>(member.get());
  if (listener == nullptr) return IpcErrSystem;
  int32_t error = listen_on(listener, code, session);
  if (error != 0) return error;
  if (!ipcc_pollable(listener->descriptor)) return IpcErrSystem;
  listener->listener = 1;
  listener->spare = open_spare();
  return set_group(c, listener);
}

void ipcc_withdraw(xp_obj *obj) {
  const auto *c = xp::as<ipc_com>(obj);
  const auto *listener = xp::as<ipc_com>(c == nullptr ? nullptr : c->bound);
  if (listener != nullptr) ipcc_file_unlink(listener->path, listener->inode);
}

int32_t ipc_com_bind_to(xp_obj *c, uint32_t /*code*/, uint32_t /*session*/, int32_t descriptor) {
  return wrap(c, descriptor);
}

int32_t ipc_com_connect_to(xp_obj *c, uint32_t /*code*/, uint32_t /*session*/, int32_t descriptor) {
  return wrap(c, descriptor);
}

int32_t ipc_com_connect(xp_obj *c, uint32_t code, uint32_t session) {
  ipcc_retry retry;
  return ipcc_connect(c, code, session, &retry);
}

int32_t ipcc_connect(xp_obj *c, uint32_t code, uint32_t session, ipcc_retry *retry) {
  *retry = ipcc_retry::later;
  sockaddr_un address;
  if (!ipcc_address_of(ipcc_path_of(code, session).text, &address)) return IpcErrSystem;
  int descriptor = new_socket();
  if (descriptor < 0) return ipc_errno_code(ipc_failed::connect, errno);
  int32_t error = 0;
  if (!ipcc_pollable(descriptor)) {
    *retry = ipcc_retry::never;
    error = IpcErrSystem;
  } else if (connect_to(descriptor, address) != 0) {
    if (errno == EAGAIN) *retry = ipcc_retry::soon;
    error = ipc_errno_code(ipc_failed::connect, errno);
  } else {
    error = wrap(c, descriptor);
    if (error != 0) *retry = ipcc_retry::never;
  }
  if (error != 0) close(descriptor);
  return error;
}

xp_obj *ipc_com_accept(xp_obj *obj) {
  auto *listener = xp::as<ipc_com>(obj);
  if (listener == nullptr || listener->pending != nullptr) return nullptr;
  int descriptor = accept_one(listener);
  if (descriptor < 0) return nullptr;
  ipc_com *member = ipcc_pollable(descriptor) ? new_channel(descriptor) : nullptr;
  if (member == nullptr) close(descriptor);
  return member;
}

int32_t ipc_com_peer(xp_obj *c, uint32_t *uid) {
  xp::ref first = xp::ref::adopt(ipcc_first(c));
  auto *member = xp::as<ipc_com>(first.get());
  if (member == nullptr || member->descriptor < 0 || uid == nullptr) return IpcErrNotConnected;
  ucred peer{};
  socklen_t size = sizeof peer;
  if (getsockopt(member->descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
    return ipc_errno_code(ipc_failed::other, errno);
  }
  // A peer that the kernel knows nothing of has the user number -1.
  if (peer.uid == static_cast<uid_t>(-1)) return IpcErrSystem;
  *uid = peer.uid;
  return 0;
}
