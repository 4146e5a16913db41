// Connections ("ipch"): the public face of the library. A client connects to an endpoint of a session and
// makes calls with a deadline; a server binds its endpoint and answers requests through a handler, when it
// polls or on a thread of its own.
//
// Threads: a connection is for one thread at a time; a server's own thread alone uses the connection until
// the release, which waits for it. ipc_close and ipc_free may be called meanwhile, from the handler too.
// States: idle -> connected (ipc_connect, ipc_connect_to, ipc_connect_mach) or receiving (ipc_receive,
// ipc_receive_on); ipc_close returns to idle. Limits are in milliseconds, -1 is no limit. Results are 0, a
// positive count, or a code of ipc/errors.h.

#ifndef IPC_CONNECTION_H
#define IPC_CONNECTION_H

#include "xp/object/object.h"

#include <stdint.h>

// Answers a request by filling the reply's parameter block. `ptyp` and `ptid` are the sender's own words, as
// raw bytes: ipc_msg_peer(request) tells who it is. 0 has the reply sent at once; anything else means that
// the handler retained the reply and sends it later with ipc_reply.
using ipc_handler = int32_t (*)(xp_obj *request, xp_obj *reply, uint32_t ptyp, uint32_t ptid, void *context);

// Modes of ipc_receive.
enum : uint32_t {
  IPC_MODE_POLL = 0,    // the caller serves by ipc_poll
  IPC_MODE_THREAD = 1,  // a thread of its own serves
};

// "ipch"
uint32_t ipc_type();

// A new idle connection in the session of `session_spec` (ipc/session.h). `endpoint` is the code a server
// binds; a client sends it in each request as "ptyp".
xp_obj *ipc_alloc(uint32_t endpoint, int32_t session_spec);

// Releases. The last release stops a receiving thread and waits for it.
void ipc_free(xp_obj *c);

// Idle again: the channel is let go. Always 0. A handler that is running finishes.
int32_t ipc_close(xp_obj *c);

// The limit of calls and replies, and how long a poll waits; -1 for a null connection.
int32_t ipc_settimeout(xp_obj *c, int32_t msecs);

// --- Clients: `ignored` has no meaning ---

// Connects to the socket of endpoint `code`, trying every 200 ms until msecs + 200 have passed. A failed
// connect leaves the connection without a channel in the connected state: close it.
int32_t ipc_connect(xp_obj *c, uint32_t code, uint32_t ignored, int32_t msecs);

// Connects over a descriptor that is connected already and that the connection takes over when it succeeds.
int32_t ipc_connect_to(xp_obj *c, int32_t descriptor, uint32_t code, uint32_t ignored, int32_t msecs);

// Connects to the session's message service, trying every 200 ms until msecs + 200 have passed.
// IpcErrBadState at once where there is no such facility.
// Deliberate: the endpoint code is not part of the service's name: there is one service for each session.
int32_t ipc_connect_mach(xp_obj *c, uint32_t code, uint32_t ignored, int32_t msecs);

// 0 when a server is listening, found by connecting as ipc_connect does.
int32_t ipc_check(int32_t session_spec, uint32_t code, uint32_t ignored, int32_t msecs);

// Sends the request and waits for its reply. 0 means that the call ended, not that an answer is there.
// IpcErrBadMessage, and nothing is sent, when the request cannot take the header records: it is full, or it
// was packaged or sent before.
// Deliberate: a server that dies while it is waited for gives 0 and an empty reply. Test the reply's content.
// Deliberate: a call that ends after its deadline answers IpcErrTimeout although the server may have acted.
// Never repeat a call whose request must not be done twice.
int32_t ipc_call(xp_obj *c, xp_obj *request, xp_obj *reply);

// Calls the server with a request that never reaches its handler; IpcErrNotConnected without a connection.
// The first warning of ipc_call holds here too.
int32_t ipc_ping(xp_obj *c);

// The user whom the connection reached, as the kernel recorded it; IpcErrNotConnected when there is no
// stream.
int32_t ipc_peer_uid(xp_obj *c, uint32_t *uid);

// --- Servers ---

// Binds the endpoint and serves in the given mode. IpcErrBadState unless idle; IpcErrNoThread when the thread
// could not be started: the caller may then serve by ipc_poll. One client that does not read its answer holds
// the server for the whole limit, and about a thousand idle ones fill its poll: a server that faces strangers
// limits them per user.
int32_t ipc_receive(xp_obj *c, ipc_handler handler, void *context, uint32_t mode, int32_t msecs);

// The same over one connected descriptor, which the connection takes over when it succeeds.
int32_t ipc_receive_on(xp_obj *c, int32_t descriptor, ipc_handler handler, void *context, uint32_t mode,
                       int32_t msecs);

// One round of serving: 0 when a request was answered or a client came or went, IpcErrWouldBlock when nothing
// came, IpcErrBadMessage for a request with a bad header, which gets no answer.
int32_t ipc_poll(xp_obj *c);

// Checks a request's header and makes its reply; null when it is bad. The outputs may be null; with `name`
// the request must have one.
xp_obj *ipc_prepreply(xp_obj *c, xp_obj *request, uint32_t *name, uint32_t *ptyp, uint32_t *ptid);

// Sends a reply that a handler kept: ipc_msg_selfsend.
int32_t ipc_reply(xp_obj *reply, int32_t msecs);

// --- Endpoints ---

// 0 when the endpoint's socket file exists, -1 if not. Unlinks socket files as ipc_com_unlink does.
int32_t ipc_exists(uint32_t code, int32_t session_spec);
int32_t ipc_unlink(uint32_t code, int32_t session_spec);

#endif
