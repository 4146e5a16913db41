#include "ipc/channel.h"
#include "ipc/channel_impl.h"
#include "ipc/clock.h"
#include "ipc/connection.h"
#include "ipc/connection_record.h"
#include "ipc/errors.h"
#include "ipc/mbuf.h"
#include "ipc/message.h"
#include "ipc/message_impl.h"
#include "ipc/message_port.h"
#include "xp/object/ref.h"

#include <string.h>

#include <algorithm>

// The client's side of a call.

namespace {

enum class reply_kind {
  mine,       // answers this call
  other,      // answers another one, or is no reply
  headerless  // lacks a record that every reply has
};

constexpr uint32_t version = 1;

// What a loaded message is to the call with this sequence number (raw bytes). `cured` says that it has all
// records and the right version.
reply_kind judge(xp_obj *reply, uint32_t msgn, bool *cured) {
  constexpr uint32_t needed = IPC_FOUND_NAME | IPC_FOUND_VERS | IPC_FOUND_MSGN;
  *cured = false;
  ipc_words words = ipc_msg_get_words(reply);
  if ((words.found & needed) != needed) return reply_kind::headerless;
  *cured = words.vers == __builtin_bswap32(version);
  return *cured && words.msgn == msgn && words.name == IPC_NAME_REPLY ? reply_kind::mine : reply_kind::other;
}

int32_t timed_out(ipc_conn *c) {
  ipc_com_reset(c->channel);
  return IpcErrTimeout;
}

// Sends the whole request. A positive count when the reply is to be waited for; 0 ends the call.
int32_t send_request(ipc_conn *c, xp_obj *request) {
  xp::ref buffer = xp::ref::adopt(ipc_msg_mem(request));
  uint32_t start = ipc_time_msecs();
  for (;;) {
    int32_t sent = ipc_com_send(c->channel, buffer.get());
    if (sent != IpcErrWouldBlock) return sent;
    if (ipc_time_expired(start, c->timeout)) return timed_out(c);
    ipcc_pause(c->channel, true);
  }
}

// One round of receiving into the reply, which then is loaded: what ipc_com_recv answers. `moved` says that
// there is something new to wait behind.
int32_t receive_reply(ipc_conn *c, xp_obj *reply, bool *moved) {
  ipcc_place place = {.buffer = ipc_msg_mem(reply), .exchange = false, .moved = false};
  // Nobody else may hold the buffer that is exchanged for another: the reply does, and this function.
  place.exchange = xp_refs(place.buffer) == 2;
  xp_obj *own = place.buffer;
  int32_t received = ipcc_recv(c->channel, &place, nullptr);
  xp::ref buffer = xp::ref::adopt(place.buffer);
  *moved = place.moved;
  if (buffer.get() != own) {
    xp::ref old = xp::ref::adopt(ipc_msg_exchangemem(reply, buffer.leak()));
  } else if (received > 0) {
    ipc_msg_from_buf(reply, ipc_mbuf_getptr(buffer.get()), received);
  }
  return received;
}

// Waits for the reply with this sequence number.
int32_t await_reply(ipc_conn *c, xp_obj *reply, uint32_t msgn) {
  uint32_t start = ipc_time_msecs();
  // Deliberate: a reply without its header poisons the wait. From then on none is accepted, and only one that
  // has all three records and the right version clears the flag; it is skipped itself. Accepting the next
  // good one instead would take the tail of a broken exchange for an answer.
  bool poisoned = false;
  for (;;) {
    bool moved;
    int32_t received = receive_reply(c, reply, &moved);
    if (received == 0 || (received < 0 && received != IpcErrWouldBlock)) {
      // Deliberate: 0 says that the peer is gone, and the call still ends with success and an empty reply.
      return received == 0 && ipc_time_expired(start, c->timeout) ? timed_out(c) : received;
    }
    if (received > 0) {
      bool cured;
      reply_kind kind = judge(reply, msgn, &cured);
      bool accepted = kind == reply_kind::mine && !poisoned;
      // Deliberate: a call that ends after its deadline reports the timeout, although the server acted.
      if (accepted) return ipc_time_expired(start, c->timeout) ? timed_out(c) : 0;
      // What is skipped must not be found in the reply when the call ends without one.
      ipc_msg_clear(reply);
      poisoned = poisoned ? !cured : kind == reply_kind::headerless;
    }
    // The next round's poll waits for the rest of what has begun to come. A poll that waited for nothing ends
    // within the limit's last millisecond: the pause goes beyond it, where another poll would double the
    // limit.
    if (received < 0 && !moved) ipcc_pause(c->channel, false);
    if (ipc_time_expired(start, c->timeout)) return timed_out(c);
  }
}

int32_t call_stream(ipc_conn *c, xp_obj *request, xp_obj *reply, uint32_t msgn) {
  int32_t sent = send_request(c, request);
  return sent > 0 ? await_reply(c, reply, msgn) : sent;
}

// The deadline covers handing the request over; the service then takes as long as it takes.
int32_t call_port(ipc_conn *c, xp_obj *request, xp_obj *reply, uint32_t msgn) {
  constexpr int64_t header = IPC_PORT_MESSAGE_HEADER;
  constexpr int32_t shortest = header + 8;  // a reply below this is none
  int64_t length = ipc_msg_size(request);
  int64_t size = ipc_port_message_size(length);
  // Room for the largest reply at least: the standard buffer, which is kept for reuse, has that.
  static_assert(IPC_MBUF_STANDARD >= int64_t{IPC_PORT_MESSAGE_LIMIT});
  xp::ref buffer = xp::ref::adopt(ipc_mbuf_alloc(std::max(size, int64_t{IPC_MBUF_STANDARD})));
  if (!buffer) return IpcErrNoMemory;
  uint8_t *message = ipc_mbuf_getptr(buffer.get());
  memcpy(message + header, ipc_msg_buf(request), static_cast<size_t>(length));
  std::fill(message + header + length, message + size, 0);
  int32_t received = ipc_port()->exchange(c->port, message, static_cast<uint32_t>(size), c->timeout);
  if (received < shortest) return IpcErrTimeout;
  ipc_msg_from_buf(reply, message + header, received - header);
  bool cured;
  return judge(reply, msgn, &cured) == reply_kind::mine ? 0 : IpcErrBadState;
}

}  // namespace

int32_t ipc_call(xp_obj *obj, xp_obj *request, xp_obj *reply) {
  ipc_msg_package(reply);
  auto *c = xp::as<ipc_conn>(obj);
  bool connected = c != nullptr && ((c->state == IPC_STATE_STREAM && c->channel != nullptr) ||
                                    (c->state == IPC_STATE_PORT && c->port != 0));
  if (!connected || xp_type(request) != ipc_msg_type() || xp_type(reply) != ipc_msg_type())
    return IpcErrBadState;
  uint32_t msgn = __builtin_bswap32(c->sequence++);
  // A request whose parameter block is still open cannot take its header. It is sent without one all the
  // same, and the receiver rejects it; one that is full is not sent.
  bool open = ipc_msg_params_open(request);
  int32_t error = ipc_msg_set_header(request, {.msgn = msgn, .ptyp = c->endpoint, .ptid = c->session});
  if (error != 0 && !open) return error;
  ipc_msg_package(request);
  return c->state == IPC_STATE_PORT ? call_port(c, request, reply, msgn)
                                    : call_stream(c, request, reply, msgn);
}

int32_t ipc_ping(xp_obj *obj) {
  auto *c = xp::as<ipc_conn>(obj);
  bool connected = c != nullptr && ((c->state == IPC_STATE_STREAM && c->channel != nullptr) ||
                                    (c->state == IPC_STATE_PORT && c->port != 0));
  if (!connected) return IpcErrNotConnected;
  xp::ref request = xp::ref::adopt(ipc_msg_alloc(IPC_NAME_PING));
  xp::ref reply = xp::ref::adopt(ipc_msg_alloc(0));
  return request && reply ? ipc_call(c, request.get(), reply.get()) : IpcErrNoMemory;
}
