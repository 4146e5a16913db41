// Which bytes the string stage escapes, and copying the others. Internal to the format engine.

#ifndef XP_FORMAT_ESCAPE_SCAN_H
#define XP_FORMAT_ESCAPE_SCAN_H

#include <stdint.h>

#include <array>
#include <string_view>

// The escapes in the order of precedence: of several the first decides alone.
enum class xpf_mode : uint8_t {
  percent_all,   // everything but letters, digits, "-", ".", "_", "~" as %XX
  literal,       // text of a string literal
  entity,        // the markup characters as entities
  percent_six,   // the markup characters as %XX
  percent_high,  // the same; bytes that are no UTF-8 too
  cdata,         // the end of a CDATA wrap is broken up
  backtick,      // "'" as "`", control bytes as spaces
  quote_double,  // "\" and the double quote behind a "\"
  quote_twice,   // "'" doubled
  quote_single,  // "\" and "'" behind a "\"
  none,
};

inline constexpr std::string_view xpf_markup = "\"%&'<>";

// Whether bytes from 128 on are looked at as UTF-8.
constexpr bool xpf_checks_utf8(xpf_mode how) {
  return how >= xpf_mode::literal && how <= xpf_mode::percent_high;
}

// The bytes of a mode that need a look: some single ones and whole ranges.
struct xpf_class {
  std::string_view bytes;
  bool control = false;  // below 32
  bool high = false;     // from 128 on
};

// In the order of xpf_mode, behind percent_all, whose bytes are all but the unreserved ones.
inline constexpr xpf_class xpf_classes[] = {
    {},
    {"\"\\", true, true},       // literal
    {"\"&'<>", false, true},    // entity
    {xpf_markup, false, true},  // percent_six
    {xpf_markup, false, true},  // percent_high
    {">", false, false},        // cdata
    {"'", true, false},         // backtick; tabs are looked at and stay
    {"\\\"", false, false},     // quote_double
    {"'", false, false},        // quote_twice
    {"\\'", false, false},      // quote_single
    {},
};

constexpr bool xpf_is_unreserved(unsigned c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

constexpr bool xpf_is_special(xpf_mode how, unsigned c) {
  if (how == xpf_mode::percent_all) return !xpf_is_unreserved(c);
  const xpf_class &row = xpf_classes[static_cast<size_t>(how)];
  return (row.control && c < 32) || (row.high && c >= 0x80) ||
         row.bytes.find(static_cast<char>(c)) != std::string_view::npos;
}

// For each byte one bit per mode.
inline constexpr auto xpf_specials = [] {
  std::array<uint16_t, 256> table{};
  for (unsigned c = 0; c < 256; ++c) {
    for (unsigned how = 0; how < static_cast<unsigned>(xpf_mode::none); ++how) {
      if (xpf_is_special(static_cast<xpf_mode>(how), c))
        table[c] = static_cast<uint16_t>(table[c] | 1u << how);
    }
  }
  return table;
}();

inline bool xpf_needs_look(xpf_mode how, char c) {
  return (xpf_specials[static_cast<unsigned char>(c)] >> static_cast<unsigned>(how) & 1) != 0;
}

// The first byte from `at` on that needs a look, or `end`. The bytes before it are copied to `to`, unless
// that is null; up to end - at bytes there may be written.
const char *xpf_ordinary(xpf_mode how, const char *at, const char *end, char *to);

#endif
