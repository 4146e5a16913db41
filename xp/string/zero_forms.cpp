// The family on zero-terminated text.

#include "xp/string/string.h"
#include "xp/string/text.h"

#include <string.h>

namespace {

int64_t bounded(const char *text, int64_t count) {
  if (text == nullptr || count < 0) return -1;
  return static_cast<int64_t>(strnlen(text, static_cast<size_t>(count)));
}

// Length-prefixed text: 0: the length (1 byte), 1: the text.
int32_t compare_prefixed(const char *text, const void *prefixed, int32_t exact) {
  const auto *bytes = static_cast<const unsigned char *>(prefixed);
  if (bytes == nullptr) return xps_compare(text, -1, nullptr, 0, exact);
  return xps_compare(text, -1, reinterpret_cast<const char *>(bytes + 1), bytes[0], exact);
}

}  // namespace

int32_t xp_str_strcmp(const char *a, const char *b) {
  return xps_compare(a, -1, b, -1, 1);
}

int32_t xp_str_stricmp(const char *a, const char *b) {
  return xps_compare(a, -1, b, -1, 0);
}

int32_t xp_str_strcmpq(const char *a, const char *b) {
  return xp_str_txtcmpq(a, -1, b, -1);
}

int32_t xp_str_stricmpq(const char *a, const char *b) {
  return xps_iqcompare(a, -1, b, -1);
}

int32_t xp_str_strncmp(const char *a, const char *b, int64_t count) {
  return xps_compare(a, bounded(a, count), b, bounded(b, count), 1);
}

int32_t xp_str_strnicmp(const char *a, const char *b, int64_t count) {
  return xps_compare(a, bounded(a, count), b, bounded(b, count), 0);
}

int32_t xp_str_strpcmp(const char *text, const void *prefixed) {
  return compare_prefixed(text, prefixed, 1);
}

int32_t xp_str_strpicmp(const char *text, const void *prefixed) {
  return compare_prefixed(text, prefixed, 0);
}

int32_t xp_str_strmatch(const char *a, const char *b, int32_t exact) {
  return xp_str_txtmatch(a, -1, b, -1, exact);
}

int32_t xp_str_strstarts(const char *text, const char *prefix, int32_t exact) {
  return xp_str_txtstarts(text, -1, prefix, -1, exact);
}

int32_t xp_str_strends(const char *text, const char *suffix, int32_t exact) {
  return xp_str_txtends(text, -1, suffix, -1, exact);
}

int64_t xp_str_strfind(const char *text, const char *needle, uint32_t flags, int64_t from) {
  return xp_str_txtfind(text, -1, needle, flags, from);
}

int64_t xp_str_strstr(const char *text, const char *needle) {
  return xp_str_strfind(text, needle, XP_FIND_EXACT, 0);
}

int64_t xp_str_stristr(const char *text, const char *needle) {
  return xp_str_strfind(text, needle, 0, 0);
}

int64_t xp_str_strchr(const char *text, char byte) {
  return xp_str_txtnfind(text, -1, &byte, byte != 0 ? 1 : 0, XP_FIND_EXACT, 0);
}
