#include "xp/string/mapping.h"

#include "xp/object/ref.h"
#include "xp/string/string.h"
#include "xp/string/string_impl.h"
#include "xp/string/text.h"
#include "xp/string/unicode.h"

#include <string.h>

namespace {

// Results up to this size are built on the stack first, so that a text that stays as it is costs no block.
constexpr int64_t stack_size = 512;

// A string of the `length` bytes; `s` itself when these are its own text, or when there is no memory for a
// new one.
xp_obj *changed(xps_string *s, const char *text, int64_t length) {
  if (length == s->length && memcmp(text, s->text, static_cast<size_t>(length)) == 0) return xp_retain(s);
  xp_obj *result = xp_str_make(text, length);
  return result != nullptr ? result : xp_retain(s);
}

// The string that `map`, called as map(text, length, to, capacity), makes of `s`.
template <typename Map>
xp_obj *mapped(xps_string *s, Map map) {
  char stack[stack_size];
  int64_t total = map(s->text, s->length, stack, stack_size);
  if (total < 0) return xp_retain(s);
  if (total <= stack_size) return changed(s, stack, total);
  xps_string *result = xps_make(total);
  if (result == nullptr) return xp_retain(s);
  xp::ref owner = xp::ref::adopt(result);
  map(s->text, s->length, xps_room(result), total);
  bool same = total == s->length && memcmp(result->text, s->text, static_cast<size_t>(total)) == 0;
  return same ? xp_retain(s) : owner.leak();
}

bool is_ascii(const xps_string *s) {
  unsigned char all = 0;
  for (int64_t i = 0; i < s->length; ++i)
    all = static_cast<unsigned char>(all | static_cast<unsigned char>(s->text[i]));
  return all < 0x80;
}

// ASCII text needs no data: the letters from `first` to the 26th move by `shift`.
xp_obj *ascii_case(xps_string *s, char first, int shift) {
  auto moves = [first](char c) { return static_cast<unsigned char>(c - first) < 26; };
  int64_t at = 0;
  while (at < s->length && !moves(s->text[at]))
    ++at;
  if (at == s->length) return xp_retain(s);
  xps_string *result = xps_make(s->length);
  if (result == nullptr) return xp_retain(s);
  char *to = xps_room(result);
  for (int64_t i = 0; i < s->length; ++i)
    to[i] = static_cast<char>(s->text[i] + (moves(s->text[i]) ? shift : 0));
  return result;
}

}  // namespace

xp_obj *xp_str_upper(xp_obj *obj) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return nullptr;
  if (is_ascii(s)) return ascii_case(s, 'a', 'A' - 'a');
  return xp_str_valid(s) < 0 ? mapped(s, xps_unicode_upper) : xp_retain(s);
}

xp_obj *xp_str_lower(xp_obj *obj) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return nullptr;
  if (is_ascii(s)) return ascii_case(s, 'A', 'a' - 'A');
  return xp_str_valid(s) < 0 ? mapped(s, xps_unicode_lower) : xp_retain(s);
}

xp_obj *xp_str_normalize(xp_obj *obj, int32_t form) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return nullptr;
  // ASCII is in all normal forms.
  if (form < 0 || form >= XPS_FORMS || is_ascii(s) || xp_str_valid(s) >= 0) return xp_retain(s);
  auto map = [form](const char *text, int64_t length, char *to, int64_t capacity) {
    return xps_unicode_normalize(text, length, form, to, capacity);
  };
  return mapped(s, map);
}
