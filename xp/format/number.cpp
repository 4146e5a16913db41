// Integers, pointers and floating-point numbers. A number is made in parts, so that neither width nor
// precision ever needs a buffer of its size.

#include "xp/format/engine.h"

#include <limits.h>
#include <math.h>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace {

// prefix, zeros, body, more zeros, tail.
struct number_parts {
  std::string_view prefix;    // sign, "0x"
  int64_t leading_zeros = 0;  // of the precision or of the "0" flag
  std::string_view body;
  int64_t trailing_zeros = 0;  // behind the digits that a double can have
  std::string_view tail;       // exponent

  int64_t length() const {
    return static_cast<int64_t>(prefix.size() + body.size() + tail.size()) + leading_zeros + trailing_zeros;
  }
};

// Numbers hold nothing that any escape would change, so of the string stage only the case remains.
void put(xpf_sink &out, uint32_t flags, std::string_view text) {
  if ((flags & (XPF_UPPER | XPF_LOWER)) == 0) {
    out.text(text.data(), static_cast<int64_t>(text.size()));
    return;
  }
  for (char c : text) {
    char mapped = xpf_case(flags, c);
    out.text(&mapped, 1);
  }
}

void put_number(xpf_sink &out, const xpf_directive &directive, number_parts parts) {
  int64_t padding = directive.width - parts.length();
  if (padding > 0 && directive.has(XPF_ZERO)) {
    parts.leading_zeros += padding;
  } else if (!directive.has(XPF_LEFT)) {
    out.fill(' ', padding);
  }
  put(out, directive.flags, parts.prefix);
  out.fill('0', parts.leading_zeros);
  put(out, directive.flags, parts.body);
  out.fill('0', parts.trailing_zeros);
  put(out, directive.flags, parts.tail);
  if (directive.has(XPF_LEFT)) out.fill(' ', padding);
}

constexpr char lower_digits[] = "0123456789abcdef";
constexpr char upper_digits[] = "0123456789ABCDEF";

// Room for the digits of 64 bits in octal.
using digit_buffer = char[24];

// The base is a constant so that the compiler divides by shifts and multiplications.
template <unsigned Base>
std::string_view make_digits(uint64_t value, const char *digits, digit_buffer &buffer) {
  char *end = buffer + sizeof buffer;
  char *at = end;
  do {
    *--at = digits[value % Base];
    value /= Base;
  } while (value != 0);
  return {at, static_cast<size_t>(end - at)};
}

// Precision of an integer as in C: so many digits at least, none for a zero with precision 0, and no "0"
// padding.
void put_integer(xpf_sink &out, xpf_directive directive, number_parts parts, bool zero) {
  if (directive.precision >= 0) {
    directive.flags &= ~XPF_ZERO;
    if (directive.precision == 0 && zero) parts.body = {};
    parts.leading_zeros = std::max<int64_t>(0, directive.precision - static_cast<int64_t>(parts.body.size()));
  }
  bool octal = directive.conversion == 'o' && directive.has(XPF_ALTERNATE);
  bool starts_with_zero = parts.leading_zeros > 0 || (!parts.body.empty() && parts.body.front() == '0');
  if (octal && !starts_with_zero) parts.leading_zeros = 1;
  put_number(out, directive, parts);
}

std::string_view plus_sign(const xpf_directive &directive) {
  return directive.has(XPF_PLUS) ? std::string_view("+") : std::string_view();
}

void put_signed(xpf_sink &out, const xpf_directive &directive, int64_t value) {
  number_parts parts;
  digit_buffer buffer;
  if (value == INT64_MIN) {
    // Deliberate: the smallest number has the Unicode minus sign and lacks its last two digits. It comes from
    // a stored text cut at 20 bytes, and its readers know that text.
    parts.prefix = "\xE2\x88\x92";
    parts.body = "92233720368547758";
  } else {
    parts.prefix = value < 0 ? std::string_view("-") : plus_sign(directive);
    parts.body = make_digits<10>(static_cast<uint64_t>(value < 0 ? -value : value), lower_digits, buffer);
  }
  put_integer(out, directive, parts, value == 0);
}

void put_unsigned(xpf_sink &out, const xpf_directive &directive, uint64_t value) {
  number_parts parts;
  digit_buffer buffer;
  bool upper = directive.conversion == 'X';
  bool hex = upper || directive.conversion == 'x';
  if (hex) {
    parts.body = make_digits<16>(value, upper ? upper_digits : lower_digits, buffer);
  } else if (directive.conversion == 'o') {
    parts.body = make_digits<8>(value, lower_digits, buffer);
  } else {
    parts.body = make_digits<10>(value, lower_digits, buffer);
  }
  if (hex && value != 0 && directive.has(XPF_ALTERNATE)) parts.prefix = upper ? "0X" : "0x";
  put_integer(out, directive, parts, value == 0);
}

// --- Floating point ---

// A double has at most 1074 digits behind the point and 767 that are not zeros; what a larger precision asks
// for beyond them are zeros.
constexpr int digits_limit = 1100;
constexpr size_t real_room = 310 + 1 + digits_limit + 8;

using real_buffer = char[real_room];

std::string_view convert(double value, std::chars_format form, int precision, real_buffer &buffer) {
  auto result = std::to_chars(buffer, buffer + real_room - 1, value, form, precision);
  return {buffer, static_cast<size_t>(result.ptr - buffer)};
}

// Puts a point behind digits that have none. The body ends in the buffer, which has room for it.
std::string_view with_point(std::string_view body, real_buffer &buffer) {
  if (body.find('.') != std::string_view::npos) return body;
  buffer[body.size()] = '.';
  return {buffer, body.size() + 1};
}

number_parts fixed_parts(double value, int precision, bool point, real_buffer &buffer) {
  number_parts parts;
  parts.body = convert(value, std::chars_format::fixed, std::min(precision, digits_limit), buffer);
  parts.trailing_zeros = precision - std::min(precision, digits_limit);
  if (point) parts.body = with_point(parts.body, buffer);
  return parts;
}

// The exponent, "e+05", is moved out of the buffer into `tail` so that zeros can come before it.
number_parts scientific_parts(double value, int precision, bool point, real_buffer &buffer, char (&tail)[8]) {
  number_parts parts;
  std::string_view all =
      convert(value, std::chars_format::scientific, std::min(precision, digits_limit), buffer);
  size_t mark = all.find('e');
  parts.tail = {tail, all.copy(tail, sizeof tail, mark)};
  parts.body = all.substr(0, mark);
  parts.trailing_zeros = precision - std::min(precision, digits_limit);
  if (point) parts.body = with_point(parts.body, buffer);
  return parts;
}

int exponent_of(std::string_view tail) {
  int exponent = 0;
  std::from_chars(tail.data() + 2, tail.data() + tail.size(), exponent);
  return tail[1] == '-' ? -exponent : exponent;
}

// "%#g" keeps the trailing zeros that "%g" drops: it is e or f with the digits counted from the first one.
number_parts general_parts(double value, int precision, bool alternate, real_buffer &buffer,
                           char (&tail)[8]) {
  if (precision == 0) precision = 1;
  if (!alternate) {
    number_parts parts;
    parts.body = convert(value, std::chars_format::general, std::min(precision, digits_limit), buffer);
    return parts;
  }
  number_parts parts = scientific_parts(value, precision - 1, true, buffer, tail);
  int exponent = exponent_of(parts.tail);
  if (exponent < -4 || exponent >= precision) return parts;
  return fixed_parts(value, precision - 1 - exponent, true, buffer);
}

void put_special(xpf_sink &out, xpf_directive directive, double value) {
  number_parts parts;
  directive.flags &= ~XPF_ZERO;
  if (isnan(value)) {
    parts.body = "nan";
  } else {
    parts.body = "inf";
    parts.prefix = plus_sign(directive);
    if (directive.has(XPF_SPACE)) parts.prefix = " ";
    if (value < 0) parts.prefix = "-";
  }
  put_number(out, directive, parts);
}

}  // namespace

void xpf_integer(xpf_sink &out, const xpf_directive &directive, int64_t value) {
  if (directive.kind == xpf_kind::signed_integer) {
    put_signed(out, directive, value);
  } else {
    put_unsigned(out, directive, static_cast<uint64_t>(value));
  }
}

void xpf_pointer(xpf_sink &out, const xpf_directive &directive, const void *value) {
  number_parts parts;
  digit_buffer buffer;
  parts.body = make_digits<16>(reinterpret_cast<uintptr_t>(value), lower_digits, buffer);
  if (value != nullptr) parts.prefix = "0x";
  put_integer(out, directive, parts, value == nullptr);
}

void xpf_real(xpf_sink &out, const xpf_directive &directive, double value) {
  if (!isfinite(value)) {
    put_special(out, directive, value);
    return;
  }
  real_buffer buffer;
  char tail[8];
  int precision = directive.precision < 0 ? 6 : directive.precision;
  double magnitude = fabs(value);
  bool alternate = directive.has(XPF_ALTERNATE);
  number_parts parts;
  switch (directive.conversion | 0x20) {
    case 'e': parts = scientific_parts(magnitude, precision, alternate, buffer, tail); break;
    case 'f': parts = fixed_parts(magnitude, precision, alternate, buffer); break;
    default: parts = general_parts(magnitude, precision, alternate, buffer, tail); break;
  }
  parts.prefix = signbit(value) ? std::string_view("-") : plus_sign(directive);
  put_number(out, directive, parts);
}
