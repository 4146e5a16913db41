#include "xp/string/string.h"

#include "xp/format/engine.h"
#include "xp/format/format.h"
#include "xp/object/memory_hook.h"
#include "xp/object/quick.h"
#include "xp/object/record.h"
#include "xp/object/short_copy.h"
#include "xp/string/string_impl.h"
#include "xp/string/text.h"
#include "xp/string/utf8.h"

#include <assert.h>
#include <stdarg.h>
#include <string.h>

namespace {

constexpr xp::ops string_ops = {
    .retain = xp_obj_retain,
    .release = xp_obj_release,
    .compare = xp_str_compare,
    .textify = xp_str_textify,
    .control = xp_str_control,
};

int64_t serialize(xps_string *s, int64_t name, void *set) {
  if (s->length > UINT32_MAX) return 0;
  return xp::record_append(set, name, xps_string::code, s->text, static_cast<uint32_t>(s->length));
}

int64_t deserialize(int64_t name, const void *bytes) {
  xp_record record = xp::record_read(bytes);
  bool fits =
      xp::record_fits(record, name, xps_string::code, 0) || xp::record_fits(record, name, xp_code("text"), 0);
  if (!fits) return 0;
  return xp::result(xp_str_make(static_cast<const char *>(record.data), record.length));
}

int64_t pointer(xps_string *s, int64_t argument, uint32_t *length) {
  if (argument != 0 || length == nullptr || s->length > UINT32_MAX) return 0;
  *length = static_cast<uint32_t>(s->length);
  return xp::result(s->text);
}

}  // namespace

namespace {

// xps_make, for those who cannot afford its call.
[[gnu::always_inline]] inline xps_string *make_string(int64_t length) {
  if (length < 0) return nullptr;
  auto *s = xp::make_unzeroed<xps_string>(string_ops, static_cast<size_t>(length) + 1);
  if (s == nullptr) return nullptr;
  s->text = xps_room(s);
  s->length = length;
  xps_room(s)[length] = 0;
  return s;
}

}  // namespace

xps_string *xps_make(int64_t length) {
  return make_string(length);
}

xps_string *xps_resize(xps_string *s, int64_t length) {
  assert(!xp::slab::owns(s));
  if (length < 0) {
    xp::destroy(s);
    return nullptr;
  }
  auto *resized = static_cast<xps_string *>(xp_realloc(s, sizeof *s + static_cast<size_t>(length) + 1));
  if (resized == nullptr) {
    xp::uncount_object();
    return nullptr;
  }
  resized->text = xps_room(resized);
  xps_finish(resized, length);
  return resized;
}

xp_obj *xps_finish(xps_string *s, int64_t length) {
  s->length = length;
  xps_room(s)[length] = 0;
  return s;
}

uint32_t xp_str_type() {
  return xps_string::code;
}

xp_obj *xp_str_retain(xp_obj *s) {
  return xp_retain(s);
}

void xp_str_release(xp_obj *s) {
  xp_release(s);
}

// --- Making ---

xp_obj *xp_str_new(const char *text) {
  return xp_str_make(text, -1);
}

xp_obj *xp_str_make(const char *text, int64_t length) {
  int64_t bytes = xp_str_txtlen(text, length);
  xps_string *s = make_string(bytes);
  if (s != nullptr) xp::copy_short(xps_room(s), text, static_cast<size_t>(bytes));
  return s;
}

xp_obj *xp_str_const(const char *text) {
  auto *s = xp::make<xps_string>(string_ops);
  if (s == nullptr) return nullptr;
  s->text = text != nullptr ? text : "";
  s->length = xp_str_strlen(text);
  return s;
}

xp_obj *xp_str_coerce(xp_obj *obj) {
  if (obj == nullptr) return nullptr;
  if (xp::as<xps_string>(obj) != nullptr) return xp_retain(obj);
  int64_t room = xp_textify(obj, nullptr, 0);
  xps_string *s = xps_make(room > 0 ? room : 0);
  if (s == nullptr || room <= 0) return s;
  int64_t written = xp_textify(obj, xps_room(s), room);
  return xps_finish(s, written > 0 ? written : 0);
}

xp_obj *xp_str_format(const char *format, ...) {
  char stack[512];
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  xpf_sink out(stack, sizeof stack);
  xpf_print(out, format, arguments);
  va_end(arguments);
  xps_string *s;
  if (!out.stopped()) {
    s = static_cast<xps_string *>(xp_str_make(stack, out.total()));
  } else {
    va_list third;
    va_copy(third, again);
    s = xps_make(xp_fmt_vformat(nullptr, 0, format, third));
    va_end(third);
    if (s != nullptr) xps_finish(s, xp_fmt_vformat(xps_room(s), s->length + 1, format, again));
  }
  va_end(again);
  return s;
}

xp_obj *xp_str_append(xp_obj *obj, const char *text, int64_t length) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr || s->length == 0) return xp_str_make(text, length);
  int64_t added = xp_str_txtlen(text, length);
  if (added == 0) return xp_retain(s);
  int64_t total;
  if (__builtin_add_overflow(s->length, added, &total)) return nullptr;
  xps_string *result = xps_make(total);
  if (result == nullptr) return nullptr;
  memcpy(xps_room(result), s->text, static_cast<size_t>(s->length));
  memcpy(xps_room(result) + s->length, text, static_cast<size_t>(added));
  return result;
}

xp_obj *xp_str_concat(xp_obj *a, xp_obj *b) {
  if (b == nullptr) return xp_retain(a);
  if (xp_str_length(a) == 0) return xp_retain(b);
  return xp_str_append(a, xp_str_getptr(b), xp_str_length(b));
}

// --- Reading ---

int64_t xp_str_length(xp_obj *obj) {
  auto *s = xp::as<xps_string>(obj);
  return s != nullptr ? s->length : 0;
}

const char *xp_str_getptr(xp_obj *obj) {
  auto *s = xp::as<xps_string>(obj);
  return s != nullptr ? s->text : nullptr;
}

// --- Type protocol ---

int64_t xp_str_textify(xp_obj *obj, char *buffer, int64_t capacity) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return 0;
  if (buffer == nullptr) return s->length;
  int64_t bytes = xps_cut(s->text, s->length, capacity);
  if (bytes > 0) memcpy(buffer, s->text, static_cast<size_t>(bytes));
  return bytes;
}

int64_t xp_str_stream(xp_obj *obj, xp_writer writer, void *context) {
  auto *s = xp::as<xps_string>(obj);
  return s != nullptr && writer != nullptr ? writer(context, s->text, s->length) : 0;
}

int64_t xp_str_control(xp_obj *obj, uint32_t code, int64_t argument, void *data) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return 0;
  switch (code) {
    case XP_CTL_SERIALIZE: return serialize(s, argument, data);
    case XP_CTL_DESERIALIZE: return deserialize(argument, data);
    case XP_CTL_FALSEY: return s->length == 0;
    case XP_CTL_VALUE: return xp_fmt_getquad(s->text, s->length);
    case XP_CTL_STREAM: return xp::result(xp_str_stream);
    case XP_CTL_POINTER: return pointer(s, argument, static_cast<uint32_t *>(data));
    default: return 0;
  }
}
