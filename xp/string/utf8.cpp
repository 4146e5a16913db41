#include "xp/string/utf8.h"

#include "xp/string/string.h"
#include "xp/string/text.h"
#include "xp/string/valid.h"

#include <string.h>

namespace {

// Bytes from `at` on that are certainly all below 128: a multiple of eight.
int64_t ascii_run(const char *text, int64_t at, int64_t length) {
  int64_t start = at;
  for (; length - at >= 8; at += 8) {
    uint64_t word;
    memcpy(&word, text + at, sizeof word);
    if ((word & 0x8080808080808080u) != 0) break;
  }
  return at - start;
}

// What a lead byte asks for: the bytes of the sequence, 0 when it starts none, and what the second byte may
// be. All further bytes are 80 to BF.
struct lead_rule {
  int32_t bytes;
  unsigned char low, high;
};

// RFC 3629, section 4: no overlong forms (C0, C1, E0 80, F0 80), no surrogates (ED A0), nothing above
// U+10FFFF (F4 90).
lead_rule rule_for(unsigned char lead) {
  if (lead < 0xC2) return {0, 0, 0};
  if (lead < 0xE0) return {2, 0x80, 0xBF};
  if (lead == 0xE0) return {3, 0xA0, 0xBF};
  if (lead == 0xED) return {3, 0x80, 0x9F};
  if (lead < 0xF0) return {3, 0x80, 0xBF};
  if (lead == 0xF0) return {4, 0x90, 0xBF};
  if (lead < 0xF4) return {4, 0x80, 0xBF};
  return lead == 0xF4 ? lead_rule{4, 0x80, 0x8F} : lead_rule{0, 0, 0};
}

}  // namespace

int64_t xps_whole(const char *text, int64_t length) {
  int64_t at = 0;
  while (at < length) {
    at += ascii_run(text, at, length);
    if (at == length) break;
    int32_t step = xps_step(static_cast<unsigned char>(text[at]));
    if (step > length - at) break;
    at += step;
  }
  return at;
}

int64_t xps_cut(const char *text, int64_t length, int64_t limit) {
  if (limit >= length) return length;
  return limit > 0 ? xps_whole(text, limit) : 0;
}

int32_t xp_str_sequence(const char *text, int64_t length) {
  if (text == nullptr || length == 0) return 0;
  const auto *bytes = reinterpret_cast<const unsigned char *>(text);
  if (bytes[0] < 0x80) return length > 0 || bytes[0] != 0;
  lead_rule rule = rule_for(bytes[0]);
  if (rule.bytes == 0 || (length > 0 && length < rule.bytes)) return 0;
  if (bytes[1] < rule.low || bytes[1] > rule.high) return 0;
  // One byte after the other: in a zero-terminated text nothing behind the zero byte may be looked at.
  for (int32_t i = 2; i < rule.bytes; ++i) {
    if ((bytes[i] & 0xC0) != 0x80) return 0;
  }
  return rule.bytes;
}

int64_t xps_subpart(const char *text, int64_t length) {
  const auto *bytes = reinterpret_cast<const unsigned char *>(text);
  lead_rule rule = rule_for(bytes[0]);
  if (rule.bytes == 0 || length < 2 || bytes[1] < rule.low || bytes[1] > rule.high) return 1;
  int64_t at = 2;
  while (at < rule.bytes && at < length && (bytes[at] & 0xC0) == 0x80)
    ++at;
  return at;
}

int64_t xps_plainly::valid(const char *text, int64_t length) {
  int64_t at = 0;
  while (at < length) {
    at += ascii_run(text, at, length);
    if (at == length) break;
    int32_t bytes = xp_str_sequence(text + at, length - at);
    if (bytes == 0) return at;
    at += bytes;
  }
  return -1;
}

int64_t xp_str_txtvalid(const char *text, int64_t length) {
  return xps_valid(text, xp_str_txtlen(text, length));
}

int64_t xp_str_valid(xp_obj *s) {
  return xp_str_txtvalid(xp_str_getptr(s), xp_str_length(s));
}
