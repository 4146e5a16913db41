// The kinds of streams. Each constructor gives a closed stream, null when memory is exhausted or an argument
// that must be there is null. What they do in common stands in xp/service/stream.h.
//
//   kind       code  reads                           writes                       positions
//   base       stmb  by the caller's functions       by the caller's functions    count
//   scannable  stmc  another stream, with lookahead  through to it                count
//   file       stmf  a regular file                  a regular file               offsets
//   guarded    stmg  as the stream behind it         as the stream behind it      as the stream behind it
//   memory     stmm  what was written                a buffer that grows          offsets
//   null       stmn  nothing                         takes all and drops it       count
//   object     stmo  an object's text                -                            offsets
//   sequence   stmq  one stream after the other      -                            count
//   constant, string, format
//              stms  a text that is there            -                            offsets
//   tee        stmt  the first, copied to the second to both                      count
//   filtered   stmx  another stream, changed         another stream, changed      count

#ifndef XP_SERVICE_STREAM_KINDS_H
#define XP_SERVICE_STREAM_KINDS_H

#include "xp/object/object.h"
#include "xp/service/stream.h"

#include <stdint.h>

// --- Base ---

// The functions of a base stream, called with its context on the terms of the protocol: what they answer is
// the result, and what is null is refused (open and close: done). `end` is called with the last reference.
struct xp_strm_calls {
  int32_t (*open)(void *context, uint32_t mode);
  int32_t (*close)(void *context);
  int64_t (*read)(void *context, void *buffer, int64_t capacity);
  int64_t (*write)(void *context, const void *bytes, int64_t length);
  void (*end)(void *context);
};

// `calls` must live for ever; `context` as long as the stream.
xp_obj *xp_strm_newbase(const xp_strm_calls *calls, void *context);

// --- Places ---

// A file: a file object, or anything that xp_file_coerce takes. It is opened with the stream; what is there
// and no regular file is refused without waiting (XP_ERR_KIND). Nothing is buffered.
xp_obj *xp_strm_newfile(xp_obj *file);

// Memory. What was written stays when the stream is closed or opened again without XP_STRM_EMPTY.
xp_obj *xp_strm_newmem();

// The content of a memory stream, open or closed: as a new string; its bytes, borrowed until the next write.
xp_obj *xp_strm_memstring(xp_obj *s);
const void *xp_strm_memptr(xp_obj *s);

xp_obj *xp_strm_newnull();

// --- Texts ---

// The caller's bytes (below 0: a zero-terminated text), which are not copied and must outlive the stream; see
// XP_STRM_HOLD.
xp_obj *xp_strm_newconst(const void *bytes, int64_t length);

// A string (retained); null for anything else.
xp_obj *xp_strm_newstring(xp_obj *string);

// Formatted text, made at once. The format must be a literal.
xp_obj *xp_strm_newformat(const char *format, ...);

// The text that an object (retained) has when the stream is opened.
xp_obj *xp_strm_newobject(xp_obj *obj);

// --- Streams over streams, which they retain ---

// Another stream under a lock, so that threads may share it; each call of the protocol is one step, what is
// built on top of it several. Whoever uses the other stream beside it goes unguarded. The other stream's own
// functions must not come back to the guarded one.
xp_obj *xp_strm_newguarded(xp_obj *stream);

// Reads the streams one after the other, each opened when its turn comes and closed when it ends. The length
// is the sum of theirs. A null among them is passed over.
xp_obj *xp_strm_newsequence(xp_obj *const *streams, int64_t count);

// Writes to both streams; what is read from the first is written to the second. A failure of either is the
// tee's.
xp_obj *xp_strm_newtee(xp_obj *first, xp_obj *second);

// Changes bytes on their way: hands what it makes of them to the output function, in pieces of any size, and
// may keep some back until the next call. Null bytes are the end: it gives what it kept. A negative result is
// a failure.
using xp_strm_filter = int64_t (*)(void *context, const char *bytes, int64_t length, xp_writer out,
                                   void *out_context);

// Another stream with a filter before it: bytes written are changed before they reach it, bytes read after
// they have left it. One filter serves one direction at a time, and is not told when the stream is opened
// anew.
xp_obj *xp_strm_newfiltered(xp_obj *stream, xp_strm_filter filter, void *context);

// Another stream that can be looked into before it is read.
xp_obj *xp_strm_newscannable(xp_obj *stream);

// Copies up to `capacity` bytes that the next reads will give, without passing them. Fewer only at the end.
int64_t xp_strm_peek(xp_obj *scannable, void *buffer, int64_t capacity);

// How many bytes the next reads will give up to and with the first `byte`; to the end when there is none and
// `limit` is not reached, else XP_ERR_FULL, which is no failure of the stream: not one byte is passed.
int64_t xp_strm_scan(xp_obj *scannable, char byte, int64_t limit);

// The next line, without its "\n" or "\r\n", as a new string; null at the end, on a failure, or when it holds
// more than `limit` bytes before its "\n".
xp_obj *xp_strm_readline(xp_obj *scannable, int64_t limit);

#endif
