#include "xp/service/data.h"

#include "xp/object/record.h"
#include "xp/object/type.h"

#include <algorithm>

namespace {

constexpr int64_t first_capacity = 64;

struct data : xp_obj {
  static constexpr uint32_t code = xp_code("data");
  unsigned char *bytes;  // may be null while length is 0
  int64_t length;
  int64_t capacity;  // bytes of the block; 0 when the bytes are the caller's
  bool constant;     // the bytes are the caller's: neither written nor freed
};

void release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  auto *d = static_cast<data *>(obj);
  if (!d->constant) xp_free(d->bytes);
  xp::destroy(obj);
}

int64_t compare(xp_obj *a, xp_obj *b) {
  auto *x = xp::as<data>(a);
  auto *y = xp::as<data>(b);
  if (x == nullptr || y == nullptr) return xp_compare(a, b);
  int order = xp_memcmp(x->bytes, y->bytes, static_cast<size_t>(std::min(x->length, y->length)));
  return order != 0 ? order : x->length - y->length;
}

// Records and the pointer operation count bytes in 32 bits; larger data has no such form.
bool fits_record(const data &d) {
  return d.length <= UINT32_MAX;
}

int64_t serialize(const data &d, int64_t name, void *set) {
  if (!fits_record(d)) return 0;
  return xp::record_append(set, name, data::code, d.bytes, static_cast<uint32_t>(d.length));
}

xp_obj *deserialize(int64_t name, const void *bytes) {
  xp_record record = xp::record_read(bytes);
  return xp::record_fits(record, name, data::code, 0) ? xp_data_new(record.data, record.length) : nullptr;
}

int64_t bytes_of(const data &d, int64_t argument, void *length) {
  if (argument != 0 || !fits_record(d)) return 0;
  if (length != nullptr) *static_cast<uint32_t *>(length) = static_cast<uint32_t>(d.length);
  return xp::result(d.bytes);
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void *pointer) {
  auto *d = xp::as<data>(obj);
  if (d == nullptr) return 0;
  switch (code) {
    case XP_CTL_SERIALIZE: return serialize(*d, argument, pointer);
    case XP_CTL_DESERIALIZE: return xp::result(deserialize(argument, pointer));
    case XP_CTL_DUPLICATE: return xp::result(xp_data_new(d->bytes, d->length));
    case XP_CTL_POINTER: return bytes_of(*d, argument, pointer);
    default: return 0;
  }
}

constexpr xp::ops data_ops = {
    .retain = xp_obj_retain, .release = release, .compare = compare, .textify = nullptr, .control = control};

// Data over a block that it takes over, or over the caller's bytes.
xp_obj *make(void *bytes, int64_t length, bool constant) {
  auto *d = xp::make<data>(data_ops);
  if (d == nullptr) return nullptr;
  d->bytes = static_cast<unsigned char *>(bytes);
  d->length = length;
  d->capacity = constant ? 0 : length;
  d->constant = constant;
  return d;
}

// Room for `needed` bytes. The old block stays until the new one is there, so that a failure changes nothing.
bool reserve(data &d, int64_t needed) {
  if (needed <= d.capacity) return true;
  int64_t doubled = d.capacity > INT64_MAX / 2 ? INT64_MAX : d.capacity * 2;
  int64_t capacity = std::max({needed, doubled, first_capacity});
  auto *grown = static_cast<unsigned char *>(xp_alloc(static_cast<size_t>(capacity)));
  if (grown == nullptr) return false;
  xp_memcpy(grown, d.bytes, static_cast<size_t>(d.length));
  xp_free(d.bytes);
  d.bytes = grown;
  d.capacity = capacity;
  return true;
}

}  // namespace

uint32_t xp_data_type() {
  return data::code;
}

xp_obj *xp_data_new(const void *bytes, int64_t length) {
  if (length < 0) return nullptr;
  void *block = xp_alloc(static_cast<size_t>(length));
  if (block == nullptr) return nullptr;
  if (bytes != nullptr) xp_memcpy(block, bytes, static_cast<size_t>(length));
  xp_obj *d = xp_data_alloc(block, length);
  if (d == nullptr) xp_free(block);
  return d;
}

xp_obj *xp_data_const(const void *bytes, int64_t length) {
  if (length < 0 || (bytes == nullptr && length > 0)) return nullptr;
  return make(const_cast<void *>(bytes), length, true);
}

xp_obj *xp_data_alloc(void *bytes, int64_t length) {
  if (length < 0 || (bytes == nullptr && length > 0)) return nullptr;
  return make(bytes, length, false);
}

void *xp_data_getptr(xp_obj *d) {
  auto *self = xp::as<data>(d);
  return self == nullptr ? nullptr : self->bytes;
}

int64_t xp_data_length(xp_obj *d) {
  auto *self = xp::as<data>(d);
  return self == nullptr ? 0 : self->length;
}

int64_t xp_data_append(xp_obj *d, const void *bytes, int64_t length) {
  auto *self = xp::as<data>(d);
  if (self == nullptr || self->constant || length < 0 || length > INT64_MAX - self->length) return -1;
  if (!reserve(*self, self->length + length)) return -1;
  unsigned char *end = self->bytes + self->length;
  if (bytes != nullptr) {
    xp_memcpy(end, bytes, static_cast<size_t>(length));
  } else {
    xp_memclr(end, static_cast<size_t>(length));
  }
  self->length += length;
  return self->length;
}
