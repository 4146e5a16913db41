#include "ipc/ntld.h"
#include "ipc/ntld_impl.h"
#include "ipc/ntld_raw.h"
#include "xp/object/type.h"

#include <stddef.h>
#include <string.h>

namespace {

constexpr uint32_t most_references = 0xFFFFFF;
constexpr size_t header_left = XP_NTLD_HEADER - offsetof(xp_obj, retain);

// Whether `p` is a builder and not a record. Field by field, stopping at the first miss: a record may be as
// short as its own header, which ends within the retain operation. Bytes from outside get past it only by
// holding half of this process's address of that operation.
bool is_builder(const void *p) {
  if (reinterpret_cast<uintptr_t>(p) % alignof(xp_obj) != 0) return false;
  const auto *bytes = static_cast<const uint8_t *>(p);
  uint32_t count;
  memcpy(&count, bytes + offsetof(xp_obj, refs), sizeof count);
  if (count == 0 || count > most_references) return false;
  uint32_t type;
  memcpy(&type, bytes + offsetof(xp_obj, type), sizeof type);
  if (type != xp_ntld_type()) return false;
  xp_obj *(*const retain)(xp_obj *) = xp_obj_retain;
  if (memcmp(bytes + offsetof(xp_obj, retain), &retain, header_left) != 0) return false;
  void (*release)(xp_obj *);
  memcpy(&release, bytes + offsetof(xp_obj, release), sizeof release);
  return release == xp_ntld_release;
}

// The record to read: a builder's own when it is finished, else `p` itself.
const uint8_t *record_of(const void *p) {
  if (p == nullptr) return nullptr;
  if (!is_builder(p)) return static_cast<const uint8_t *>(p);
  return xp_ntld_record(static_cast<const xp_ntld *>(p));
}

}  // namespace

const uint8_t *xp_ntld_next(const void *p) {
  return xp_ntld_raw_next(record_of(p));
}

uint32_t xp_ntld_verify(const void *p, uint32_t available) {
  return available < XP_NTLD_HEADER ? 0 : xp_ntld_raw_verify(record_of(p), available);
}

uint32_t xp_ntld_count(const void *p) {
  return xp_ntld_raw_count(record_of(p));
}

const uint8_t *xp_ntld_getbyname(const void *p, uint32_t name) {
  return xp_ntld_raw_getbyname(record_of(p), name);
}

const uint8_t *xp_ntld_getbyindex(const void *p, uint32_t index) {
  return xp_ntld_raw_getbyindex(record_of(p), index);
}

uint32_t xp_ntld_getbytesbyname(const void *p, uint32_t name, void *out, uint32_t max) {
  return xp_ntld_raw_bytes(xp_ntld_getbyname(p, name), out, max);
}

uint32_t xp_ntld_getbytesbyindex(const void *p, uint32_t index, void *out, uint32_t max) {
  return xp_ntld_raw_bytes(xp_ntld_getbyindex(p, index), out, max);
}

uint32_t xp_ntld_gettagbyname(const void *p, uint32_t name) {
  return xp_ntld_raw_tag(xp_ntld_getbyname(p, name));
}

uint32_t xp_ntld_gettagbyindex(const void *p, uint32_t index) {
  return xp_ntld_raw_tag(xp_ntld_getbyindex(p, index));
}

int32_t xp_ntld_getlongbyname(const void *p, uint32_t name) {
  return xp_ntld_raw_long(xp_ntld_getbyname(p, name));
}

int32_t xp_ntld_getlongbyindex(const void *p, uint32_t index) {
  return xp_ntld_raw_long(xp_ntld_getbyindex(p, index));
}

xp_obj *xp_ntld_unpackage(xp_obj *prototype, uint32_t tag, const void *bytes, uint32_t available) {
  const auto *record = static_cast<const uint8_t *>(bytes);
  if (record == nullptr || available < XP_NTLD_HEADER) return nullptr;
  if (xp_ntld_raw_length(record) > available - XP_NTLD_HEADER) return nullptr;
  return xp_deserialize(prototype, tag, record);
}
