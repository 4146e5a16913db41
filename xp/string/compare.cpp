// Comparing. The full forms decide plain texts byte by byte and hand everything else to the platform's
// Unicode data; the quick forms look at bytes only.

#include "xp/string/order.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <string.h>

#include <algorithm>
#include <array>

namespace {

using byte_table = std::array<unsigned char, 256>;

constexpr bool is_plain(unsigned byte) {
  return (byte >= ' ' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
         byte == ':' || byte == '@' || byte == '_';
}

// For each plain byte its place in the order; 0 for bytes that are not plain.
consteval byte_table make_ranks(bool exact) {
  byte_table table{};
  for (unsigned i = 0; i < 256; ++i) {
    auto byte = static_cast<unsigned char>(i);
    if (is_plain(i)) table[i] = exact ? byte : xp_str_fold(byte);
  }
  return table;
}

consteval byte_table make_folds() {
  byte_table table{};
  for (unsigned i = 0; i < 256; ++i)
    table[i] = xp_str_fold(static_cast<unsigned char>(i));
  return table;
}

constexpr byte_table exact_ranks = make_ranks(true);
constexpr byte_table folded_ranks = make_ranks(false);
constexpr byte_table folds = make_folds();

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
  for (int64_t i = 0; i < shorter; ++i) {
    unsigned char x = folds[a[i]];
    unsigned char y = folds[b[i]];
    if (x != y) return x < y ? -1 : 1;
  }
  return by_length(a, b);
}

int32_t full(const span &a, const span &b, int32_t exact) {
  const byte_table &ranks = exact != 0 ? exact_ranks : folded_ranks;
  int64_t shorter = std::min(a.length, b.length);
  for (int64_t i = 0; i < shorter; ++i) {
    unsigned char x = ranks[a[i]];
    unsigned char y = ranks[b[i]];
    // What lies before is plain and equal in both, so the Unicode order can be looked for from here on.
    if (x == 0 || y == 0) return xps_order(a.text + i, a.length - i, b.text + i, b.length - i, exact);
    if (x != y) return x < y ? -1 : 1;
  }
  return by_length(a, b);
}

span string_span(xp_obj *s) {
  return {xp_str_getptr(s), xp_str_length(s)};
}

}  // namespace

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
