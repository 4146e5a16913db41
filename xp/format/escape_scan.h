// Which bytes the string stage escapes, and finding the next one. Internal to the format engine.

#ifndef XP_FORMAT_ESCAPE_SCAN_H
#define XP_FORMAT_ESCAPE_SCAN_H

#include <stdint.h>

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

// The first byte in at..end that needs a look in this mode, or the end. All before it are copied as they are.
const char *xpf_ordinary(xpf_mode how, const char *at, const char *end);

// The same byte by byte.
const char *xpf_ordinary_plain(xpf_mode how, const char *at, const char *end);

#endif
