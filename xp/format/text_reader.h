// Characters as the readers of the format engine see them: ASCII, whatever the locale. Internal to the format
// engine.

#ifndef XP_FORMAT_TEXT_READER_H
#define XP_FORMAT_TEXT_READER_H

constexpr bool xpf_is_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr bool xpf_is_digit(char c) {
  return c >= '0' && c <= '9';
}

// The value of a hexadecimal digit in either case, or -1.
constexpr int xpf_hex_value(char c) {
  if (xpf_is_digit(c)) return c - '0';
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

#endif
