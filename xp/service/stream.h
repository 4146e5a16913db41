// Streams: bytes that are read and written one after the other, whatever is behind them. One protocol for
// all; the kinds stand in xp/service/stream_kinds.h. A stream belongs to one thread at a time, except a
// guarded one.
//
// The protocol:
//  1. A stream is made closed. Opening it begins anew, also when it was open or had failed: both positions
//     are 0. Closing ends it; what it still held back is written then. Releasing an open stream frees what it
//     owns but writes nothing more.
//  2. Its status is 1 while it is open, 0 when it is closed, or the code of the failure that stopped it
//     (xp/service/status.h), which stays until it is opened again. Reading and writing answer a status that
//     is not positive with that status.
//  3. XP_ERR_REFUSED (-1) says that the stream does not do such a thing; it goes on as if it had not been
//     asked. Any other negative result is a failure and becomes the status.
//  4. A stream has a position for reading and one for writing. Where the bytes lie in one place (files,
//     memory, texts) they are offsets into it and xp_strm_seek moves both; elsewhere they count.
//  5. Writing takes all of the bytes or fails. Reading gives what there is, at least one byte, or 0 at the
//     end.
//  6. A stream that stands on other streams retains them, opens them when it is opened and closes them when
//     it is closed.
//  7. Every stream can hold one object (XP_STRM_HOLD): it is released with the stream or when another takes
//     its place. So whatever lends a stream its bytes can be kept alive by it.

#ifndef XP_SERVICE_STREAM_H
#define XP_SERVICE_STREAM_H

#include "xp/object/object.h"
#include "xp/service/status.h"

#include <stdint.h>

// What a stream is opened for; 0 means reading and writing.
enum : uint32_t {
  XP_STRM_READ = 1,
  XP_STRM_WRITE = 2,   // a file is made when there is none
  XP_STRM_APPEND = 4,  // with WRITE: every byte goes to the end
  XP_STRM_EMPTY = 8,   // with WRITE: drops what is there
  XP_STRM_FRESH = 16,  // with WRITE: fails when the file exists
};

enum : int32_t {
  XP_STRM_CLOSED = 0,
  XP_STRM_OPEN = 1,
};

// Requests of xp_strm_ioctl.
enum : uint32_t {
  XP_STRM_TELL = 1,                // pointer: xp_strm_position to fill. 0.
  XP_STRM_SEEK = 2,                // value: the new offset of both positions. The offset.
  XP_STRM_SYNC = 3,                // waits until what was written is on the disk (files). 0.
  XP_STRM_HOLD = xp_code("xobj"),  // pointer: the object to hold (retained; null: none). 0.
};

struct xp_strm_position {
  int64_t read;
  int64_t write;
};

// "strm": every stream counts as one (xp_instanceof), beside the code of its own kind.
uint32_t xp_strm_type();

// Opens a stream; `mode` is XP_STRM_READ and so on. 0, or the failure, which is then its status.
int32_t xp_strm_open(xp_obj *s, uint32_t mode);

// Closes it. 0, or the failure that had stopped it or that closing met, so that who only writes need look
// here alone. Closing a closed stream does nothing.
int32_t xp_strm_close(xp_obj *s);

int32_t xp_strm_status(xp_obj *s);

// Reads up to `capacity` bytes. Their number, 0 at the end, or a negative result.
int64_t xp_strm_read(xp_obj *s, void *buffer, int64_t capacity);

// Writes `length` bytes (below 0: a zero-terminated text). The number written, or a negative result.
int64_t xp_strm_write(xp_obj *s, const void *bytes, int64_t length);

// How many bytes there are in all, from offset 0; 0 when the stream cannot tell; a negative result, which is
// no failure of the stream, when its file is not there. Closed streams answer too.
int64_t xp_strm_length(xp_obj *s);

// A request outside of reading and writing; XP_ERR_REFUSED for one that the stream does not know.
int64_t xp_strm_ioctl(xp_obj *s, uint32_t request, int64_t value, void *pointer);

// The reading position. Moves both positions, beyond the end too: reading there finds the end, writing fills
// the gap with zero bytes. The offset, or a negative result.
int64_t xp_strm_tell(xp_obj *s);
int64_t xp_strm_seek(xp_obj *s, int64_t offset);

// --- On top of the protocol ---

// xp_strm_write as an output function; the context is the stream. For xp_stream and xp_fmt_stream.
int64_t xp_strm_writer(void *stream, const char *bytes, int64_t length);

// Writes an object's text; formatted text. The writer's result, the bytes written, or a negative result.
int64_t xp_strm_writeobj(xp_obj *s, xp_obj *obj);
int64_t xp_strm_writef(xp_obj *s, const char *format, ...);

// Copies everything from one open stream's reading position to its end into another. The bytes copied, or the
// first negative result.
int64_t xp_strm_copy(xp_obj *from, xp_obj *to);

// Everything from the reading position to the end as a new string; null on a failure, or when it is more than
// `limit` bytes (-1: no limit).
xp_obj *xp_strm_string(xp_obj *s, int64_t limit);

#endif
