#include "xp/service/stream.h"

#include "xp/format/format.h"
#include "xp/object/lock.h"
#include "xp/object/ref.h"
#include "xp/service/data.h"
#include "xp/service/stream_type.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <stdarg.h>

#include <utility>

namespace {

using xp::strm;

constexpr int64_t chunk_size = 8192;

void release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  auto *s = static_cast<strm *>(obj);
  if (s->ops->end != nullptr) s->ops->end(s);
  xp_release(s->held);
  xp_release(s->lock);
  xp::destroy(s);
}

int64_t control(xp_obj * /*obj*/, uint32_t code, int64_t argument, void * /*pointer*/) {
  switch (code) {
    case XP_CTL_INSTANCEOF: return argument == xp_strm_type();
    default: return 0;
  }
}

// A failure becomes the status; a refusal changes nothing.
int64_t note(strm *s, int64_t result) {
  if (result < XP_ERR_REFUSED) s->status = static_cast<int32_t>(result);
  return result;
}

int64_t hold(strm *s, xp_obj *obj) {
  xp_release(std::exchange(s->held, xp_retain(obj)));
  return 0;
}

int64_t tell(const strm *s, xp_strm_position *position) {
  if (position == nullptr) return XP_ERR_REFUSED;
  *position = s->at;
  return 0;
}

int64_t seek(strm *s, int64_t offset) {
  if (!s->ops->seeks || offset < 0) return XP_ERR_REFUSED;
  if (s->status != XP_STRM_OPEN) return s->status;
  s->at = {.read = offset, .write = offset};
  return offset;
}

}  // namespace

namespace xp {

const ops strm_object_ops = {
    .retain = xp_obj_retain, .release = release, .compare = nullptr, .textify = nullptr, .control = control};

strm *as_stream(xp_obj *obj) {
  constexpr uint32_t first_three = 0xffffff;
  bool is_stream = (xp_type(obj) & first_three) == xp_code("stm");
  return is_stream ? static_cast<strm *>(obj) : nullptr;
}

int64_t strm_ioctl(strm *s, uint32_t request, int64_t value, void *pointer) {
  switch (request) {
    case XP_STRM_TELL: return tell(s, static_cast<xp_strm_position *>(pointer));
    case XP_STRM_SEEK: return seek(s, value);
    case XP_STRM_HOLD: return hold(s, static_cast<xp_obj *>(pointer));
    default: return XP_ERR_REFUSED;
  }
}

}  // namespace xp

uint32_t xp_strm_type() {
  return xp_code("strm");
}

int32_t xp_strm_open(xp_obj *obj, uint32_t mode) {
  strm *s = xp::as_stream(obj);
  if (s == nullptr) return XP_ERR_REFUSED;
  xp::crit_guard guard(s->lock);
  s->at = {};
  s->mode = mode != 0 ? mode : XP_STRM_READ | XP_STRM_WRITE;
  int32_t result = s->ops->open == nullptr ? 0 : s->ops->open(s);
  s->status = result < 0 ? result : XP_STRM_OPEN;
  return result < 0 ? result : 0;
}

int32_t xp_strm_close(xp_obj *obj) {
  strm *s = xp::as_stream(obj);
  if (s == nullptr) return 0;
  xp::crit_guard guard(s->lock);
  int32_t before = s->status;
  if (before == XP_STRM_CLOSED) return 0;
  int32_t result = s->ops->close == nullptr ? 0 : s->ops->close(s);
  s->status = result > 0 ? result : XP_STRM_CLOSED;
  if (before < 0) return before;
  return result < 0 ? result : 0;
}

int32_t xp_strm_status(xp_obj *obj) {
  strm *s = xp::as_stream(obj);
  if (s == nullptr) return XP_STRM_CLOSED;
  xp::crit_guard guard(s->lock);
  return s->status;
}

int64_t xp_strm_read(xp_obj *obj, void *buffer, int64_t capacity) {
  strm *s = xp::as_stream(obj);
  if (s == nullptr || s->ops->read == nullptr) return XP_ERR_REFUSED;
  xp::crit_guard guard(s->lock);
  if (s->status != XP_STRM_OPEN) return s->status;
  if ((s->mode & XP_STRM_READ) == 0) return XP_ERR_REFUSED;
  if (buffer == nullptr || capacity <= 0) return 0;
  int64_t count = note(s, s->ops->read(s, buffer, capacity));
  if (count > 0) s->at.read += count;
  return count;
}

int64_t xp_strm_write(xp_obj *obj, const void *bytes, int64_t length) {
  strm *s = xp::as_stream(obj);
  if (s == nullptr || s->ops->write == nullptr) return XP_ERR_REFUSED;
  int64_t size = xp_str_txtlen(static_cast<const char *>(bytes), length);
  xp::crit_guard guard(s->lock);
  if (s->status != XP_STRM_OPEN) return s->status;
  if ((s->mode & XP_STRM_WRITE) == 0) return XP_ERR_REFUSED;
  if (size == 0) return 0;
  int64_t count = note(s, s->ops->write(s, bytes, size));
  if (count > 0) s->at.write += count;
  return count;
}

int64_t xp_strm_length(xp_obj *obj) {
  strm *s = xp::as_stream(obj);
  if (s == nullptr || s->ops->length == nullptr) return 0;
  xp::crit_guard guard(s->lock);
  return s->ops->length(s);
}

int64_t xp_strm_ioctl(xp_obj *obj, uint32_t request, int64_t value, void *pointer) {
  strm *s = xp::as_stream(obj);
  if (s == nullptr) return XP_ERR_REFUSED;
  xp::crit_guard guard(s->lock);
  return s->ops->ioctl == nullptr ? xp::strm_ioctl(s, request, value, pointer)
                                  : s->ops->ioctl(s, request, value, pointer);
}

int64_t xp_strm_tell(xp_obj *s) {
  xp_strm_position position{};
  int64_t result = xp_strm_ioctl(s, XP_STRM_TELL, 0, &position);
  return result < 0 ? result : position.read;
}

int64_t xp_strm_seek(xp_obj *s, int64_t offset) {
  return xp_strm_ioctl(s, XP_STRM_SEEK, offset, nullptr);
}

// --- On top of the protocol ---

int64_t xp_strm_writer(void *stream, const char *bytes, int64_t length) {
  return xp_strm_write(static_cast<xp_obj *>(stream), bytes, length);
}

int64_t xp_strm_writeobj(xp_obj *s, xp_obj *obj) {
  return xp_stream(obj, xp_strm_writer, s);
}

int64_t xp_strm_writef(xp_obj *s, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int64_t result = xp_fmt_vstream(xp_strm_writer, s, format, arguments);
  va_end(arguments);
  return result;
}

int64_t xp_strm_copy(xp_obj *from, xp_obj *to) {
  char chunk[chunk_size];
  int64_t total = 0;
  for (;;) {
    int64_t count = xp_strm_read(from, chunk, chunk_size);
    if (count == 0) return total;
    if (count > 0) count = xp_strm_write(to, chunk, count);
    // A closed target takes nothing.
    if (count <= 0) return count < 0 ? count : XP_ERR_REFUSED;
    total += count;
  }
}

xp_obj *xp_strm_string(xp_obj *s, int64_t limit) {
  xp::ref content = xp::ref::adopt(xp_data_new(nullptr, 0));
  if (!content || s == nullptr) return nullptr;
  char chunk[chunk_size];
  int64_t count;
  while ((count = xp_strm_read(s, chunk, chunk_size)) > 0) {
    int64_t length = xp_data_append(content.get(), chunk, count);
    if (length < 0 || (limit >= 0 && length > limit)) return nullptr;
  }
  if (count < 0) return nullptr;
  return xp_str_make(static_cast<const char *>(xp_data_getptr(content.get())), xp_data_length(content.get()));
}
