// Prefixes, suffixes and searching.

#include "xp/string/fold_scan.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <string.h>

#include <algorithm>

namespace {

bool equal(const char *a, const char *b, int64_t length, bool exact) {
  return exact ? memcmp(a, b, static_cast<size_t>(length)) == 0 : xps_fold_differ(a, b, length) == length;
}

// The first position from `from` to `last`, or -1.
int64_t find_forward(const char *text, const char *needle, int64_t nlength, bool exact, int64_t from,
                     int64_t last) {
  if (from > last) return -1;
  if (!exact) return xps_fold_find(text, from, last, needle, nlength);
  const void *hit =
      memmem(text + from, static_cast<size_t>(last - from + nlength), needle, static_cast<size_t>(nlength));
  return hit != nullptr ? static_cast<const char *>(hit) - text : -1;
}

int64_t find_backward(const char *text, const char *needle, int64_t nlength, bool exact, int64_t from) {
  for (int64_t at = from; at >= 0; --at) {
    if (equal(text + at, needle, nlength, exact)) return at;
  }
  return -1;
}

}  // namespace

int64_t xp_str_strlen(const char *text) {
  return text != nullptr ? static_cast<int64_t>(strlen(text)) : 0;
}

int64_t xp_str_txtlen(const char *text, int64_t length) {
  if (text == nullptr) return 0;
  return length < 0 ? xp_str_strlen(text) : length;
}

int32_t xp_str_txtstarts(const char *text, int64_t length, const char *prefix, int64_t plength,
                         int32_t exact) {
  int64_t wanted = xp_str_txtlen(prefix, plength);
  if (wanted == 0 || text == nullptr) return 0;
  int64_t there = length < 0 ? static_cast<int64_t>(strnlen(text, static_cast<size_t>(wanted))) : length;
  return there >= wanted && equal(text, prefix, wanted, exact != 0);
}

int32_t xp_str_txtends(const char *text, int64_t length, const char *suffix, int64_t slength, int32_t exact) {
  int64_t there = xp_str_txtlen(text, length);
  int64_t wanted = xp_str_txtlen(suffix, slength);
  return wanted > 0 && there >= wanted && equal(text + (there - wanted), suffix, wanted, exact != 0);
}

int64_t xp_str_txtnfind(const char *text, int64_t length, const char *needle, int64_t nlength, uint32_t flags,
                        int64_t from) {
  int64_t total = xp_str_txtlen(text, length);
  int64_t wanted = xp_str_txtlen(needle, nlength);
  if (total == 0 || wanted == 0) return -1;
  bool exact = (flags & XP_FIND_EXACT) != 0;
  bool marked = (flags & XP_FIND_LENGTH) != 0;
  int64_t last = total - wanted;
  if ((flags & XP_FIND_BACKWARD) != 0) {
    int64_t at = find_backward(text, needle, wanted, exact, from < 0 ? last : std::min(from, last));
    return at < 0 && marked && from >= 1 ? 0 : at;
  }
  if (from < 0 || from >= total) return -1;
  int64_t at = find_forward(text, needle, wanted, exact, from, last);
  return at < 0 && marked ? total : at;
}

int64_t xp_str_txtfind(const char *text, int64_t length, const char *needle, uint32_t flags, int64_t from) {
  return xp_str_txtnfind(text, length, needle, -1, flags, from);
}

int32_t xp_str_starts(xp_obj *s, const char *prefix, int64_t length, int32_t exact) {
  return xp_str_txtstarts(xp_str_getptr(s), xp_str_length(s), prefix, length, exact);
}

int32_t xp_str_ends(xp_obj *s, const char *suffix, int64_t length, int32_t exact) {
  return xp_str_txtends(xp_str_getptr(s), xp_str_length(s), suffix, length, exact);
}

int64_t xp_str_find(xp_obj *s, const char *text, uint32_t flags, int64_t from) {
  return xp_str_txtfind(xp_str_getptr(s), xp_str_length(s), text, flags, from);
}
