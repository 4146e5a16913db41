// IPC messages ("ipcm"): one NTLD record that carries a name, a block of named and typed parameters, and
// header records. A message is built in a fixed buffer of 266,168 bytes: alloc, start_params, setters,
// end_params, package. A received message is verified once when it is loaded; the getters then read it
// without copying. For one thread at a time. Results are 0 or a code of ipc/errors.h; a setter or getter that
// fails leaves the message unchanged.
//
//   record  type  data
//   "msgd"  data  outer container of the records below
//   "call"  long  the message's name, four raw bytes
//   "ipcp"  data  the parameter block: one child record for each parameter
//   "vers"  long  protocol version, 1
//   "msgn"  long  sequence number of the request, big-endian; a reply repeats it
//   "ptyp"  long  the sender's endpoint, raw bytes
//   "ptid"  long  the sender's session number, big-endian

#ifndef IPC_MESSAGE_H
#define IPC_MESSAGE_H

#include "xp/object/object.h"

#include <stdint.h>

// "ipcm"
uint32_t ipc_msg_type();

// A new message of that name, its outer container open; null when memory is exhausted. Ended by ipc_msg_free.
xp_obj *ipc_msg_alloc(uint32_t name);
void ipc_msg_free(xp_obj *m);

// Empties the message and gives it a name.
// Deliberate: a message whose parameter block is open stays so and gets no name: half a request is never
// recycled into something a receiver accepts.
void ipc_msg_reset(xp_obj *m, uint32_t name);

// A new message, loaded from the bytes of a packaged one.
xp_obj *ipc_msg_copy(xp_obj *m);

// --- Building ---

// Open and close the parameter block; IpcErrBadMessage when it is open, not open already, or the message is
// full.
int32_t ipc_msg_start_params(xp_obj *m);
int32_t ipc_msg_end_params(xp_obj *m);

// The whole parameter block at once, from finished child records; IpcErrBadMessage while the block is open.
int32_t ipc_msg_set_content(xp_obj *m, const void *data, uint32_t length);

// Append one parameter to the open block; IpcErrBadMessage when it is not open or the parameter does not fit.
// Deliberate: a tag travels with the type "text", not "ctag"; receivers read it so.
int32_t ipc_msg_set_param(xp_obj *m, uint32_t name, uint32_t type, const void *data, uint32_t length);
int32_t ipc_msg_set_param_long(xp_obj *m, uint32_t name, int32_t value);
int32_t ipc_msg_set_param_quad(xp_obj *m, uint32_t name, int64_t value);
int32_t ipc_msg_set_param_tag(xp_obj *m, uint32_t name, uint32_t tag);
int32_t ipc_msg_set_param_cstr(xp_obj *m, uint32_t name, const char *text);
int32_t ipc_msg_set_param_pstr(xp_obj *m, uint32_t name, const uint8_t *text);  // first byte: length
int32_t ipc_msg_set_param_xpstr(xp_obj *m, uint32_t name, xp_obj *string);

// The same at top level (inblock 0) or inside the block (1); refused unless inblock says what is open.
int32_t ipc_msg_set_param_ex(xp_obj *m, uint32_t name, uint32_t type, const void *data, uint32_t length,
                             int32_t inblock);

// Closes whatever is open; the buffer then holds the message, whoever closed it. Once more changes nothing.
int32_t ipc_msg_package(xp_obj *m);

// --- Reading a packaged or loaded message: IpcErrBadMessage when there is no such parameter ---
// The type argument of the first is not compared. Outputs are cleared before anything else.

// *size: room at `out` in, bytes copied out; with a null `out` the parameter's length.
int32_t ipc_msg_get_param(xp_obj *m, uint32_t name, uint32_t type, void *out, uint32_t *size);
int32_t ipc_msg_get_param_ex(xp_obj *m, uint32_t name, uint32_t type, void *out, uint32_t *size,
                             int32_t inblock);
int32_t ipc_msg_get_param_long(xp_obj *m, uint32_t name, int32_t *out);
int32_t ipc_msg_get_param_quad(xp_obj *m, uint32_t name, int64_t *out);
int32_t ipc_msg_get_param_tag(xp_obj *m, uint32_t name, uint32_t *out);

// Copy at most size - 1 bytes and a zero byte; a length byte (at most 255) and so many bytes. Size 0 copies
// nothing.
int32_t ipc_msg_get_param_cstr(xp_obj *m, uint32_t name, char *out, uint32_t size);
int32_t ipc_msg_get_param_pstr(xp_obj *m, uint32_t name, uint8_t *out, uint32_t size);

// A new string in *string; null, with result 0, for a parameter of length 0.
int32_t ipc_msg_get_param_xpstr(xp_obj *m, uint32_t name, xp_obj **string);

// The parameter's data inside the message, or null.
const uint8_t *ipc_msg_get_param_ptr(xp_obj *m, uint32_t name);

// The parameter's type code and data length.
int32_t ipc_msg_get_info_param(xp_obj *m, uint32_t name, uint32_t *type, uint32_t *length);
int32_t ipc_msg_get_info_param_ex(xp_obj *m, uint32_t name, uint32_t *type, uint32_t *length,
                                  int32_t inblock);

// The first four bytes of "call".
int32_t ipc_msg_get_name(xp_obj *m, uint32_t *name);

// The parameter block's record (header included) inside the message, verified as far as its direct children,
// or null. Read it with the raw forms of ipc/ntld_raw.h.
const uint8_t *ipc_msg_get_content_ptr(xp_obj *m);

// The message's NTLD builder, a new reference. It is emptied when the message ends before it.
xp_obj *ipc_msg_get_ntld(xp_obj *m);

// --- The bytes ---

// The packaged bytes, borrowed, and their number; the buffer itself, a new reference.
uint8_t *ipc_msg_buf(xp_obj *m);
int64_t ipc_msg_size(xp_obj *m);
xp_obj *ipc_msg_mem(xp_obj *m);

// Loads a received message from a copy of n bytes. IpcErrBadMessage when they hold no well-formed record: the
// message then is empty and its getters find nothing. A bad parameter block counts as absent, with result 0.
int32_t ipc_msg_from_buf(xp_obj *m, const void *bytes, int64_t n);

// Takes the just received buffer `b` (the caller's reference passes to the message), loads it without
// copying, and returns the message's old buffer, emptied, as the caller's. A null message returns `b`
// unchanged.
xp_obj *ipc_msg_exchangemem(xp_obj *m, xp_obj *b);

// --- Sending ---

// The channel (ipc/channel.h) on which ipc_msg_selfsend sends.
void ipc_msg_setcom(xp_obj *m, xp_obj *channel);

// Packages and sends. The count of the last write, or a code; IpcErrWouldBlock when more than msecs ms (-1:
// no limit) passed, IpcErrBadMessage without a channel.
int32_t ipc_msg_selfsend(xp_obj *m, int32_t msecs);

// The user who sent a request that a handler was given. Unlike "ptyp" and "ptid", the sender has no say in
// this one.
int32_t ipc_msg_peer(xp_obj *m, uint32_t *uid);

#endif
