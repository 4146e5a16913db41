#include "ipc/channel.h"
#include "ipc/channel_impl.h"
#include "ipc/clock.h"
#include "ipc/connection.h"
#include "ipc/connection_record.h"
#include "ipc/errors.h"
#include "ipc/mbuf.h"
#include "ipc/message.h"
#include "ipc/message_impl.h"
#include "xp/object/ref.h"
#include "xp/service/thread.h"

#include <optional>
#include <utility>

// The server's side: rounds of serving, by hand or on a thread.

namespace {

constexpr uint32_t version = 1;

// The connection whose receiving thread this is.
thread_local const ipc_conn *own_connection;

// Answers one request that was received from `member`.
int32_t answer(ipc_conn *c, xp_obj *request, xp_obj *member) {
  uint32_t name, ptyp, ptid;
  xp::ref reply = xp::ref::adopt(ipc_prepreply(c, request, &name, &ptyp, &ptid));
  if (!reply) return IpcErrBadMessage;
  ipc_msg_setcom(reply.get(), member);
  ipc_msg_setcom(request, member);
  bool for_us = name == IPC_NAME_PING || c->handler == nullptr;
  int32_t kept = for_us ? 0 : c->handler(request, reply.get(), ptyp, ptid, c->context);
  // A client that does not read holds the server for the whole limit.
  if (kept == 0) ipc_msg_selfsend(reply.get(), ipc_shared(c->timeout).load());
  return 0;
}

// One round over a channel that the caller keeps.
int32_t serve_round(ipc_conn *c, xp_obj *channel) {
  if (ipc_shared(c->state).load() != IPC_STATE_RECEIVING || channel == nullptr) return IpcErrBadState;
  if (c->buffer == nullptr) c->buffer = ipc_mbuf_alloc(IPC_MBUF_STANDARD);
  if (c->buffer == nullptr) return IpcErrNoMemory;
  xp_obj *from = nullptr;
  ipcc_place place = {.buffer = c->buffer, .exchange = true, .moved = false};
  int32_t received = ipcc_recv(channel, &place, &from);
  c->buffer = place.buffer;
  xp::ref member = xp::ref::adopt(from);
  if (received < 1) return received;
  xp::ref request = xp::ref::adopt(ipc_msg_alloc(0));
  if (!request) return IpcErrNoMemory;
  c->buffer = ipc_msg_exchangemem(request.get(), c->buffer);
  return answer(c, request.get(), member.get());
}

// The receiving thread. It serves the channel it was started for and ends when it is told to, when the
// connection was closed, or when its peer is gone. The connection lives until then: its release waits for
// this thread, or leaves the end to it.
int64_t serve_thread(void * /*ignored*/, void *argument) {
  auto *c = static_cast<ipc_conn *>(argument);
  own_connection = c;
  xp::ref channel = xp::ref::adopt(std::exchange(c->served, nullptr));
  while (ipc_shared(c->run).load() != 0 && ipc_shared(c->channel).load() == channel.get()) {
    int32_t result = serve_round(c, channel.get());
    if (result == IpcErrNotConnected) break;
    if (result == IpcErrNoMemory)
      ipc_sleep(1);  // there may be some again, and until then nothing to be busy with
  }
  own_connection = nullptr;
  channel = nullptr;
  if (c->orphaned == 0) return 0;
  xp_thr_detach(ipc_shared(c->thread).load());
  ipc_conn_destroy(c);
  return 0;
}

int32_t start_thread(ipc_conn *c, int32_t msecs) {
  // Without a limit; the release wakes the poll. Set before the thread looks at it.
  ipc_com_set_msecs(c->channel, -1);
  c->run = 1;
  c->served = xp_retain(c->channel);
  xp_obj *thread = xp_thr_new(serve_thread, c);
  ipc_shared(c->thread).store(thread);
  if (thread != nullptr) return 0;
  xp_release(std::exchange(c->served, nullptr));
  c->run = 0;
  c->mode = IPC_MODE_POLL;
  ipc_com_set_msecs(c->channel, msecs);
  return IpcErrNoThread;
}

// Serves a connected descriptor, or binds the endpoint when none is given.
int32_t receive(xp_obj *obj, std::optional<int32_t> descriptor, ipc_handler handler, void *context,
                uint32_t mode, int32_t msecs) {
  auto *c = xp::as<ipc_conn>(obj);
  if (c == nullptr || !ipc_conn_ready(c)) return IpcErrBadState;
  // Its thread may answer a request that lets the connection go before this is through.
  xp::ref connection = xp::ref::share(c);
  c->handler = handler;
  c->context = context;
  c->state = IPC_STATE_RECEIVING;
  c->mode = mode == IPC_MODE_THREAD ? IPC_MODE_THREAD : IPC_MODE_POLL;
  c->channel = ipc_com_alloc();
  if (c->channel == nullptr) return IpcErrNoMemory;
  c->timeout = msecs;
  int32_t error = descriptor ? ipc_com_bind_to(c->channel, c->endpoint, c->session, *descriptor)
                             : ipc_com_bind(c->channel, c->endpoint, c->session);
  if (error != 0) return error;
  ipc_com_set_msecs(c->channel, msecs);
  return c->mode == IPC_MODE_THREAD ? start_thread(c, msecs) : 0;
}

}  // namespace

bool ipc_conn_is_own_thread(const ipc_conn *c) {
  return own_connection == c;
}

void ipc_conn_stop(ipc_conn *c) {
  if (c->thread == nullptr) return;
  ipc_shared(c->run).store(0);
  // Taken from the connection: its handler may be closing it at this moment. Whoever takes it wakes the poll.
  xp::ref channel = xp::ref::adopt(ipc_shared(c->channel).exchange(nullptr));
  ipc_com_interupt(channel.get());
  xp_thr_join(c->thread, nullptr);
  xp_release(std::exchange(c->thread, nullptr));
  c->mode = IPC_MODE_POLL;
}

bool ipc_conn_ready(ipc_conn *c) {
  // A handler that closed its own connection cannot put it to use again: its thread still runs.
  if (ipc_shared(c->state).load() != IPC_STATE_IDLE || ipc_conn_is_own_thread(c)) return false;
  ipc_conn_stop(c);
  return true;
}

int32_t ipc_receive(xp_obj *c, ipc_handler handler, void *context, uint32_t mode, int32_t msecs) {
  return receive(c, {}, handler, context, mode, msecs);
}

int32_t ipc_receive_on(xp_obj *c, int32_t descriptor, ipc_handler handler, void *context, uint32_t mode,
                       int32_t msecs) {
  return receive(c, descriptor, handler, context, mode, msecs);
}

int32_t ipc_poll(xp_obj *obj) {
  auto *c = xp::as<ipc_conn>(obj);
  if (c == nullptr || ipc_shared(c->mode).load() == IPC_MODE_THREAD) return IpcErrBadState;
  // The handler may close or free what is being served.
  xp::ref connection = xp::ref::share(c);
  xp::ref channel = xp::ref::share(c->channel);
  return serve_round(c, channel.get());
}

xp_obj *ipc_prepreply(xp_obj *obj, xp_obj *request, uint32_t *name, uint32_t *ptyp, uint32_t *ptid) {
  auto *c = xp::as<ipc_conn>(obj);
  if (c == nullptr) return nullptr;
  ipc_words words = ipc_msg_get_words(request);
  uint32_t needed = IPC_FOUND_VERS | IPC_FOUND_MSGN | IPC_FOUND_PTYP | IPC_FOUND_PTID;
  if (name != nullptr) needed |= IPC_FOUND_NAME;
  if ((words.found & needed) != needed || words.vers != __builtin_bswap32(version)) return nullptr;
  if (name != nullptr) *name = words.name;
  if (ptyp != nullptr) *ptyp = words.ptyp;
  if (ptid != nullptr) *ptid = words.ptid;
  xp::ref reply = xp::ref::adopt(ipc_msg_alloc(IPC_NAME_REPLY));
  if (ipc_msg_set_header(reply.get(), {.msgn = words.msgn, .ptyp = c->endpoint, .ptid = c->session}) != 0)
    return nullptr;
  return reply.leak();
}

int32_t ipc_reply(xp_obj *reply, int32_t msecs) {
  return ipc_msg_selfsend(reply, msecs);
}
