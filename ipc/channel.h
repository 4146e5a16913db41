// Channels ("ipcc"): whole messages over local stream sockets. A channel that listens or connects holds a
// group ("ipcg") of member channels, one per descriptor, polled together; the listening or connected socket
// is the first member. A channel is for one thread at a time, except ipc_com_interupt.
//
// Sockets are files of one shared directory, named by endpoint and session: "48586361-000186A5" is "HXca" in
// session 0x186A5. A server run by root is open to every user; any other server only to its own user. The
// directory lets every user make names, so a server that is not root's can be displaced: who connects may ask
// ipc_com_peer whom it reached.
//
// Sessions are numbers of ipc/session.h. Results are 0, a count, or a code of ipc/errors.h.

#ifndef IPC_CHANNEL_H
#define IPC_CHANNEL_H

#include "xp/object/object.h"

#include <stdint.h>

// "ipcc", "ipcg"
uint32_t ipc_com_type();
uint32_t ipc_com_grp_type();

// A channel without descriptor and group. Its release closes what it holds and unlinks the socket file it
// made.
xp_obj *ipc_com_alloc();
void ipc_com_release(xp_obj *c);

// --- Opening ---

// Listens on the socket of (code, session); a file that is there already is replaced.
int32_t ipc_com_bind(xp_obj *c, uint32_t code, uint32_t session);

// Serves one connected descriptor, which the channel takes over and makes non-blocking; code and session are
// not used.
int32_t ipc_com_bind_to(xp_obj *c, uint32_t code, uint32_t session, int32_t descriptor);

// Connects to the socket of (code, session), in one try.
int32_t ipc_com_connect(xp_obj *c, uint32_t code, uint32_t session);

// As ipc_com_connect, over a connected descriptor that the channel takes over. On failure the descriptor of
// this and of ipc_com_bind_to stays the caller's.
int32_t ipc_com_connect_to(xp_obj *c, uint32_t code, uint32_t session, int32_t descriptor);

// A new channel for one waiting connection of a listening member, or null. Descriptors of 1024 and above are
// closed at once: they could never be polled.
xp_obj *ipc_com_accept(xp_obj *listener);

// --- Socket files ---

// 0 when the socket file exists, -1 if not.
int32_t ipc_com_exists(uint32_t code, uint32_t session);

// Unlinks the file of (code, session); code 0 stands for any code, session IPC_SESSION_ANY for any session.
// Always 0.
// Deliberate: with both wild every entry whose name has 17 characters goes, whatever it is called.
int32_t ipc_com_unlink(uint32_t code, uint32_t session);

// --- Messages ---

// Sends the buffer's bytes, in as many calls as it takes: IpcErrWouldBlock says call again with the same
// buffer, which the channel keeps until then. A positive count says that the last byte went. While another
// buffer is half sent, that one is continued and IpcErrWouldBlock returned.
int32_t ipc_com_send(xp_obj *c, xp_obj *b);

// Continues the send in progress.
int32_t ipc_com_try_send(xp_obj *c);

// Receives one message into `b`, waiting for the group's time: its length in bytes, 0 when a client came or
// went, IpcErrWouldBlock when no message is whole yet. `from`, when given, receives the member that delivered
// the message (a new reference) or null.
// Deliberate: a group whose peer is gone drops that member and answers 0, no error. Test what arrived, not
// the 0.
int32_t ipc_com_recv(xp_obj *c, xp_obj *b, xp_obj **from);

// How long a poll of the group waits; any negative value waits without limit.
void ipc_com_set_msecs(xp_obj *c, int32_t msecs);

// Makes the group's polls return at once, for ever: to stop a receiving thread for good. From any thread.
int32_t ipc_com_interupt(xp_obj *c);

// Drops the send in progress and what was received of a message: after a deadline half a message is never
// continued.
void ipc_com_reset(xp_obj *c);

// The user at the other end of the channel's first member, as the kernel recorded it when the connection was
// made.
int32_t ipc_com_peer(xp_obj *c, uint32_t *uid);

// --- Groups ---

xp_obj *ipc_com_grp_alloc();

// Waits until a member is ready, the group is interrupted or its time is over: the number of ready
// descriptors, 0 for none. Descriptors of 1024 and above are left out.
int32_t ipc_com_grp_poll(xp_obj *g);

#endif
