// Runtime objects: heap blocks that carry a reference count, a four-character type code and their own
// operations, and are handed around as opaque pointers. This header holds the generic operations, which
// dispatch through the object itself.
//
// Rules of the whole runtime, stated here once:
//  1. Arguments are borrowed. A function that keeps an argument takes a reference of its own.
//  2. Results of new, make, coerce, copy, parse, fetch and get are new references: the caller releases them.
//  3. Every function accepts null and then does nothing, or returns 0 or null, unless its comment says
//  otherwise.
//  4. A text length below 0 means that the text is zero-terminated.
//  5. Memory exhaustion gives null or an error result. Nothing throws, nothing aborts.
//
// Threads: retain and release are safe from any thread. Contents are not locked: containers lock themselves
// only when they were created so; immutable objects (strings, numbers, booleans, tuples) may be shared
// freely.

#ifndef XP_OBJECT_OBJECT_H
#define XP_OBJECT_OBJECT_H

#include "xp/object/code.h"

#include <stddef.h>
#include <stdint.h>

struct xp_obj;

// Receives `length` bytes of text. A negative result reports a failure.
using xp_writer = int64_t (*)(void *context, const char *bytes, int64_t length);

// What XP_CTL_STREAM answers: streams the text of `obj` through `writer`.
using xp_streamer = int64_t (*)(xp_obj *obj, xp_writer writer, void *context);

// Codes of xp_control. A type answers those it knows and returns 0 for all others. Results that are pointers
// travel as integers.
enum xp_ctl : uint32_t {
  XP_CTL_SERIALIZE = 0,  // argument: record name; pointer: the record set (an object). Appends one record.
  XP_CTL_DESERIALIZE =
      1,  // argument: expected name, 0 for any; pointer: one received record. A new object or 0.
  XP_CTL_DUPLICATE = 2,   // argument: XP_DUP_* flags. A new object, or 0: share the object itself.
  XP_CTL_INSTANCEOF = 3,  // argument: a type code. Nonzero when the object also counts as that type.
  XP_CTL_FALSEY = 4,      // nonzero when the object counts as empty or false
  XP_CTL_VALUE = 5,       // the object's signed 64-bit integer value
  XP_CTL_STREAM = 6,      // an xp_streamer, or 0
  XP_CTL_POINTER =
      xp_code("pntr"),  // argument: 0; pointer: uint32_t that receives the byte count. The bytes.
  XP_CTL_TRAVERSE = xp_code("trav"),  // argument: XP_TRAV_*, see xp/service/traversal.h
  XP_CTL_ADDRECORD =
      xp_code("addr"),  // pointer: an xp_record to append (record sets only). Bytes added, or 0.
};

// Flags of XP_CTL_DUPLICATE and xp_duplicate.
enum : uint32_t {
  XP_DUP_SHALLOW = 1,  // containers retain their members instead of duplicating them
};

// One record on its way into a record set: what XP_CTL_SERIALIZE hands to the set's XP_CTL_ADDRECORD.
struct xp_record {
  uint32_t name;
  uint32_t type;
  uint32_t length;   // bytes at `data`
  const void *data;  // null writes `length` zero bytes
};

// --- Life cycle ---

// A new zeroed object of max(size, header size) bytes, aligned like a pointer, with count 1, the generic
// retain and release and no other operation; null when memory is exhausted.
xp_obj *xp_new(uint32_t type, size_t size);

// Turns caller-owned zeroed memory into an object of count 1. The memory stays the caller's: the type must
// give the object a release operation that does not free it.
xp_obj *xp_obj_init(void *memory, uint32_t type);

// Retain and release through the object's own operations. xp_retain returns what the operation returns: the
// object.
xp_obj *xp_retain(xp_obj *obj);
void xp_release(xp_obj *obj);

// The generic operations: count up; count down and free the block when the last reference goes.
xp_obj *xp_obj_retain(xp_obj *obj);
void xp_obj_release(xp_obj *obj);

// Counts down. 1 when the caller held the last reference and must now destroy contents and block, else 0.
int32_t xp_prerelease(xp_obj *obj);

// The current count; the type code; 0 for null.
int32_t xp_refs(xp_obj *obj);
uint32_t xp_type(xp_obj *obj);

// --- Comparing ---

// Negative, 0 or positive. The same pointer is equal; null comes first; objects of one type that share a
// compare operation are ordered by it; other types by type code; objects of one type without a common compare
// by address, which is stable within one run only.
int64_t xp_compare(xp_obj *a, xp_obj *b);

// xp_compare with an unused first argument, for routines that pass a context (xp_sort, xp_search).
int64_t xp_order(void *context, xp_obj *a, xp_obj *b);
int64_t xp_match(void *context, xp_obj *a, xp_obj *b);

// --- Text ---

// The object's text. A null buffer gives the length in bytes that is needed; otherwise at most `capacity`
// bytes are copied, without a terminating zero, and their number returned.
int64_t xp_textify(xp_obj *obj, char *buffer, int64_t capacity);

// Writes the object's text through `writer` and returns its result; -1 when a text buffer cannot be
// allocated.
int64_t xp_stream(xp_obj *obj, xp_writer writer, void *context);

// --- Control ---

// The object's control operation, 0 when it has none.
int64_t xp_control(xp_obj *obj, uint32_t code, int64_t argument, void *pointer);

// A copy made by XP_CTL_DUPLICATE; an object that does not copy itself is retained and returned. Recurses
// into containers: the depth of the tree is the depth of the stack.
xp_obj *xp_duplicate(xp_obj *obj, uint32_t flags);

// A new object of the prototype's type, read from one received record (12-byte header and data, verified by
// the caller); null when the record is of another type, or `name` is not 0 and differs from the record's.
xp_obj *xp_deserialize(xp_obj *prototype, uint32_t name, const void *record);

// 1 when the object is of that type or says that it counts as one.
int32_t xp_instanceof(xp_obj *obj, uint32_t type);

// Whether the object counts as empty or false. Null is falsey; so are the empty string, array, list and bag,
// false, 0, 0.0 and -0.0. NaN and everything else is truthy.
// Deliberate: an empty dictionary is truthy, unlike an empty array; templates and callers rely on it.
int32_t xp_falsey(xp_obj *obj);
int32_t xp_truthy(xp_obj *obj);

// The object's integer value, 0 when it has none.
int64_t xp_value(xp_obj *obj);

#endif
