#include "ipc/channel.h"
#include "ipc/channel_impl.h"
#include "ipc/channel_record.h"
#include "ipc/clock.h"
#include "ipc/errno_code.h"
#include "ipc/errors.h"
#include "ipc/mbuf.h"
#include "ipc/ntld_raw.h"
#include "xp/object/ref.h"

#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <utility>

// Moving messages over members.

namespace {

constexpr int64_t header = XP_NTLD_HEADER;

// write() to a descriptor that is no socket, without the signal that kills a process whose reader has gone.
ssize_t write_without_signal(int descriptor, const uint8_t *bytes, size_t length) {
  sigset_t pipe, old, waiting;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  sigpending(&waiting);
  bool was_waiting = sigismember(&waiting, SIGPIPE) == 1;
  pthread_sigmask(SIG_BLOCK, &pipe, &old);
  ssize_t count = write(descriptor, bytes, length);
  int error = errno;
  if (count < 0 && error == EPIPE && !was_waiting) {
    constexpr timespec at_once = {};
    while (sigtimedwait(&pipe, nullptr, &at_once) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &old, nullptr);
  errno = error;
  return count;
}

ssize_t write_some(int descriptor, const uint8_t *bytes, int64_t length) {
  auto size = static_cast<size_t>(length);
  for (;;) {
    ssize_t count = send(descriptor, bytes, size, MSG_NOSIGNAL);
    if (count < 0 && errno == ENOTSOCK) count = write_without_signal(descriptor, bytes, size);
    if (count >= 0 || errno != EINTR) return count;
  }
}

void drop_pending(ipc_com *c) {
  xp_release(std::exchange(c->pending, nullptr));
}

// Reads up to `wanted` bytes behind those the receive buffer holds: the count above 0, or a code.
int32_t read_some(ipc_com *c, int64_t wanted) {
  int64_t held = ipc_mbuf_getlen(c->receive);
  ssize_t count;
  do {
    count = read(c->descriptor, ipc_mbuf_getptr(c->receive) + held, static_cast<size_t>(wanted));
  } while (count < 0 && errno == EINTR);
  if (count == 0) return IpcErrNotConnected;
  if (count < 0) return ipc_errno_code(ipc_failed::transfer, errno);
  ipc_mbuf_setlen(c->receive, held + count);
  return static_cast<int32_t>(count);
}

// Hands a whole message over and empties the receive buffer.
int32_t deliver(ipc_com *c, ipcc_place *place, int64_t total) {
  bool fits = ipc_mbuf_getmax(place->buffer) >= total;
  if (place->exchange && ipc_mbuf_getmax(place->buffer) == IPC_MBUF_STANDARD_CAPACITY) {
    std::swap(c->receive, place->buffer);
  } else if (fits) {
    ipc_mbuf_set(place->buffer, ipc_mbuf_getptr(c->receive), total);
  }
  ipc_mbuf_setlen(c->receive, 0);
  return fits ? static_cast<int32_t>(total) : IpcErrNoMemory;
}

// One receive into a receive buffer that is there.
int32_t receive(ipc_com *c, ipcc_place *place) {
  if (ipc_mbuf_getlen(c->receive) < header) {
    // Deliberate: 12 bytes are asked for whatever is held already, so up to 23 may be held at the end. A
    // message with a header is never that short; one that is, sent in two pieces, is refused below. Asking
    // for the rest alone would make such pairs pass here while every other end of this protocol drops them.
    int32_t count = read_some(c, header);
    if (count < 0) return count;
    place->moved = true;
    if (ipc_mbuf_getlen(c->receive) < header) return IpcErrWouldBlock;
  }
  int64_t held = ipc_mbuf_getlen(c->receive);
  int64_t total = int64_t{xp_ntld_raw_length(ipc_mbuf_getptr(c->receive))} + header;
  if (total > ipc_mbuf_getmax(c->receive) || held > total) return IpcErrSystem;
  if (held < total) {
    int32_t count = read_some(c, total - held);
    if (count < 0) return count;
    place->moved = true;
    if (held + count < total) return IpcErrWouldBlock;
  }
  return deliver(c, place, total);
}

}  // namespace

int32_t ipcc_member_recv(ipc_com *c, ipcc_place *place) {
  if (c->receive == nullptr) c->receive = ipc_mbuf_alloc(IPC_MBUF_STANDARD);
  if (c->receive == nullptr) return IpcErrNoMemory;
  int32_t result = receive(c, place);
  // Between two messages a member has no buffer: clients that are idle cost none, and pages that a large
  // message has touched serve the next one, whoever sends it.
  if (ipc_mbuf_getlen(c->receive) == 0) xp_release(std::exchange(c->receive, nullptr));
  return result;
}

int32_t ipcc_member_try_send(ipc_com *c) {
  int64_t length = ipc_mbuf_getlen(c->pending);
  if (length == 0) {
    drop_pending(c);
    return IpcErrSystem;
  }
  ssize_t count = write_some(c->descriptor, ipc_mbuf_getptr(c->pending), length);
  if (count == 0) return IpcErrWouldBlock;
  if (count < 0) {
    int32_t code = ipc_errno_code(ipc_failed::transfer, errno);
    if (code != IpcErrWouldBlock) drop_pending(c);
    return code;
  }
  if (ipc_mbuf_consume(c->pending, count) > 0) return IpcErrWouldBlock;
  drop_pending(c);
  return static_cast<int32_t>(count);
}

int32_t ipc_com_send(xp_obj *obj, xp_obj *b) {
  xp::ref first = xp::ref::adopt(ipcc_first(obj));
  auto *c = xp::as<ipc_com>(first.get());
  if (c == nullptr) return IpcErrBadState;
  if (c->pending == nullptr) {
    c->pending = xp_retain(b);
    return ipcc_member_try_send(c);
  }
  bool same = c->pending == b;
  int32_t result = ipcc_member_try_send(c);
  return same ? result : IpcErrWouldBlock;
}

int32_t ipc_com_try_send(xp_obj *obj) {
  auto *outer = xp::as<ipc_com>(obj);
  if (outer == nullptr) return IpcErrBadState;
  if (outer->group != nullptr) ipc_com_grp_poll(outer->group);
  xp::ref first = xp::ref::adopt(ipcc_first(obj));
  return ipcc_member_try_send(static_cast<ipc_com *>(first.get()));
}

void ipcc_pause(xp_obj *obj, bool write) {
  xp::ref first = xp::ref::adopt(ipcc_first(obj));
  auto *c = xp::as<ipc_com>(first.get());
  if (c == nullptr || c->descriptor < 0) {
    ipc_sleep(1);
    return;
  }
  pollfd waiting = {
      .fd = c->descriptor, .events = static_cast<short>(write ? POLLOUT : POLLIN), .revents = 0};
  poll(&waiting, 1, 1);
}
