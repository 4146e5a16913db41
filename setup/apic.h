// The client of the daemon's request protocol. A request is an IPC message of type `APIC` with the caller's
// identity, a request code and records; its reply carries the daemon's result and records. Every call is a
// connection of its own: connect, send, wait, disconnect. Nothing is shared, so any number of threads may
// call at once.
//
// A call is never repeated: running a script or filing a ticket twice would do it twice.

#ifndef SETUP_APIC_H
#define SETUP_APIC_H

#include "xp/object/object.h"

#include <stdint.h>

// What vane_apic_call answers when there is no daemon (or one that is not root's and not ours).
constexpr int32_t VANE_APIC_NO_DAEMON = ~34;

// A new request with its code and session number, open for records; null when memory is exhausted.
xp_obj *vane_apic_start(uint32_t code, int32_t session);

// The record block of a request, for adding records; a new reference.
xp_obj *vane_apic_getntld(xp_obj *request);

// Sends the request and waits for its reply; takes over the caller's reference to the request in every case.
// 0 when the daemon's result is 0, and then `reply` (null: not wanted) receives the reply, which the caller
// ends with vane_apic_stop. Otherwise VANE_APIC_NO_DAEMON, a code of the IPC library, or the daemon's result,
// and no reply. Waits up to 1 s for the service, 5 s for a socket that is there or 20 s for one that is not,
// and 180 s for the reply.
int32_t vane_apic_call(xp_obj *request, xp_obj **reply);

// The block of reply records, for the raw readers of ipc/ntld_raw.h; valid as long as the reply. Null when
// there is none.
const uint8_t *vane_apic_getdata(xp_obj *reply);

// Ends a reply.
void vane_apic_stop(xp_obj *reply);

// How long a call may wait, in milliseconds.
struct vane_apic_limits {
  int32_t lookup;   // for the service
  int32_t present;  // for the socket, when its file is there
  int32_t absent;   // for the socket, when it is not: the daemon may be starting
  int32_t call;     // for handing the request over and for the reply
};

// For tests: other limits for the calls that begin from now on; null brings the usual ones back. They must
// live for ever.
void vane_apic_setlimits(const vane_apic_limits *limits);

#endif
