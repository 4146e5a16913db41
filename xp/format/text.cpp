// Text without directives: copying, stepping and reading numbers and codes.

#include "xp/string/text.h"

#include "xp/format/format.h"
#include "xp/format/into_buffer.h"
#include "xp/format/text_reader.h"
#include "xp/string/utf8.h"

namespace {

// Walks over a text that ends at its length or, when that is below 0, at its zero byte.
struct reader {
  const char *text;
  int64_t length;
  int64_t at = 0;

  bool more() const { return text != nullptr && (length < 0 ? text[at] != 0 : at < length); }
  char peek() const { return more() ? text[at] : '\0'; }
};

}  // namespace

int64_t xp_fmt_text(char *buffer, int64_t size, const char *text, int64_t length) {
  int64_t bytes = xp_str_txtlen(text, length);
  return xpf_into_buffer(buffer, size, [&](xpf_sink &out) { out.text(text, bytes); });
}

int64_t xp_fmt_appendtext(char *buffer, int64_t size, int64_t position, const char *text, int64_t length) {
  if (position < 0) position = 0;
  if (buffer == nullptr) return position + xp_fmt_text(nullptr, 0, text, length);
  if (position >= size) return size > 0 ? size - 1 : 0;
  return position + xp_fmt_text(buffer + position, size - position, text, length);
}

int64_t xp_fmt_validtext(const char *text, int64_t length) {
  return text != nullptr ? xps_whole(text, xp_str_txtlen(text, length)) : 0;
}

int64_t xp_fmt_validstring(const char *text) {
  return xp_fmt_validtext(text, -1);
}

int64_t xp_fmt_getquad(const char *text, int64_t length) {
  reader in{text, length};
  while (xpf_is_space(in.peek()))
    ++in.at;
  bool negative = in.peek() == '-';
  if (negative || in.peek() == '+') ++in.at;
  int64_t value = 0;
  for (; xpf_is_digit(in.peek()); ++in.at) {
    int64_t digit = in.peek() - '0';
    if (negative) digit = -digit;
    if (__builtin_mul_overflow(value, 10, &value) || __builtin_add_overflow(value, digit, &value)) {
      return negative ? INT64_MIN : INT64_MAX;
    }
  }
  return value;
}

int32_t xp_fmt_getlong(const char *text, int64_t length) {
  int64_t value = xp_fmt_getquad(text, length);
  if (value > INT32_MAX) return INT32_MAX;
  return value < INT32_MIN ? INT32_MIN : static_cast<int32_t>(value);
}

uint32_t xp_fmt_gettag(const char *text, int64_t length) {
  uint32_t code = 0;
  int shift = 0;
  for (reader in{text, length}; shift < 32 && in.more(); ++in.at) {
    char c = in.peek();
    if (c == '-' || c == '_') continue;
    code |= static_cast<uint32_t>(static_cast<unsigned char>(c)) << shift;
    shift += 8;
  }
  return code;
}
