// Repair of texts that are not UTF-8.

#include "xp/string/codepoint.h"
#include "xp/string/mapping.h"
#include "xp/string/string.h"
#include "xp/string/string_impl.h"
#include "xp/string/text.h"
#include "xp/string/utf8.h"

#include <string.h>

namespace {

// Calls `run(from, bytes)` for each well-formed stretch of the text and `fault()` for each part to be
// replaced.
template <typename Run, typename Fault>
void walk(const char *text, int64_t length, Run run, Fault fault) {
  for (int64_t at = 0; at < length;) {
    int64_t good = xp_str_txtvalid(text + at, length - at);
    run(text + at, good < 0 ? length - at : good);
    if (good < 0) return;
    at += good;
    fault();
    at += xps_subpart(text + at, length - at);
  }
}

int64_t repaired_length(const char *text, int64_t length) {
  int64_t total = 0;
  walk(
      text, length, [&](const char *, int64_t bytes) { total += bytes; },
      [&] { total += xps_point_bytes(xps_replacement); });
  return total;
}

}  // namespace

xp_obj *xp_str_txtrepair(const char *text, int64_t length) {
  int64_t total = xp_str_txtlen(text, length);
  xps_string *s = xps_make(repaired_length(text, total));
  if (s == nullptr) return nullptr;
  char *to = xps_room(s);
  auto copy = [&](const char *from, int64_t bytes) {
    memcpy(to, from, static_cast<size_t>(bytes));
    to += bytes;
  };
  walk(text, total, copy, [&] { to = xps_put_point(to, xps_replacement); });
  return s;
}

xp_obj *xp_str_strrepair(const char *text) {
  return xp_str_txtrepair(text, -1);
}

xp_obj *xp_str_repair(xp_obj *obj) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return nullptr;
  return xp_str_valid(s) < 0 ? xp_retain(s) : xp_str_txtrepair(s->text, s->length);
}

int64_t xp_str_strvalid(const char *text) {
  return xp_str_txtvalid(text, -1);
}
