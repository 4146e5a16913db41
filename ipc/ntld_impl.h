// The NTLD builder's object, and the short way to append to one. Internal to this folder.

#ifndef IPC_NTLD_IMPL_H
#define IPC_NTLD_IMPL_H

#include "ipc/ntld_raw.h"
#include "xp/object/record.h"
#include "xp/object/type.h"

#include <stdint.h>
#include <string.h>

enum : uint32_t {
  XP_NTLD_NONE_OPEN = 0xFFFFFFFF,
  XP_NTLD_MEASURED_DEPTH = 64,
};

struct xp_ntld : xp_obj {
  static constexpr uint32_t code = xp_code("ntld");
  xp_obj *buffer;     // data object of a growable builder, owned; null for a fixed buffer
  uint8_t *bytes;     // start of the output; null while measuring, and while a growable builder holds nothing
  uint32_t capacity;  // bytes at `bytes`
  uint32_t used;      // bytes written, or counted
  uint32_t open;      // innermost open header, whose length field holds the position of the one around it
  uint32_t depth;     // open containers while measuring, at most 64
  uint32_t refused;   // opens that found no room and are not closed yet: what is in them is refused, too
  uint32_t positions[XP_NTLD_MEASURED_DEPTH];  // headers of the open containers while measuring
};

// What a record of so many data bytes occupies. In 64 bits: the sum wraps near 4 GiB otherwise.
inline uint64_t xp_ntld_occupied(uint64_t length) {
  return XP_NTLD_HEADER + ((length + 3) & ~uint64_t{3});
}

inline void xp_ntld_write_header(uint8_t *at, uint32_t name, uint32_t type, uint32_t length) {
  memcpy(at, &name, sizeof name);
  memcpy(at + 4, &type, sizeof type);
  xp::store_be32(at + 8, length);
}

// Where the next `size` bytes go when they fit without growing; null when they do not, when the builder
// measures and when it refuses.
inline uint8_t *xp_ntld_room(const xp_ntld *b, uint64_t size) {
  bool fits = b->bytes != nullptr && b->refused == 0 && size <= b->capacity - b->used;
  return fits ? b->bytes + b->used : nullptr;
}

// memcpy for texts of a few words, most of which it copies in two overlapping pieces.
inline void xp_ntld_copy(uint8_t *to, const uint8_t *from, uint32_t length) {
  if (length > 32) {
    memcpy(to, from, length);
  } else if (length >= 16) {
    memcpy(to, from, 16);
    memcpy(to + length - 16, from + length - 16, 16);
  } else if (length >= 8) {
    memcpy(to, from, 8);
    memcpy(to + length - 8, from + length - 8, 8);
  } else if (length >= 4) {
    memcpy(to, from, 4);
    memcpy(to + length - 4, from + length - 4, 4);
  } else if (length != 0) {
    to[0] = from[0];
    to[length / 2] = from[length / 2];
    to[length - 1] = from[length - 1];
  }
}

// xp_ntld_add for a builder that is known to be one, the long way; and the short way with the long one behind
// it.
uint32_t xp_ntld_append(xp_ntld *b, uint32_t name, uint32_t type, uint32_t length, const void *data);
inline uint32_t xp_ntld_put(xp_ntld *b, uint32_t name, uint32_t type, uint32_t length, const void *data) {
  uint64_t size = xp_ntld_occupied(length);
  uint8_t *at = data == nullptr ? nullptr : xp_ntld_room(b, size);
  if (at == nullptr) return xp_ntld_append(b, name, type, length, data);
  // The last word first: it holds the padding, or nothing that is not written again.
  memset(at + size - 4, 0, 4);
  xp_ntld_write_header(at, name, type, length);
  xp_ntld_copy(at + XP_NTLD_HEADER, static_cast<const uint8_t *>(data), length);
  b->used += static_cast<uint32_t>(size);
  return static_cast<uint32_t>(size);
}

// Points a builder at a fixed buffer that already holds a finished record of `used` bytes, so that the
// readers accept it; used 0 gives a builder that reads as nothing.
void xp_ntld_attach(xp_ntld *b, uint8_t *bytes, uint32_t capacity, uint32_t used);

// Whether a container is open.
inline bool xp_ntld_isopen(const xp_ntld *b) {
  return b->open != XP_NTLD_NONE_OPEN || b->depth != 0 || b->refused != 0;
}

// What xp_ntld_check answers.
inline uint32_t xp_ntld_total(const xp_ntld *b) {
  if (b->bytes == nullptr || b->used < XP_NTLD_HEADER || xp_ntld_isopen(b)) return 0;
  uint64_t total = uint64_t{xp::load_be32(b->bytes + 8)} + XP_NTLD_HEADER;
  return total > b->used ? 0 : static_cast<uint32_t>(total);
}

// The builder's record without closing anything: its bytes when xp_ntld_check accepts it, else null.
inline const uint8_t *xp_ntld_record(const xp_ntld *b) {
  return xp_ntld_total(b) == 0 ? nullptr : b->bytes;
}

// The type's release operation: how the readers tell a builder from bytes.
void xp_ntld_release(xp_obj *builder);

#endif
