#include "ipc/ntld.h"

#include "ipc/ntld_impl.h"
#include "ipc/ntld_raw.h"
#include "xp/object/record.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/service/data.h"

#include <string.h>

namespace {

bool measuring(const xp_ntld *b) {
  return b->bytes == nullptr && b->buffer == nullptr;
}

// Makes room for `needed` more bytes. The bytes of a growable builder may move.
bool reserve(xp_ntld *b, uint64_t needed) {
  if (b->refused != 0 || b->used + needed > UINT32_MAX) return false;
  if (measuring(b) || needed <= b->capacity - b->used) return true;
  if (b->buffer == nullptr || b->capacity + needed > UINT32_MAX) return false;
  if (xp_data_append(b->buffer, nullptr, static_cast<int64_t>(needed)) < 0) return false;
  b->bytes = static_cast<uint8_t *>(xp_data_getptr(b->buffer));
  b->capacity += static_cast<uint32_t>(needed);
  return true;
}

// Appends a record whose data the caller writes: `data` receives its place, null while measuring. The padding
// is zero already. The bytes the record occupies, or 0.
uint32_t append(xp_ntld *b, uint32_t name, uint32_t type, uint64_t length, uint8_t **data) {
  *data = nullptr;
  uint64_t needed = xp_ntld_occupied(length);
  if (!reserve(b, needed)) return 0;
  auto size = static_cast<uint32_t>(needed);
  if (!measuring(b)) {
    uint8_t *at = b->bytes + b->used;
    xp_ntld_write_header(at, name, type, static_cast<uint32_t>(length));
    *data = at + XP_NTLD_HEADER;
    memset(*data + length, 0, needed - XP_NTLD_HEADER - length);
  }
  b->used += size;
  return size;
}

void close_all(xp_ntld *b) {
  b->refused = 0;
  while (xp_ntld_close(b) != 0) {
  }
}

void attach(xp_ntld *b, xp_obj *buffer, uint8_t *bytes, uint32_t capacity, uint32_t used) {
  xp::ref old = xp::ref::adopt(b->buffer);
  b->buffer = buffer;
  b->bytes = bytes;
  b->capacity = capacity;
  b->used = used;
  b->open = XP_NTLD_NONE_OPEN;
  b->depth = 0;
  b->refused = 0;
}

// Chooses between the three kinds. False when the data object of a growable builder cannot be made or
// written.
bool set_buffer(xp_ntld *b, void *buffer, uint32_t size) {
  if (size != XP_NTLD_GROW) {
    attach(b, nullptr, static_cast<uint8_t *>(buffer), buffer == nullptr ? 0 : size, 0);
    return true;
  }
  xp::ref data = buffer == nullptr ? xp::ref::adopt(xp_data_new(nullptr, 0))
                                   : xp::ref::share(static_cast<xp_obj *>(buffer));
  int64_t length = xp_data_length(data.get());
  bool usable = xp_type(data.get()) == xp_data_type() && length < XP_NTLD_GROW;
  // Constant bytes are not ours to write; they tell themselves apart by not growing.
  if (usable && length != 0) usable = xp_data_append(data.get(), nullptr, 0) >= 0;
  auto *bytes = usable ? static_cast<uint8_t *>(xp_data_getptr(data.get())) : nullptr;
  attach(b, usable ? data.leak() : nullptr, bytes, bytes == nullptr ? 0 : static_cast<uint32_t>(length), 0);
  return usable;
}

int64_t ntld_control(xp_obj *obj, uint32_t code, int64_t /*argument*/, void *pointer) {
  switch (code) {
    case XP_CTL_ADDRECORD: {
      const auto *record = static_cast<const xp_record *>(pointer);
      if (record == nullptr) return 0;
      return xp_ntld_add(obj, record->name, record->type, record->length, record->data);
    }
    default: return 0;
  }
}

constexpr xp::ops ntld_ops = {.retain = xp_obj_retain,
                              .release = xp_ntld_release,
                              .compare = nullptr,
                              .textify = nullptr,
                              .control = ntld_control};

}  // namespace

uint32_t xp_ntld_type() {
  return xp_ntld::code;
}

xp_obj *xp_ntld_new(void *buffer, uint32_t size) {
  xp::ref builder = xp::ref::adopt(xp::make<xp_ntld>(ntld_ops));
  auto *b = xp::as<xp_ntld>(builder.get());
  if (b == nullptr) return nullptr;
  b->open = XP_NTLD_NONE_OPEN;
  return set_buffer(b, buffer, size) ? builder.leak() : nullptr;
}

void xp_ntld_reset(xp_obj *builder, void *buffer, uint32_t size) {
  auto *b = xp::as<xp_ntld>(builder);
  if (b != nullptr) set_buffer(b, buffer, size);
}

void xp_ntld_attach(xp_ntld *b, uint8_t *bytes, uint32_t capacity, uint32_t used) {
  attach(b, nullptr, bytes, capacity, used);
}

void xp_ntld_release(xp_obj *builder) {
  if (!xp_prerelease(builder)) return;
  auto *b = static_cast<xp_ntld *>(builder);
  close_all(b);
  xp_release(b->buffer);
  xp::destroy(b);
}

// --- Building ---

uint32_t xp_ntld_open(xp_obj *builder, uint32_t name, uint32_t type) {
  auto *b = xp::as<xp_ntld>(builder);
  if (b == nullptr) return 0;
  if (xp_ntld_room(b, XP_NTLD_HEADER) == nullptr && !reserve(b, XP_NTLD_HEADER)) {
    // Its close will come all the same and must not end the container around it.
    ++b->refused;
    return 0;
  }
  if (measuring(b)) {
    if (b->depth < XP_NTLD_MEASURED_DEPTH) b->positions[b->depth++] = b->used;
  } else {
    uint8_t *at = b->bytes + b->used;
    xp_ntld_write_header(at, name, type, 0);
    memcpy(at + 8, &b->open, sizeof b->open);
    b->open = b->used;
  }
  b->used += XP_NTLD_HEADER;
  return XP_NTLD_HEADER;
}

uint32_t xp_ntld_close(xp_obj *builder) {
  auto *b = xp::as<xp_ntld>(builder);
  if (b == nullptr) return 0;
  if (b->refused != 0) {
    --b->refused;
    return 0;
  }
  if (measuring(b)) return b->depth == 0 ? 0 : b->used - b->positions[--b->depth];
  if (b->open == XP_NTLD_NONE_OPEN) return 0;
  uint32_t size = b->used - b->open;
  uint8_t *length = b->bytes + b->open + 8;
  memcpy(&b->open, length, sizeof b->open);
  xp::store_be32(length, size - XP_NTLD_HEADER);
  return size;
}

uint32_t xp_ntld_append(xp_ntld *b, uint32_t name, uint32_t type, uint32_t length, const void *data) {
  uint8_t *to;
  uint32_t size = append(b, name, type, length, &to);
  if (to == nullptr || length == 0) return size;
  if (data != nullptr) {
    memcpy(to, data, length);
  } else {
    memset(to, 0, length);
  }
  return size;
}

uint32_t xp_ntld_add(xp_obj *builder, uint32_t name, uint32_t type, uint32_t length, const void *data) {
  auto *b = xp::as<xp_ntld>(builder);
  return b == nullptr ? 0 : xp_ntld_put(b, name, type, length, data);
}

uint32_t xp_ntld_add_tag(xp_obj *builder, uint32_t name, uint32_t code) {
  return xp_ntld_add(builder, name, xp_code("ctag"), sizeof code, &code);
}

uint32_t xp_ntld_add_number(xp_obj *builder, uint32_t name, int32_t value) {
  uint8_t bytes[4];
  xp::store_be32(bytes, static_cast<uint32_t>(value));
  return xp_ntld_add(builder, name, xp_code("long"), sizeof bytes, bytes);
}

uint32_t xp_ntld_add_string(xp_obj *builder, uint32_t name, const char *text) {
  size_t length = text == nullptr ? 0 : strlen(text);
  if (length > UINT32_MAX) return 0;
  return xp_ntld_add(builder, name, xp_code("text"), static_cast<uint32_t>(length), text);
}

uint32_t xp_ntld_escapedtext(xp_obj *builder, uint32_t name, int64_t length, const char *text) {
  auto *b = xp::as<xp_ntld>(builder);
  if (b == nullptr) return 0;
  int64_t end = text == nullptr ? 0 : length < 0 ? static_cast<int64_t>(strlen(text)) : length;
  // The first pass counts the bytes that stay, the second copies them.
  uint64_t kept = 0;
  for (int64_t i = 0; i < end; ++i) {
    if (text[i] == '\\' && ++i == end) break;
    ++kept;
  }
  if (kept > UINT32_MAX) return 0;
  uint8_t *to;
  uint32_t size = append(b, name, xp_code("text"), kept, &to);
  for (int64_t i = 0; to != nullptr && i < end; ++i) {
    if (text[i] == '\\' && ++i == end) break;
    *to++ = static_cast<uint8_t>(text[i]);
  }
  return size;
}

// --- Finishing ---

void *xp_ntld_data(xp_obj *builder) {
  auto *b = xp::as<xp_ntld>(builder);
  if (b == nullptr) return nullptr;
  close_all(b);
  return b->used == 0 ? nullptr : b->bytes;
}

xp_obj *xp_ntld_dyndata(xp_obj *builder) {
  auto *b = xp::as<xp_ntld>(builder);
  if (b == nullptr) return nullptr;
  close_all(b);
  return xp_retain(b->buffer);
}

uint32_t xp_ntld_length(xp_obj *builder) {
  auto *b = xp::as<xp_ntld>(builder);
  if (b == nullptr) return 0;
  close_all(b);
  return measuring(b) ? b->used : xp_ntld_check(b);
}

uint32_t xp_ntld_check(xp_obj *builder) {
  auto *b = xp::as<xp_ntld>(builder);
  return b == nullptr ? 0 : xp_ntld_total(b);
}

// --- Whole objects ---

int64_t xp_serialize(xp_obj *obj, uint32_t tag, void *buffer, uint32_t size) {
  xp::ref builder = xp::ref::adopt(xp_ntld_new(buffer, size));
  if (!builder) return 0;
  return xp_control(obj, XP_CTL_SERIALIZE, tag, builder.get());
}

xp_obj *xp_ntld_package(xp_obj *obj, uint32_t tag) {
  xp::ref measure = xp::ref::adopt(xp_ntld_new(nullptr, 0));
  xp_control(obj, XP_CTL_SERIALIZE, tag, measure.get());
  uint32_t size = xp_ntld_length(measure.get());
  if (size == 0) return nullptr;
  xp::ref data = xp::ref::adopt(xp_data_new(nullptr, size));
  if (!data) return nullptr;
  xp::ref fill = xp::ref::adopt(xp_ntld_new(xp_data_getptr(data.get()), size));
  if (!fill) return nullptr;
  xp_control(obj, XP_CTL_SERIALIZE, tag, fill.get());
  return data.leak();
}
