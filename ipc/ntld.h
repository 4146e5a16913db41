// NTLD records ("ntld" builders): self-describing binary records of a name, a type, a length and data, which
// nest. A builder writes one outermost record into a growable data object, into a fixed buffer, or nowhere
// (it measures). A runtime object writes itself into a builder through XP_CTL_SERIALIZE without knowing this
// module: the builder answers XP_CTL_ADDRECORD. Builders are for one thread at a time.
//
//   offset  bytes  one record
//        0      4  name, four characters in reading order, compared as raw bytes
//        4      4  type, likewise
//        8      4  length of the data in bytes, big-endian, without header and padding
//       12      -  data, then zero bytes up to the next multiple of 4
//
// No operation reports an error code: failures are 0 or null, and leave the builder as it was.

#ifndef IPC_NTLD_H
#define IPC_NTLD_H

#include "xp/object/object.h"

#include <stdint.h>

enum : uint32_t { XP_NTLD_GROW = 0xFFFFFFFF };  // size of a growable builder

// "ntld"
uint32_t xp_ntld_type();

// --- Building ---

// A builder. XP_NTLD_GROW: `buffer` is a data object (xp/service/data.h) that is retained and written from
// its start, or null for a new one; the builder is null when that is a constant. Any other size: a fixed
// buffer of so many bytes at `buffer`, which must outlive the builder; null with a fixed size measures: bytes
// are counted and nothing is written.
xp_obj *xp_ntld_new(void *buffer, uint32_t size);

// The same choice for an existing builder, which then is empty; it measures when that is a constant or memory
// is exhausted. Open containers of the old buffer stay unfinished.
void xp_ntld_reset(xp_obj *builder, void *buffer, uint32_t size);

// Starts a container. 12, or 0 when there is no room for its header; then everything up to its close is
// refused.
// Deliberate: measuring remembers the places of 64 open containers only; a deeper one counts its bytes, yet
// closes then report the sizes of the wrong containers. The sum stays right.
uint32_t xp_ntld_open(xp_obj *builder, uint32_t name, uint32_t type);

// Ends the innermost container: its size with header, or 0 when none was open or its opening was refused.
uint32_t xp_ntld_close(xp_obj *builder);

// Append one record; the bytes it occupies, 0 when it does not fit. Null data writes `length` zero bytes.
uint32_t xp_ntld_add(xp_obj *builder, uint32_t name, uint32_t type, uint32_t length, const void *data);
uint32_t xp_ntld_add_tag(xp_obj *builder, uint32_t name, uint32_t code);     // "ctag": the code, raw
uint32_t xp_ntld_add_number(xp_obj *builder, uint32_t name, int32_t value);  // "long": big-endian
uint32_t xp_ntld_add_string(xp_obj *builder, uint32_t name,
                            const char *text);  // "text": without its zero byte

// Appends a "text" record of the text with its backslash escapes removed: a backslash and the byte behind it
// become that byte; a backslash at the end is dropped.
uint32_t xp_ntld_escapedtext(xp_obj *builder, uint32_t name, int64_t length, const char *text);

// --- Finishing: the first three close every open container ---

// The bytes, borrowed, valid until the next append; null while measuring and when nothing was written.
void *xp_ntld_data(xp_obj *builder);

// The data object of a growable builder, a new reference; it may be longer than the record. Null for a fixed
// buffer.
xp_obj *xp_ntld_dyndata(xp_obj *builder);

// The outermost record's length with its header; 0 when there is none or it claims more than was written. A
// measuring builder answers what it counted.
uint32_t xp_ntld_length(xp_obj *builder);

// The same without closing: 0 while a container is open and while measuring.
uint32_t xp_ntld_check(xp_obj *builder);

// --- Whole objects ---

// Builds a record set by xp_ntld_new(buffer, size), lets the object append itself under the name `tag`, and
// returns what its control operation answers: the bytes appended, or 0.
int64_t xp_serialize(xp_obj *obj, uint32_t tag, void *buffer, uint32_t size);

// A new data object of exactly the size of the object's record under the name `tag`; null when it writes
// none.
xp_obj *xp_ntld_package(xp_obj *obj, uint32_t tag);

// The reverse for bytes from outside: xp_deserialize of a record that lies whole within `available` bytes.
// Null when it does not, and when it is none of the prototype's. Strings, data, numbers, booleans and dates
// write themselves; containers of the runtime do not: what is to travel is laid out by its sender, record by
// record.
xp_obj *xp_ntld_unpackage(xp_obj *prototype, uint32_t tag, const void *bytes, uint32_t available);

// --- Reading ---
// Each reader takes a builder or a pointer to a record. A builder that has written fewer than 12 bytes or has
// a container open reads as nothing. The readers trust the lengths they meet: bytes from outside must pass
// xp_ntld_verify first, each nested container of its own, and are read with the raw forms of ipc/ntld_raw.h,
// since a record whose name and type bytes imitate an object's header would be mistaken for a builder here.
// Results point into the bytes.

// Just past the record with its padding.
const uint8_t *xp_ntld_next(const void *p);

// The record's length with header when it and its direct children are well formed within `available` bytes,
// else 0. Nested containers are not descended into.
uint32_t xp_ntld_verify(const void *p, uint32_t available);

// Direct children of a container; the first of a name; the one at an index from 0; null when there is none.
uint32_t xp_ntld_count(const void *p);
const uint8_t *xp_ntld_getbyname(const void *p, uint32_t name);
const uint8_t *xp_ntld_getbyindex(const void *p, uint32_t index);

// A child's data length; with `out` at most `max` bytes are copied and their number returned. 0 when not
// found.
uint32_t xp_ntld_getbytesbyname(const void *p, uint32_t name, void *out, uint32_t max);
uint32_t xp_ntld_getbytesbyindex(const void *p, uint32_t index, void *out, uint32_t max);

// A child's four data bytes, raw when its type is "ctag", as a number when it is "long"; 0 for anything else.
uint32_t xp_ntld_gettagbyname(const void *p, uint32_t name);
uint32_t xp_ntld_gettagbyindex(const void *p, uint32_t index);
int32_t xp_ntld_getlongbyname(const void *p, uint32_t name);
int32_t xp_ntld_getlongbyindex(const void *p, uint32_t index);

#endif
