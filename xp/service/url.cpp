#include "xp/service/url.h"

#include "xp/format/format.h"
#include "xp/object/memory.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/service/file.h"
#include "xp/service/joined_text.h"
#include "xp/service/url_percent.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <stdarg.h>

#include <charconv>

namespace {

struct url : xp_obj {
  static constexpr uint32_t code = xp_code("xurl");
  xp_obj *text;        // a string
  xp_url_parts parts;  // of the text
};

void release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  xp_release(static_cast<url *>(obj)->text);
  xp::destroy(obj);
}

int64_t compare(xp_obj *a, xp_obj *b) {
  auto *x = xp::as<url>(a);
  auto *y = xp::as<url>(b);
  if (x == nullptr || y == nullptr) return xp_compare(a, b);
  return xp::view(x->text).compare(xp::view(y->text));
}

int64_t textify(xp_obj *obj, char *buffer, int64_t capacity) {
  auto *u = xp::as<url>(obj);
  return u == nullptr ? 0 : xp_textify(u->text, buffer, capacity);
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void *pointer) {
  auto *u = xp::as<url>(obj);
  if (u == nullptr) return 0;
  switch (code) {
    case XP_CTL_POINTER: return xp_control(u->text, code, argument, pointer);
    default: return 0;
  }
}

constexpr xp::ops url_ops = {
    .retain = xp_obj_retain, .release = release, .compare = compare, .textify = textify, .control = control};

// A URL of a string, whose reference it takes over.
xp_obj *of_string(xp_obj *string) {
  xp::ref text = xp::ref::adopt(string);
  xp_url_parts parts;
  if (xp_url_split(xp_str_getptr(text.get()), xp_str_length(text.get()), &parts) != 0) return nullptr;
  auto *u = xp::make<url>(url_ops);
  if (u == nullptr) return nullptr;
  u->text = text.leak();
  u->parts = parts;
  return u;
}

bool same_part(std::string_view a, std::string_view b) {
  return a == b && (a.data() == nullptr) == (b.data() == nullptr);
}

bool same_parts(const xp_url_parts &a, const xp_url_parts &b) {
  return same_part(a.scheme, b.scheme) && same_part(a.user, b.user) && same_part(a.host, b.host) &&
         same_part(a.port, b.port) && a.path == b.path && same_part(a.query, b.query) &&
         same_part(a.fragment, b.fragment);
}

// The mark that goes with a part; nothing when the part is not there.
std::string_view mark(std::string_view part, std::string_view text) {
  return part.data() == nullptr ? std::string_view() : text;
}

xp_obj *decoded(std::string_view part) {
  return part.data() == nullptr ? nullptr : xp_url_decode(part.data(), static_cast<int64_t>(part.size()), 0);
}

}  // namespace

uint32_t xp_url_type() {
  return url::code;
}

// --- Making ---

xp_obj *xp_url_new(const char *text, int64_t length) {
  return text == nullptr ? nullptr : of_string(xp_str_make(text, length));
}

xp_obj *xp_url_coerce(xp_obj *obj) {
  if (obj == nullptr || xp_type(obj) == url::code) return xp_retain(obj);
  return xp_type(obj) == xp_file_type() ? xp_file_url(obj) : of_string(xp_str_coerce(obj));
}

xp_obj *xp_url_format(const char *format, ...) {
  va_list arguments;
  va_list again;
  va_start(arguments, format);
  va_copy(again, arguments);
  int64_t size = xp_fmt_vformat(nullptr, 0, format, arguments) + 1;
  auto *buffer = static_cast<char *>(xp_alloc(static_cast<size_t>(size)));
  xp_obj *u = buffer == nullptr ? nullptr : xp_url_new(buffer, xp_fmt_vformat(buffer, size, format, again));
  xp_free(buffer);
  va_end(again);
  va_end(arguments);
  return u;
}

xp_obj *xp_url_make(const xp_url_parts *parts) {
  if (parts == nullptr) return nullptr;
  const xp_url_parts &p = *parts;
  xp::ref u = xp::ref::adopt(of_string(xp::join_text(
      {p.scheme, mark(p.scheme, ":"), mark(p.host, "//"), p.user, mark(p.user, "@"), p.host,
       mark(p.port, ":"), p.port, p.path, mark(p.query, "?"), p.query, mark(p.fragment, "#"), p.fragment})));
  const xp_url_parts *read = xp_url_getparts(u.get());
  return read != nullptr && same_parts(p, *read) ? u.leak() : nullptr;
}

// --- Reading ---

const xp_url_parts *xp_url_getparts(xp_obj *obj) {
  auto *u = xp::as<url>(obj);
  return u == nullptr ? nullptr : &u->parts;
}

xp_obj *xp_url_string(xp_obj *obj) {
  auto *u = xp::as<url>(obj);
  return u == nullptr ? nullptr : xp_retain(u->text);
}

xp_obj *xp_url_user(xp_obj *obj) {
  auto *u = xp::as<url>(obj);
  return u == nullptr ? nullptr : decoded(u->parts.user);
}

xp_obj *xp_url_host(xp_obj *obj) {
  auto *u = xp::as<url>(obj);
  if (u == nullptr) return nullptr;
  std::string_view host = u->parts.host;
  if (host.starts_with('[')) host = host.substr(1, host.size() - 2);
  return decoded(host);
}

xp_obj *xp_url_path(xp_obj *obj) {
  auto *u = xp::as<url>(obj);
  return u == nullptr ? nullptr : decoded(u->parts.path);
}

xp_obj *xp_url_fragment(xp_obj *obj) {
  auto *u = xp::as<url>(obj);
  return u == nullptr ? nullptr : decoded(u->parts.fragment);
}

int32_t xp_url_port(xp_obj *obj) {
  auto *u = xp::as<url>(obj);
  if (u == nullptr || u->parts.port.empty()) return -1;
  int32_t number = -1;
  std::from_chars(u->parts.port.data(), u->parts.port.data() + u->parts.port.size(), number);
  return number;
}
