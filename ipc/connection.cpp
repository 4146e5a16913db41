#include "ipc/connection.h"

#include "ipc/channel.h"
#include "ipc/channel_impl.h"
#include "ipc/clock.h"
#include "ipc/connection_record.h"
#include "ipc/errors.h"
#include "ipc/message_port.h"
#include "ipc/session.h"
#include "xp/object/ref.h"

// Life cycle and connecting. Calls are in call.cpp, servers in server.cpp.

namespace {

constexpr int32_t retry_pause = 200;  // ms between two tries, and what connecting may take beyond its limit

void connection_release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  auto *c = static_cast<ipc_conn *>(obj);
  if (ipc_conn_is_own_thread(c)) {
    // The handler let the connection go: its thread cannot wait for itself and frees everything when it ends.
    c->orphaned = 1;
    ipc_shared(c->run).store(0);
    return;
  }
  ipc_conn_stop(c);
  ipc_conn_destroy(c);
}

constexpr xp::ops connection_ops = {.retain = xp_obj_retain,
                                    .release = connection_release,
                                    .compare = nullptr,
                                    .textify = nullptr,
                                    .control = nullptr};

// The limit of connecting: retry_pause more than was asked for; -1 stays without limit.
int32_t with_margin(int32_t msecs) {
  if (msecs == -1) return -1;
  return msecs > INT32_MAX - retry_pause ? INT32_MAX : msecs + retry_pause;
}

// One try. A server whose queue is full is there, so it is asked again within the pause that a failed try
// costs anyway: every millisecond at first, then less and less often, since a crowd that keeps asking takes
// the processor from the server it waits for.
int32_t try_connect(xp_obj *channel, uint32_t code, uint32_t session, ipcc_retry *retry) {
  int32_t result = ipcc_connect(channel, code, session, retry);
  int32_t pause = 1;
  for (int32_t passed = 0; *retry == ipcc_retry::soon && passed < retry_pause; passed += pause) {
    pause = 1 + passed / 8;
    ipc_sleep(pause);
    result = ipcc_connect(channel, code, session, retry);
  }
  return result;
}

int32_t connect_channel(xp_obj *channel, uint32_t code, uint32_t session, int32_t msecs) {
  uint32_t start = ipc_time_msecs();
  int32_t result;
  do {
    ipcc_retry retry;
    result = try_connect(channel, code, session, &retry);
    bool final = result == 0 || result == IpcErrPermission || result == IpcErrNoMemory;
    if (final || retry == ipcc_retry::never) break;
    if (retry == ipcc_retry::later) ipc_sleep(retry_pause);
  } while (!ipc_time_expired(start, with_margin(msecs)));
  ipc_com_set_msecs(channel, msecs);
  return result;
}

bool may_connect(ipc_conn *c) {
  return c != nullptr && c->session != static_cast<uint32_t>(IPC_SESSION_INVALID) && ipc_conn_ready(c);
}

}  // namespace

uint32_t ipc_type() {
  return ipc_conn::code;
}

xp_obj *ipc_alloc(uint32_t endpoint, int32_t session_spec) {
  auto *c = xp::make<ipc_conn>(connection_ops);
  if (c == nullptr) return nullptr;
  c->endpoint = endpoint;
  c->session = ipc_session_id(session_spec);
  return c;
}

void ipc_free(xp_obj *c) {
  xp_release(c);
}

void ipc_conn_destroy(ipc_conn *c) {
  ipc_close(c);
  xp_release(c->thread);
  xp_release(c->buffer);
  xp::destroy(c);
}

int32_t ipc_close(xp_obj *obj) {
  auto *c = xp::as<ipc_conn>(obj);
  if (c == nullptr) return 0;
  ipc_shared(c->state).store(IPC_STATE_IDLE);
  xp::ref channel = xp::ref::adopt(ipc_shared(c->channel).exchange(nullptr));
  // A receiving thread keeps the channel it polls; woken, it finds the connection closed and ends. The name
  // does not wait for that.
  if (ipc_shared(c->mode).load() == IPC_MODE_THREAD) {
    ipcc_withdraw(channel.get());
    ipc_com_interupt(channel.get());
  }
  if (uint32_t port = ipc_shared(c->port).exchange(0)) ipc_port()->close(port);
  return 0;
}

int32_t ipc_settimeout(xp_obj *obj, int32_t msecs) {
  auto *c = xp::as<ipc_conn>(obj);
  if (c == nullptr) return -1;
  ipc_shared(c->timeout).store(msecs);
  ipc_com_set_msecs(c->channel, msecs);
  return 0;
}

// --- Connecting ---

int32_t ipc_connect(xp_obj *obj, uint32_t code, uint32_t /*ignored*/, int32_t msecs) {
  auto *c = xp::as<ipc_conn>(obj);
  if (!may_connect(c)) return IpcErrBadState;
  c->state = IPC_STATE_STREAM;
  c->timeout = msecs;
  c->channel = ipc_com_alloc();
  return c->channel == nullptr ? IpcErrNoMemory : connect_channel(c->channel, code, c->session, msecs);
}

int32_t ipc_connect_to(xp_obj *obj, int32_t descriptor, uint32_t code, uint32_t /*ignored*/, int32_t msecs) {
  auto *c = xp::as<ipc_conn>(obj);
  if (!may_connect(c)) return IpcErrBadState;
  c->state = IPC_STATE_STREAM;
  c->timeout = msecs;
  c->channel = ipc_com_alloc();
  if (c->channel == nullptr) return IpcErrNoMemory;
  int32_t result = ipc_com_connect_to(c->channel, code, c->session, descriptor);
  ipc_com_set_msecs(c->channel, msecs);
  return result;
}

int32_t ipc_connect_mach(xp_obj *obj, uint32_t /*code*/, uint32_t /*ignored*/, int32_t msecs) {
  auto *c = xp::as<ipc_conn>(obj);
  if (!may_connect(c)) return IpcErrBadState;
  char service[IPC_PORT_NAME_LIMIT];
  ipc_port_service_name(c->session, service);
  uint32_t start = ipc_time_msecs();
  uint32_t port = 0;
  ipc_port_found found;
  while ((found = ipc_port()->look_up(service, &port)) == IPC_PORT_UNKNOWN || found == IPC_PORT_BUSY) {
    ipc_sleep(found == IPC_PORT_BUSY ? 1 : retry_pause);
    if (ipc_time_expired(start, with_margin(msecs))) return IpcErrTimeout;
  }
  if (found != IPC_PORT_FOUND) return IpcErrBadState;
  c->state = IPC_STATE_PORT;
  c->timeout = msecs;
  c->port = port;
  return 0;
}

int32_t ipc_check(int32_t session_spec, uint32_t code, uint32_t /*ignored*/, int32_t msecs) {
  uint32_t session = ipc_session_id(session_spec);
  if (session == static_cast<uint32_t>(IPC_SESSION_INVALID)) return IpcErrBadState;
  xp::ref channel = xp::ref::adopt(ipc_com_alloc());
  return channel ? connect_channel(channel.get(), code, session, msecs) : IpcErrNoMemory;
}

int32_t ipc_peer_uid(xp_obj *obj, uint32_t *uid) {
  auto *c = xp::as<ipc_conn>(obj);
  return ipc_com_peer(c == nullptr ? nullptr : c->channel, uid);
}

// --- Endpoints ---

int32_t ipc_exists(uint32_t code, int32_t session_spec) {
  return ipc_com_exists(code, ipc_session_id(session_spec));
}

int32_t ipc_unlink(uint32_t code, int32_t session_spec) {
  return ipc_com_unlink(code, ipc_session_id(session_spec));
}
