#include "setup/apic.h"

#include "ipc/connection.h"
#include "ipc/errors.h"
#include "ipc/message.h"
#include "ipc/session.h"
#include "xp/object/ref.h"

#include <unistd.h>

#include <atomic>
#include <memory>

namespace {

// Parameters of a request, in the order in which they are written; the caller's records follow them.
//   whon  ctag  who calls
//   whov  long  the caller's version word
//   code  long  what is asked for
//   sess  long  session number
// The reply carries the long `rslt` and the daemon's records.
constexpr uint32_t message_type = xp_code("APIC");
constexpr uint32_t service = xp_code("HXca");
constexpr uint32_t caller = xp_code("HXrf");
constexpr int32_t caller_version = 0x6200;

// What a connection of ours tells as its own endpoint.
constexpr uint32_t client_endpoint = 0x1000000;

constexpr vane_apic_limits usual_limits = {.lookup = 1000, .present = 5000, .absent = 20000, .call = 180000};
std::atomic<const vane_apic_limits *> current_limits = &usual_limits;

struct connection_closer {
  void operator()(xp_obj *connection) const {
    ipc_close(connection);
    ipc_free(connection);
  }
};
using connection = std::unique_ptr<xp_obj, connection_closer>;

struct message_closer {
  void operator()(xp_obj *message) const { ipc_msg_free(message); }
};
using message = std::unique_ptr<xp_obj, message_closer>;

// Whoever made the socket's name first answers on it. Requests carry addresses and ticket texts and make the
// daemon act, so none goes to a server that is not root's or our own: such a server counts as absent.
bool is_trusted(xp_obj *daemon) {
  uint32_t user = 0;
  return ipc_peer_uid(daemon, &user) == 0 && (user == 0 || user == geteuid());
}

// A connection to the daemon, over its service (which vouches for the peer itself) or over its socket; null
// when there is none.
connection find() {
  const vane_apic_limits &limits = *current_limits.load(std::memory_order_acquire);
  connection found(ipc_alloc(client_endpoint, IPC_SESSION_HELPER));
  if (!found) return nullptr;
  if (ipc_connect_mach(found.get(), service, 0, limits.lookup) != 0) {
    const int32_t wait = ipc_exists(service, IPC_SESSION_HELPER) == 0 ? limits.present : limits.absent;
    if (ipc_connect(found.get(), service, 0, wait) != 0 || !is_trusted(found.get())) return nullptr;
  }
  ipc_settimeout(found.get(), limits.call);
  return found;
}

bool write_caller(xp_obj *request, uint32_t code, int32_t session) {
  return ipc_msg_start_params(request) == 0 &&
         ipc_msg_set_param(request, xp_code("whon"), xp_code("ctag"), &caller, sizeof caller) == 0 &&
         ipc_msg_set_param_long(request, xp_code("whov"), caller_version) == 0 &&
         ipc_msg_set_param_long(request, xp_code("code"), static_cast<int32_t>(code)) == 0 &&
         ipc_msg_set_param_long(request, xp_code("sess"), session) == 0;
}

}  // namespace

xp_obj *vane_apic_start(uint32_t code, int32_t session) {
  message request(ipc_msg_alloc(message_type));
  return request && write_caller(request.get(), code, session) ? request.release() : nullptr;
}

xp_obj *vane_apic_getntld(xp_obj *request) {
  return ipc_msg_get_ntld(request);
}

int32_t vane_apic_call(xp_obj *request, xp_obj **reply) {
  const message sent(request);
  const connection daemon = sent ? find() : nullptr;
  if (!daemon) return VANE_APIC_NO_DAEMON;
  message received(ipc_msg_alloc(0));
  if (!received) return IpcErrNoMemory;
  // Records are part of the parameter block; the header records of the call must stand outside.
  ipc_msg_end_params(sent.get());
  if (const int32_t error = ipc_call(daemon.get(), sent.get(), received.get()); error != 0) return error;
  // A daemon that died while it was waited for ended the call with 0 and an empty reply: only the content
  // tells.
  int32_t result = 0;
  if (const int32_t error = ipc_msg_get_param_long(received.get(), xp_code("rslt"), &result); error != 0)
    return error;
  if (result == 0 && reply != nullptr) *reply = received.release();
  return result;
}

const uint8_t *vane_apic_getdata(xp_obj *reply) {
  return ipc_msg_get_content_ptr(reply);
}

void vane_apic_stop(xp_obj *reply) {
  ipc_msg_free(reply);
}

void vane_apic_setlimits(const vane_apic_limits *limits) {
  current_limits.store(limits != nullptr ? limits : &usual_limits, std::memory_order_release);
}
