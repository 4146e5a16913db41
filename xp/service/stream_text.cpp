// Streams that read a text which is there: the caller's bytes, a string, formatted text, an object's text.

#include "xp/format/format.h"
#include "xp/object/memory.h"
#include "xp/object/ref.h"
#include "xp/service/stream_kinds.h"
#include "xp/service/stream_type.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <stdarg.h>

#include <algorithm>
#include <utility>

namespace {

using xp::strm;

// What both kinds read from.
struct text_base : strm {
  const char *bytes;
  int64_t length;
  xp_obj *owner;  // of the bytes; null when they are the caller's
};

struct text : text_base {
  static constexpr uint32_t code = xp_code("stms");
};

struct object : text_base {
  static constexpr uint32_t code = xp_code("stmo");
  xp_obj *obj;
};

// Reads from a string, whose reference it takes over.
void read_from(text_base *t, xp_obj *string) {
  t->bytes = xp_str_getptr(string);
  t->length = xp_str_length(string);
  xp_release(std::exchange(t->owner, string));
}

int64_t text_read(strm *s, void *buffer, int64_t capacity) {
  auto *t = static_cast<text_base *>(s);
  int64_t count = std::clamp<int64_t>(t->length - t->at.read, 0, capacity);
  if (count > 0) xp_memcpy(buffer, t->bytes + t->at.read, static_cast<size_t>(count));
  return count;
}

int64_t text_length(strm *s) {
  return static_cast<text_base *>(s)->length;
}

void text_end(strm *s) {
  xp_release(static_cast<text_base *>(s)->owner);
}

int32_t object_open(strm *s) {
  auto *o = static_cast<object *>(s);
  xp_obj *string = xp_str_coerce(o->obj);
  if (string == nullptr) return XP_ERR_NOMEMORY;
  read_from(o, string);
  return 0;
}

int64_t object_length(strm *s) {
  auto *o = static_cast<object *>(s);
  return o->owner != nullptr ? o->length : xp_textify(o->obj, nullptr, 0);
}

void object_end(strm *s) {
  xp_release(static_cast<object *>(s)->obj);
  text_end(s);
}

constexpr xp::strm_ops text_ops = {.open = nullptr,
                                   .close = nullptr,
                                   .read = text_read,
                                   .write = nullptr,
                                   .length = text_length,
                                   .ioctl = nullptr,
                                   .end = text_end,
                                   .seeks = true};

constexpr xp::strm_ops object_ops = {.open = object_open,
                                     .close = nullptr,
                                     .read = text_read,
                                     .write = nullptr,
                                     .length = object_length,
                                     .ioctl = nullptr,
                                     .end = object_end,
                                     .seeks = true};

// Takes over the reference to the string.
xp_obj *over_string(xp_obj *string) {
  xp::ref owner = xp::ref::adopt(string);
  if (!owner) return nullptr;
  auto *t = xp::make_stream<text>(text_ops);
  if (t != nullptr) read_from(t, owner.leak());
  return t;
}

}  // namespace

xp_obj *xp_strm_newconst(const void *bytes, int64_t length) {
  auto *t = xp::make_stream<text>(text_ops);
  if (t == nullptr) return nullptr;
  t->bytes = static_cast<const char *>(bytes);
  t->length = xp_str_txtlen(t->bytes, length);
  return t;
}

xp_obj *xp_strm_newstring(xp_obj *string) {
  return xp_type(string) == xp_str_type() ? over_string(xp_retain(string)) : nullptr;
}

xp_obj *xp_strm_newformat(const char *format, ...) {
  va_list arguments;
  va_list again;
  va_start(arguments, format);
  va_copy(again, arguments);
  int64_t size = xp_fmt_vformat(nullptr, 0, format, arguments) + 1;
  auto *buffer = static_cast<char *>(xp_alloc(static_cast<size_t>(size)));
  xp_obj *stream = nullptr;
  if (buffer != nullptr)
    stream = over_string(xp_str_make(buffer, xp_fmt_vformat(buffer, size, format, again)));
  xp_free(buffer);
  va_end(again);
  va_end(arguments);
  return stream;
}

xp_obj *xp_strm_newobject(xp_obj *obj) {
  if (obj == nullptr) return nullptr;
  auto *o = xp::make_stream<object>(object_ops);
  if (o != nullptr) o->obj = xp_retain(obj);
  return o;
}
