#include "xp/format/quick.h"

#include "xp/format/digits.h"
#include "xp/format/engine.h"
#include "xp/format/fixed.h"

#include <math.h>
#include <string.h>

#include <array>

namespace {

enum class shape : uint8_t { none, decimal, unsigned_decimal, lower_hex, upper_hex, real };

constexpr auto shapes = [] {
  std::array<shape, 128> table{};
  table['d'] = table['i'] = shape::decimal;
  table['u'] = shape::unsigned_decimal;
  table['x'] = shape::lower_hex;
  table['X'] = shape::upper_hex;
  table['f'] = shape::real;
  return table;
}();

struct plain {
  shape what = shape::none;
  char conversion = 0;
  bool zero = false;
  bool wide = false;
  int width = 0;
  int precision = -1;
};

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Returns what follows the directive, or null for one that is not plain.
const char *read(const char *at, plain &directive) {
  if (*at == '0') {
    directive.zero = true;
    ++at;
  }
  if (is_digit(*at)) {
    directive.width = *at++ - '0';
    if (is_digit(*at)) directive.width = directive.width * 10 + (*at++ - '0');
  }
  if (*at == '.' && is_digit(at[1])) {
    directive.precision = at[1] - '0';
    at += 2;
  }
  if (*at == 'l') {
    directive.wide = true;
    ++at;
    if (*at == 'l') ++at;
  }
  auto letter = static_cast<unsigned char>(*at);
  if (letter >= shapes.size()) return nullptr;
  directive.what = shapes[letter];
  directive.conversion = *at;
  if (directive.what == shape::none) return nullptr;
  return at[1] == '{' ? nullptr : at + 1;
}

// The long way, for a number that has been taken already.
xpf_directive spell_out(const plain &directive) {
  xpf_directive result;
  if (directive.zero) result.flags = XPF_ZERO;
  result.width = directive.width;
  result.precision = directive.precision;
  result.conversion = result.form = directive.conversion;
  result.kind = directive.what == shape::real      ? xpf_kind::real
                : directive.what == shape::decimal ? xpf_kind::signed_integer
                                                   : xpf_kind::unsigned_integer;
  return result;
}

// Puts padding and sign before a number of `length` bytes, sign included; the digits follow where it ends.
char *begin_number(char *to, const plain &directive, int length, bool negative) {
  const int padding = directive.width - length;
  if (padding > 0 && !directive.zero) {
    memset(to, ' ', static_cast<size_t>(padding));
    to += padding;
  }
  if (negative) *to++ = '-';
  if (padding > 0 && directive.zero) {
    memset(to, '0', static_cast<size_t>(padding));
    to += padding;
  }
  return to;
}

void put_integer(xpf_sink &out, const plain &directive, int64_t value) {
  const bool hex = directive.what >= shape::lower_hex;
  const bool negative = directive.what == shape::decimal && value < 0;
  const uint64_t magnitude = negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  const int digits = hex ? xpf::hex_digits(magnitude) : xpf::decimal_digits(magnitude);
  const int length = digits + (negative ? 1 : 0);
  char *to = out.reserve(length > directive.width ? length : directive.width);
  if (to == nullptr || (negative && value == INT64_MIN)) {
    xpf_integer(out, spell_out(directive), value);
    return;
  }
  to = begin_number(to, directive, length, negative) + digits;
  if (hex) {
    xpf::write_hex(to, magnitude, digits,
                   directive.what == shape::upper_hex ? xpf_upper_digits : xpf_lower_digits);
  } else {
    xpf::write_decimal(to, magnitude, digits);
  }
  out.advance(to);
}

void put_real(xpf_sink &out, const plain &directive, double value) {
  char *to = directive.width == 0 && isfinite(value) ? out.reserve(1 + xpf_fixed_room) : nullptr;
  if (to != nullptr) {
    const bool negative = signbit(value);
    *to = '-';
    to = xpf_fixed(to + (negative ? 1 : 0), fabs(value), directive.precision < 0 ? 6 : directive.precision);
  }
  if (to != nullptr) {
    out.advance(to);
  } else {
    xpf_real(out, spell_out(directive), value);
  }
}

}  // namespace

const char *xpf_run(xpf_sink &out, const char *format) {
  constexpr int longest = 16;
  const char *at = format;
  if (char *to = out.reserve(longest)) {
    for (const char *end = at + longest; at != end; ++at) {
      if (*at == '%' || *at == 0) {
        out.advance(to);
        return at;
      }
      *to++ = *at;
    }
  }
  at = strchrnul(at, '%');
  out.text(format, at - format);
  return at;
}

const char *xpf_quick(xpf_sink &out, const char *at, xpf_arguments &arguments) {
  if (at[0] == 's' && at[1] != '{') {
    const auto *text = static_cast<const char *>(arguments.take_pointer());
    if (text != nullptr) out.text(text, static_cast<int64_t>(strlen(text)));
    return at + 1;
  }
  plain directive;
  at = read(at, directive);
  if (at == nullptr) return nullptr;
  if (directive.what == shape::real) {
    if (directive.wide) return nullptr;
    put_real(out, directive, arguments.take_real());
    return at;
  }
  if (directive.precision >= 0) return nullptr;
  int64_t value = arguments.take_integer(directive.wide);
  // An unsigned int comes out of the arguments with its upper half filled by the sign.
  if (!directive.wide && directive.what != shape::decimal) value &= UINT32_MAX;
  put_integer(out, directive, value);
  return at;
}
