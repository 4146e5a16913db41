// Comparing. The full forms decide plain texts byte by byte and hand everything else to the platform's
// Unicode data; the quick forms look at bytes only.

#include "xp/string/fold_scan.h"
#include "xp/string/order.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <string.h>

#include <algorithm>

namespace {

struct span {
  const char *text;
  int64_t length;
  unsigned char operator[](int64_t at) const { return static_cast<unsigned char>(text[at]); }
};

span measured(const char *text, int64_t length) {
  return {text, xp_str_txtlen(text, length)};
}

int32_t by_length(const span &a, const span &b) {
  return (a.length > b.length) - (a.length < b.length);
}

int32_t quick_exact(const span &a, const span &b) {
  int64_t shorter = std::min(a.length, b.length);
  int order = shorter > 0 ? memcmp(a.text, b.text, static_cast<size_t>(shorter)) : 0;
  if (order == 0) return by_length(a, b);
  return order < 0 ? -1 : 1;
}

int32_t quick_folded(const span &a, const span &b) {
  int64_t shorter = std::min(a.length, b.length);
  int64_t at = xps_fold_differ(a.text, b.text, shorter);
  if (at == shorter) return by_length(a, b);
  return xp_str_fold(a[at]) < xp_str_fold(b[at]) ? -1 : 1;
}

int32_t full(const span &a, const span &b, int32_t exact) {
  int64_t shorter = std::min(a.length, b.length);
  int64_t at = xps_plain_differ(a.text, b.text, shorter, exact != 0);
  if (at == shorter) return by_length(a, b);
  unsigned char x = exact != 0 ? a[at] : xp_str_fold(a[at]);
  unsigned char y = exact != 0 ? b[at] : xp_str_fold(b[at]);
  if (xps_is_plain(x) && xps_is_plain(y)) return x < y ? -1 : 1;
  // What lies before is plain and equal in both, so the Unicode order can be looked for from here on.
  return xps_order(a.text + at, a.length - at, b.text + at, b.length - at, exact);
}

span string_span(xp_obj *s) {
  return {xp_str_getptr(s), xp_str_length(s)};
}

}  // namespace

int32_t xps_compare(const char *a, int64_t alength, const char *b, int64_t blength, int32_t exact) {
  return full(measured(a, alength), measured(b, blength), exact);
}

int32_t xps_iqcompare(const char *a, int64_t alength, const char *b, int64_t blength) {
  return quick_folded(measured(a, alength), measured(b, blength));
}

int32_t xp_str_txtcmp(const char *a, int64_t alength, const char *b, int64_t blength) {
  return full(measured(a, alength), measured(b, blength), 1);
}

int32_t xp_str_txticmp(const char *a, int64_t alength, const char *b, int64_t blength) {
  return full(measured(a, alength), measured(b, blength), 0);
}

int32_t xp_str_txtcmpq(const char *a, int64_t alength, const char *b, int64_t blength) {
  return quick_exact(measured(a, alength), measured(b, blength));
}

int32_t xp_str_txticmpq(const char *a, int64_t alength, const char *b, int64_t blength) {
  return quick_folded(measured(a, alength), measured(b, blength));
}

int32_t xp_str_cmp(xp_obj *s, const char *text, int64_t length) {
  return full(string_span(s), measured(text, length), 1);
}

int32_t xp_str_icmp(xp_obj *s, const char *text, int64_t length) {
  return full(string_span(s), measured(text, length), 0);
}

int32_t xp_str_cmpq(xp_obj *s, const char *text, int64_t length) {
  return quick_exact(string_span(s), measured(text, length));
}

int32_t xp_str_icmpq(xp_obj *s, const char *text, int64_t length) {
  return quick_folded(string_span(s), measured(text, length));
}

int64_t xp_str_compare(xp_obj *a, xp_obj *b) {
  return full(measured(xp_str_getptr(a), -1), measured(xp_str_getptr(b), -1), 0);
}

int32_t xp_str_txtmatch(const char *a, int64_t alength, const char *b, int64_t blength, int32_t exact) {
  span left = measured(a, alength);
  span right = measured(b, blength);
  if (left.length != right.length) return 0;
  return (exact != 0 ? quick_exact(left, right) : quick_folded(left, right)) == 0;
}
