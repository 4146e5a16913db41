#include "xp/string/parts.h"

#include "xp/string/string_impl.h"
#include "xp/string/text.h"
#include "xp/string/utf8.h"

#include <string.h>

#include <algorithm>

namespace {

// A part that lies inside the string.
xp_obj *part(xps_string *s, int64_t from, int64_t count) {
  return count == s->length ? xp_retain(s) : xp_str_make(s->text + from, count);
}

// Where the delimiter stands at or behind `at`, or -1. One of no bytes stands at `otherwise`.
int64_t delimiter(xps_string *s, const char *text, uint32_t flags, int64_t at, int64_t otherwise) {
  if (xp_str_strlen(text) == 0) return otherwise;
  return xp_str_txtfind(s->text, s->length, text, flags & XP_FIND_EXACT, at);
}

}  // namespace

xp_obj *xp_str_substr(xp_obj *obj, int64_t from, int64_t count) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return nullptr;
  int64_t start = std::clamp<int64_t>(from, 0, s->length);
  int64_t left = s->length - start;
  return part(s, start, count < 0 ? left : std::min(count, left));
}

xp_obj *xp_str_extract(xp_obj *obj, const char *open, const char *close, uint32_t flags, int64_t *at) {
  auto *s = xp::as<xps_string>(obj);
  int64_t start = at != nullptr ? *at : 0;
  if (s == nullptr || start < 0 || start > s->length) return nullptr;
  int64_t opened = delimiter(s, open, flags, start, start);
  if (opened < 0) return nullptr;
  int64_t from = opened + xp_str_strlen(open);
  int64_t to = delimiter(s, close, flags, from, s->length);
  if (to < 0) return nullptr;
  xp_obj *result = part(s, from, to - from);
  if (result != nullptr && at != nullptr) *at = to + xp_str_strlen(close);
  return result;
}

int32_t xp_str_charat(xp_obj *obj, int64_t at) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr || at < 0 || at >= s->length) return -1;
  return static_cast<unsigned char>(s->text[at]);
}

xp_obj *xp_str_glyphat(xp_obj *obj, int64_t at) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr || at < 0 || at >= s->length) return nullptr;
  const char *first = s->text + at;
  int64_t wanted = std::min<int64_t>(xps_step(static_cast<unsigned char>(*first)), s->length - at);
  const void *end = memchr(first + 1, 0, static_cast<size_t>(wanted - 1));
  return part(s, at, end != nullptr ? static_cast<const char *>(end) - first : wanted);
}

int64_t xp_str_get(xp_obj *s, char *buffer, int64_t size) {
  return xp_str_textify(s, buffer, size);
}

int64_t xp_str_cget(xp_obj *s, char *buffer, int64_t size) {
  if (buffer == nullptr || size < 1) return 0;
  int64_t bytes = xp_str_textify(s, buffer, size - 1);
  buffer[bytes] = 0;
  return bytes;
}

int64_t xp_str_pget(xp_obj *s, void *buffer, int64_t size) {
  // 0: length (1 byte), 1: text
  auto *bytes = static_cast<unsigned char *>(buffer);
  if (bytes == nullptr || size < 1) return 0;
  int64_t length = xp_str_textify(s, reinterpret_cast<char *>(bytes + 1), std::min<int64_t>(size - 1, 255));
  bytes[0] = static_cast<unsigned char>(length);
  return length;
}
