// Floating-point numbers: the text that the C library makes for the same precision and flags.

#include "xp/format/fixed.h"
#include "xp/format/number.h"

#include <math.h>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace {

// A double has at most 1074 digits behind the point and 767 that are not zeros; what a larger precision asks
// for beyond them are zeros.
constexpr int digits_limit = 1100;

struct real_buffer {
  char text[310 + 1 + digits_limit + 8];
};

struct real {
  double magnitude;  // finite
  int precision;
  bool point;  // "#": a point even without digits behind it
};

// The text of std::to_chars.
std::string_view xpf_digitize(double magnitude, std::chars_format form, int precision, real_buffer &buffer) {
  char *end = std::to_chars(buffer.text, std::end(buffer.text), magnitude, form, precision).ptr;
  return {buffer.text, static_cast<size_t>(end - buffer.text)};
}

// Takes a text apart that may have a point and an exponent.
xpf_number take_apart(std::string_view text, bool point) {
  xpf_number number;
  const char *mark = std::find(text.begin(), text.end(), 'e');
  const char *dot = std::find(text.begin(), mark, '.');
  number.digits = {text.begin(), dot};
  if (dot != mark) number.fraction = {dot + 1, mark};
  if (dot != mark || point) number.point = ".";
  number.tail = {mark, text.end()};
  return number;
}

xpf_number with_zeros(xpf_number number, int count) {
  number.trailing_zeros = std::max(count, 0);
  return number;
}

xpf_number xpf_fcvt(const real &value, real_buffer &buffer) {
  std::string_view text;
  if (const char *end = xpf_fixed(buffer.text, value.magnitude, value.precision)) {
    text = {buffer.text, static_cast<size_t>(end - buffer.text)};
  } else {
    const int made = std::min(value.precision, digits_limit);
    text = xpf_digitize(value.magnitude, std::chars_format::fixed, made, buffer);
  }
  return with_zeros(take_apart(text, value.point), value.precision - digits_limit);
}

xpf_number xpf_ecvt(const real &value, real_buffer &buffer) {
  const int made = std::min(value.precision, digits_limit);
  const std::string_view text = xpf_digitize(value.magnitude, std::chars_format::scientific, made, buffer);
  return with_zeros(take_apart(text, value.point), value.precision - digits_limit);
}

int exponent_of(std::string_view tail) {
  int exponent = 0;
  std::from_chars(tail.data() + 2, tail.data() + tail.size(), exponent);
  return tail[1] == '-' ? -exponent : exponent;
}

// "%#g" keeps the trailing zeros that "%g" drops: it is e or f with the digits counted from the first one.
xpf_number xpf_gcvt(real value, real_buffer &buffer) {
  value.precision = std::max(value.precision, 1);
  if (!value.point) {
    const int made = std::min(value.precision, digits_limit);
    return take_apart(xpf_digitize(value.magnitude, std::chars_format::general, made, buffer), false);
  }
  --value.precision;
  const xpf_number number = xpf_ecvt(value, buffer);
  const int exponent = exponent_of(number.tail);
  if (exponent < -4 || exponent > value.precision) return number;
  value.precision -= exponent;
  return xpf_fcvt(value, buffer);
}

// The signs of an infinity are the locale's.
void put_special(xpf_sink &out, xpf_directive directive, double value) {
  xpf_number number;
  directive.flags &= ~XPF_ZERO;
  if (isnan(value)) {
    number.digits = "nan";
  } else {
    number.digits = "inf";
    if (directive.has(XPF_SPACE)) number.prefix = " ";
    if (directive.has(XPF_PLUS)) number.prefix = xp_intl_current().plus_sign;
    if (value < 0) number.prefix = xp_intl_current().minus_sign;
  }
  xpfs_output(out, directive, number);
}

}  // namespace

void xpf_real(xpf_sink &out, const xpf_directive &directive, double value) {
  if (!isfinite(value)) {
    put_special(out, directive, value);
    return;
  }
  real_buffer buffer;
  const real number{fabs(value), directive.precision < 0 ? 6 : directive.precision,
                    directive.has(XPF_ALTERNATE)};
  xpf_number parts;
  switch (directive.conversion | 0x20) {
    case 'e': parts = xpf_ecvt(number, buffer); break;
    case 'f': parts = xpf_fcvt(number, buffer); break;
    default: parts = xpf_gcvt(number, buffer); break;
  }
  const std::string_view plus = directive.has(XPF_PLUS) ? "+" : "";
  parts.prefix = signbit(value) ? "-" : plus;
  parts.grouping = xpf_grouping(directive);
  if (parts.grouping != nullptr && !parts.point.empty()) parts.point = parts.grouping->decimal_point;
  xpfs_output(out, directive, parts);
}
