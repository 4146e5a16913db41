#include "xp/object/memory.h"
#include "xp/service/data.h"
#include "xp/service/stream_kinds.h"
#include "xp/service/stream_type.h"
#include "xp/string/string.h"

#include <algorithm>
#include <utility>

namespace {

using xp::strm;

struct memory : strm {
  static constexpr uint32_t code = xp_code("stmm");
  xp_obj *data;  // the content
};

unsigned char *xpsm_bytes(strm *s) {
  return static_cast<unsigned char *>(xp_data_getptr(static_cast<memory *>(s)->data));
}

int64_t xpsm_length(strm *s) {
  return xp_data_length(static_cast<memory *>(s)->data);
}

int32_t xpsm_open(strm *s) {
  auto *m = static_cast<memory *>(s);
  constexpr uint32_t emptied = XP_STRM_WRITE | XP_STRM_EMPTY;
  if ((m->mode & emptied) == emptied) {
    xp_obj *empty = xp_data_new(nullptr, 0);
    if (empty == nullptr) return XP_ERR_NOMEMORY;
    xp_release(std::exchange(m->data, empty));
  }
  return 0;
}

int64_t xpsm_read(strm *s, void *buffer, int64_t capacity) {
  int64_t count = std::clamp<int64_t>(xpsm_length(s) - s->at.read, 0, capacity);
  if (count > 0) xp_memcpy(buffer, xpsm_bytes(s) + s->at.read, static_cast<size_t>(count));
  return count;
}

int64_t xpsm_write(strm *s, const void *bytes, int64_t size) {
  auto *m = static_cast<memory *>(s);
  int64_t length = xpsm_length(s);
  if ((m->mode & XP_STRM_APPEND) != 0) m->at.write = length;
  int64_t end;
  if (__builtin_add_overflow(m->at.write, size, &end)) return XP_ERR_NOMEMORY;
  if (m->at.write == length) return xp_data_append(m->data, bytes, size) < 0 ? XP_ERR_NOMEMORY : size;
  if (end > length && xp_data_append(m->data, nullptr, end - length) < 0) return XP_ERR_NOMEMORY;
  xp_memcpy(xpsm_bytes(s) + m->at.write, bytes, static_cast<size_t>(size));
  return size;
}

void xpsm_end(strm *s) {
  xp_release(static_cast<memory *>(s)->data);
}

constexpr xp::strm_ops memory_ops = {.open = xpsm_open,
                                     .close = nullptr,
                                     .read = xpsm_read,
                                     .write = xpsm_write,
                                     .length = xpsm_length,
                                     .ioctl = nullptr,
                                     .end = xpsm_end,
                                     .seeks = true};

}  // namespace

xp_obj *xp_strm_newmem() {
  auto *m = xp::make_stream<memory>(memory_ops);
  if (m == nullptr) return nullptr;
  m->data = xp_data_new(nullptr, 0);
  if (m->data != nullptr) return m;
  xp_release(m);
  return nullptr;
}

xp_obj *xp_strm_memstring(xp_obj *s) {
  auto *m = xp::as<memory>(s);
  if (m == nullptr) return nullptr;
  return xp_str_make(reinterpret_cast<const char *>(xpsm_bytes(m)), xpsm_length(m));
}

const void *xp_strm_memptr(xp_obj *s) {
  auto *m = xp::as<memory>(s);
  return m == nullptr ? nullptr : xpsm_bytes(m);
}
