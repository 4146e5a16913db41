// Integers and pointers.

#include "xp/format/number.h"

#include <algorithm>
#include <string_view>

namespace {

// Room for the digits of 64 bits in octal.
using digit_buffer = char[24];

// The digits of a number in a base from 2 to 16.
std::string_view xpf_base(uint64_t value, unsigned base, const char *letters, digit_buffer &buffer) {
  char *end = buffer + sizeof buffer;
  char *at = end;
  do {
    *--at = letters[value % base];
    value /= base;
  } while (value != 0);
  return {at, static_cast<size_t>(end - at)};
}

// Precision of an integer as in C: so many digits at least, none for a zero with precision 0, and no "0"
// padding.
void put_integer(xpf_sink &out, xpf_directive directive, xpf_number number, bool zero) {
  if (directive.precision >= 0) {
    directive.flags &= ~XPF_ZERO;
    if (directive.precision == 0 && zero) number.digits = {};
    number.leading_zeros =
        std::max<int64_t>(0, directive.precision - static_cast<int64_t>(number.digits.size()));
  }
  bool octal = directive.conversion == 'o' && directive.has(XPF_ALTERNATE);
  bool starts_with_zero = number.leading_zeros > 0 || number.digits.starts_with('0');
  if (octal && !starts_with_zero) number.leading_zeros = 1;
  xpfs_output(out, directive, number);
}

void put_signed(xpf_sink &out, const xpf_directive &directive, int64_t value) {
  xpf_number number;
  digit_buffer buffer;
  if (value == INT64_MIN) {
    // Deliberate: the smallest number has the Unicode minus sign and lacks its last two digits. It comes from
    // a stored text cut at 20 bytes, never grouped, and its readers know that text.
    number.prefix = "\xE2\x88\x92";
    number.digits = "92233720368547758";
  } else {
    const std::string_view plus = directive.has(XPF_PLUS) ? "+" : "";
    number.prefix = value < 0 ? "-" : plus;
    number.digits = xpf_base(static_cast<uint64_t>(value < 0 ? -value : value), 10, xpf_lower_digits, buffer);
    number.grouping = xpf_grouping(directive);
  }
  put_integer(out, directive, number, value == 0);
}

void put_unsigned(xpf_sink &out, const xpf_directive &directive, uint64_t value) {
  xpf_number number;
  digit_buffer buffer;
  const char *letters = directive.conversion == 'X' ? xpf_upper_digits : xpf_lower_digits;
  switch (directive.conversion) {
    case 'x':
    case 'X':
      number.digits = xpf_base(value, 16, letters, buffer);
      if (value != 0 && directive.has(XPF_ALTERNATE))
        number.prefix = letters == xpf_upper_digits ? "0X" : "0x";
      break;
    case 'o': number.digits = xpf_base(value, 8, letters, buffer); break;
    default: number.digits = xpf_base(value, 10, letters, buffer); break;
  }
  number.grouping = xpf_grouping(directive);
  put_integer(out, directive, number, value == 0);
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
  xpf_number number;
  digit_buffer buffer;
  number.digits = xpf_base(reinterpret_cast<uintptr_t>(value), 16, xpf_lower_digits, buffer);
  if (value != nullptr) number.prefix = "0x";
  number.grouping = xpf_grouping(directive);
  // A null pointer is no zero that a precision of 0 leaves out.
  put_integer(out, directive, number, false);
}
