#include "xp/string/edit.h"

#include "xp/string/string_impl.h"
#include "xp/string/text.h"

#include <stdarg.h>
#include <string.h>

#include <algorithm>

namespace {

struct piece {
  const char *text;
  int64_t length;
};

piece measured(const char *text, int64_t length) {
  return {text, xp_str_txtlen(text, length)};
}

char *put(char *to, const piece &p) {
  if (p.length > 0) memcpy(to, p.text, static_cast<size_t>(p.length));
  return to + p.length;
}

// Calls visit(text, first) for each text up to the null pointer.
template <typename Visit>
void each_text(va_list texts, Visit visit) {
  va_list at;
  va_copy(at, texts);
  bool first = true;
  for (const char *text; (text = va_arg(at, const char *)) != nullptr; first = false)
    visit(measured(text, -1), first);
  va_end(at);
}

xp_obj *join(const piece &separator, va_list texts) {
  int64_t total = 0;
  bool overflow = false;
  each_text(texts, [&](const piece &text, bool first) {
    overflow = __builtin_add_overflow(total, text.length, &total) || overflow;
    if (!first) overflow = __builtin_add_overflow(total, separator.length, &total) || overflow;
  });
  xps_string *s = overflow ? nullptr : xps_make(total);
  if (s == nullptr) return nullptr;
  char *to = xps_room(s);
  each_text(texts, [&](const piece &text, bool first) {
    if (!first) to = put(to, separator);
    to = put(to, text);
  });
  return s;
}

// Calls visit(position) for each occurrence, none of which overlaps another.
template <typename Visit>
void each_occurrence(const xps_string *s, const piece &text, uint32_t flags, Visit visit) {
  int64_t at = 0;
  while ((at = xp_str_txtnfind(s->text, s->length, text.text, text.length, flags, at)) >= 0) {
    visit(at);
    at += text.length;
  }
}

bool is_dirty(char c) {
  return static_cast<unsigned char>(c) < 32 && c != '\t';
}

}  // namespace

xp_obj *xp_str_join(const char *separator, ...) {
  va_list texts;
  va_start(texts, separator);
  xp_obj *s = join(measured(separator, -1), texts);
  va_end(texts);
  return s;
}

xp_obj *xp_str_replace(xp_obj *obj, const char *text, int64_t length, const char *with, int64_t wlength,
                       uint32_t flags) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return nullptr;
  piece from = measured(text, length);
  piece to = measured(with, wlength);
  flags &= XP_FIND_EXACT;
  int64_t count = 0;
  each_occurrence(s, from, flags, [&](int64_t) { ++count; });
  if (count == 0) return xp_retain(s);
  int64_t total;
  if (__builtin_mul_overflow(count, to.length - from.length, &total) ||
      __builtin_add_overflow(total, s->length, &total))
    return nullptr;
  xps_string *result = xps_make(total);
  if (result == nullptr) return nullptr;
  char *at = xps_room(result);
  int64_t copied = 0;
  each_occurrence(s, from, flags, [&](int64_t found) {
    at = put(put(at, {s->text + copied, found - copied}), to);
    copied = found + from.length;
  });
  put(at, {s->text + copied, s->length - copied});
  return result;
}

xp_obj *xp_str_clean(xp_obj *obj) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return nullptr;
  const char *end = s->text + strnlen(s->text, static_cast<size_t>(s->length));
  const char *first = std::find_if(s->text, end, is_dirty);
  if (first == end) return xp_retain(s);
  xp_obj *result = xp_str_make(s->text, s->length);
  if (result == nullptr) return nullptr;
  char *room = xps_room(static_cast<xps_string *>(result));
  std::replace_if(room + (first - s->text), room + (end - s->text), is_dirty, ' ');
  return result;
}
