#include "xp/format/wide.h"

#include "xp/object/memory.h"

#include <algorithm>

namespace {

bool is_high(char32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool is_low(char32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

char32_t read_point(const char16_t *units, int64_t &at, int64_t length) {
  char32_t unit = units[at++];
  if (!is_high(unit) && !is_low(unit)) return unit;
  if (is_low(unit) || at == length || !is_low(units[at])) return 0xFFFD;
  return 0x10000 + ((unit - 0xD800) << 10) + (units[at++] - 0xDC00u);
}

int64_t write_point(char *to, char32_t point) {
  if (point < 0x80) {
    *to = static_cast<char>(point);
    return 1;
  }
  int further = point < 0x800 ? 1 : (point < 0x10000 ? 2 : 3);
  constexpr unsigned char leads[] = {0, 0xC0, 0xE0, 0xF0};
  to[0] = static_cast<char>(leads[further] | (point >> (6 * further)));
  for (int i = 1; i <= further; ++i)
    to[i] = static_cast<char>(0x80 | ((point >> (6 * (further - i))) & 0x3F));
  return further + 1;
}

// Units up to the length or the zero unit, but no more than `limit` bytes can need: one for each byte.
int64_t count_units(const char16_t *units, int64_t length, int64_t limit) {
  int64_t most = length < 0 ? INT64_MAX : length;
  if (limit >= 0) most = std::min(most, limit);
  if (length >= 0) return most;
  int64_t count = 0;
  while (count < most && units[count] != 0)
    ++count;
  return count;
}

}  // namespace

xpf_wide_text::xpf_wide_text(const char16_t *units, int64_t length, int64_t limit, char *buffer, int64_t size)
    : buffer_(buffer) {
  if (units == nullptr) return;
  int64_t count = count_units(units, length, limit);
  // A unit takes three bytes at most; a pair of them takes four.
  text_ = static_cast<char *>(
      xp_alloc_fast(static_cast<size_t>(count) * 3, 0, buffer, static_cast<size_t>(size)));
  if (text_ == nullptr) return;
  for (int64_t at = 0; at < count;)
    length_ += write_point(text_ + length_, read_point(units, at, count));
}

xpf_wide_text::~xpf_wide_text() {
  xp_free_fast(text_, buffer_);
}
