// Trimming and unescaping.

#include "xp/string/string.h"
#include "xp/string/string_impl.h"
#include "xp/string/text.h"

#include <string.h>

namespace {

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

bool is_octal(char c) {
  return c >= '0' && c <= '7';
}

// Reads one or two hexadecimal digits; without any the byte is the x itself.
char read_hex(const char *&at, const char *end) {
  int value = -1;
  for (int digits = 0; digits < 2 && at < end; ++digits, ++at) {
    int digit = hex_value(*at);
    if (digit < 0) break;
    value = value < 0 ? digit : value * 16 + digit;
  }
  return value < 0 ? 'x' : static_cast<char>(value);
}

// Reads up to two octal digits behind the `first`, which is 0 to 3, so that the value fits a byte.
char read_octal(char first, const char *&at, const char *end) {
  int value = first - '0';
  for (int digits = 1; digits < 3 && at < end && is_octal(*at); ++digits, ++at)
    value = value * 8 + (*at - '0');
  return static_cast<char>(value);
}

// The byte of the escape behind a backslash; `at` stands on a byte and is moved behind the escape.
char read_escape(const char *&at, const char *end) {
  char c = *at++;
  switch (c) {
    case 'n': return '\n';
    case 'r': return '\r';
    case 't': return '\t';
    case 'x': return read_hex(at, end);
    default: return c >= '0' && c <= '3' ? read_octal(c, at, end) : c;
  }
}

// The bytes of the text up to its first zero byte.
int64_t bounded(const char *text, int64_t length) {
  if (text == nullptr) return 0;
  return length < 0 ? xp_str_strlen(text) : static_cast<int64_t>(strnlen(text, static_cast<size_t>(length)));
}

}  // namespace

xp_obj *xp_str_unescaped(const char *text, int64_t length) {
  int64_t total = bounded(text, length);
  xps_string *s = xps_make(total);
  if (s == nullptr || total == 0) return s;
  const char *at = text;
  const char *end = text + total;
  char *to = xps_room(s);
  while (at < end) {
    const void *mark = memchr(at, '\\', static_cast<size_t>(end - at));
    auto run = static_cast<size_t>((mark != nullptr ? static_cast<const char *>(mark) : end) - at);
    memcpy(to, at, run);
    to += run;
    at += run;
    if (at < end && ++at < end) *to++ = read_escape(at, end);
  }
  return xps_finish(s, to - xps_room(s));
}

xp_obj *xp_str_unescape(xp_obj *obj) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return nullptr;
  auto length = static_cast<size_t>(s->length);
  bool changes = memchr(s->text, '\\', length) != nullptr || memchr(s->text, 0, length) != nullptr;
  return changes ? xp_str_unescaped(s->text, s->length) : xp_retain(s);
}

xp_obj *xp_str_trim(xp_obj *obj) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return nullptr;
  auto blank = [s](int64_t at) { return static_cast<unsigned char>(s->text[at]) < 33; };
  int64_t from = 0;
  int64_t to = s->length;
  while (from < to && blank(from))
    ++from;
  while (to > from && blank(to - 1))
    --to;
  if (from == to) return nullptr;
  return to - from == s->length ? xp_retain(s) : xp_str_make(s->text + from, to - from);
}
