// 16-bit text and platform values.

#include "xp/object/memory.h"
#include "xp/object/number_text.h"
#include "xp/string/codepoint.h"
#include "xp/string/encoding.h"
#include "xp/string/string.h"
#include "xp/string/text.h"
#include "xp/string/utf8.h"

#include <bit>

namespace {

constexpr uint32_t native_order =
    std::endian::native == std::endian::little ? XP_ENC_UTF16LE : XP_ENC_UTF16BE;

// The code point at the front of the text, which is cut off; U+FFFD for a part that is not well formed.
uint32_t take_repaired(const char *&text, int64_t &length) {
  const auto *at = reinterpret_cast<const unsigned char *>(text);
  int32_t bytes = xp_str_sequence(text, length);
  uint32_t point = bytes > 0 ? xps_take_point(at) : xps_replacement;
  int64_t step = bytes > 0 ? bytes : xps_subpart(text, length);
  text += step;
  length -= step;
  return point;
}

int64_t units_of(const char *text, int64_t length) {
  int64_t units = 0;
  while (length > 0)
    units += take_repaired(text, length) > 0xFFFF ? 2 : 1;
  return units;
}

// Writes what fits whole into `room` units.
int64_t write_units(const char *text, int64_t length, char16_t *to, int64_t room) {
  int64_t units = 0;
  while (length > 0) {
    uint32_t point = take_repaired(text, length);
    if (room - units < (point > 0xFFFF ? 2 : 1)) break;
    if (point > 0xFFFF) {
      to[units++] = static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
      point = 0xDC00 + (point & 0x3FF);
    }
    to[units++] = static_cast<char16_t>(point);
  }
  return units;
}

xp_obj *integer_text(int64_t value) {
  char text[xp::number_text_size];
  return xp_str_make(text, xp::number_write(text, value));
}

}  // namespace

xp_obj *xp_str_wnew(const char16_t *text) {
  return xp_str_wmake(text, -1);
}

xp_obj *xp_str_wmake(const char16_t *text, int64_t length) {
  if (length > INT64_MAX / 2) return nullptr;
  return xp_str_makedecode(reinterpret_cast<const char *>(text), length < 0 ? -1 : length * 2, native_order);
}

int64_t xp_str_wget(xp_obj *s, char16_t *buffer, int64_t size) {
  const char *text = xp_str_getptr(s);
  int64_t length = xp_str_length(s);
  if (buffer == nullptr) return units_of(text, length);
  if (size < 1) return 0;
  int64_t units = write_units(text, length, buffer, size - 1);
  buffer[units] = 0;
  return units;
}

xp_obj *xp_str_cfmake(const xp_cf *value) {
  switch (value != nullptr ? value->kind : XP_CF_NONE) {
    case XP_CF_TEXT: return xp_str_wmake(value->text, value->length);
    case XP_CF_INTEGER: return integer_text(value->integer);
    case XP_CF_REAL: return xp_str_format("%f", value->real);
    case XP_CF_BOOLEAN: return xp_str_const(value->integer != 0 ? "true" : "false");
    default: return nullptr;
  }
}

int32_t xp_str_cfget(xp_obj *s, xp_cf *value) {
  if (value == nullptr) return 0;
  *value = {.kind = XP_CF_NONE, .text = nullptr, .length = 0, .integer = 0, .real = 0};
  if (xp_type(s) != xp_str_type()) return 0;
  int64_t units = xp_str_wget(s, nullptr, 0);
  auto *text = static_cast<char16_t *>(xp_alloc((static_cast<size_t>(units) + 1) * sizeof(char16_t)));
  if (text == nullptr) return 0;
  xp_str_wget(s, text, units + 1);
  value->kind = XP_CF_TEXT;
  value->text = text;
  value->length = units;
  return 1;
}
