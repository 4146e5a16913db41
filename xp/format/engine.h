// The inside of the format engine: the flags, the parsed directive and the output stages. Internal to the
// runtime.
//
// A directive travels like this: xpf_parse reads it and its width and precision (directive.h); xpf_take takes
// its value from the arguments; xpf_print_value hands it to the stage of its kind; the stages end in xpfs_str
// (all that is text) or xpfs_output (finished numbers, number.h), which pad. Plain directives take the
// shortcut in quick.h instead, with the same result.
//
// There is one set of stages for both engines: a sink (sink.h) is a buffer, an output function or a counter.
// Names with xpfs_ are stages that print a directive, width and padding included; xpf_ stands before what
// makes the text itself: xpf_str, xpf_hexify, and beside their only callers xpf_base (integer.cpp),
// xpf_digitize, xpf_ecvt, xpf_fcvt, xpf_gcvt (real.cpp) and xpf_eschigh (escape.cpp).

#ifndef XP_FORMAT_ENGINE_H
#define XP_FORMAT_ENGINE_H

#include "xp/format/arguments.h"
#include "xp/format/sink.h"

#include <stdarg.h>
#include <stdint.h>

#include <string_view>

enum xpf_flag : uint32_t {
  XPF_ALTERNATE = 0x1,  // "#": prefixes; the general form of a time
  XPF_LEFT = 0x2,       // "-"
  XPF_PLUS = 0x4,       // "+": sign of numbers, percent-encoding of text
  XPF_GROUP = 0x8,      // "'": grouping as the locale has it for numbers
  XPF_SPACE = 0x10,     // " ": before a positive infinity; between the pairs of a dump
  XPF_ZERO = 0x20,      // "0"
  XPF_LONG = 0x40,      // "l", with XPF_QUAD "ll"
  XPF_QUAD = 0x80,      // "I64"
  XPF_DIFF = 0x100,     // "t"
  XPF_WIDE_INTEGER = XPF_LONG | XPF_QUAD | XPF_DIFF,
  XPF_MONEY = 0x200,          // "," and {:$}: grouping as the locale has it for money
  XPF_UPPER = 0x400,          // {:^} and E, F, G
  XPF_LOWER = 0x800,          // {:_}
  XPF_QUOTE_SINGLE = 0x2000,  // {:'}
  XPF_QUOTE_TWICE = 0x4000,   // {:''}
  XPF_QUOTE_DOUBLE = 0x8000,  // {:'''}
  XPF_QUOTES = XPF_QUOTE_SINGLE | XPF_QUOTE_TWICE | XPF_QUOTE_DOUBLE,
  XPF_BACKTICK = 0x10000,       // {:`}
  XPF_CDATA = 0x20000,          // {:<}
  XPF_LITERAL = 0x40000,        // {:~}
  XPF_ENTITY = 0x80000,         // {:&}
  XPF_PERCENT = 0x100000,       // {:@}
  XPF_PERCENT_HIGH = 0x200000,  // {:/}
  XPF_ESCAPES = XPF_PLUS | XPF_QUOTES | XPF_BACKTICK | XPF_CDATA | XPF_LITERAL | XPF_ENTITY | XPF_PERCENT |
                XPF_PERCENT_HIGH,
  XPF_STAGE = XPF_ESCAPES | XPF_UPPER | XPF_LOWER,  // what the string stage looks at
};

// What a conversion, with its brace option, prints.
enum class xpf_kind : uint8_t {
  unknown,       // the conversion character; skips an integer or pointer
  unknown_real,  // the same; skips a double
  percent,
  signed_integer,
  unsigned_integer,  // o, u, x, X
  pointer,
  character,
  text,
  counted,   // length, text
  prefixed,  // text behind a length byte
  code,      // four characters
  object,
  real,
  dump,       // hexadecimal, byte count from the precision
  long_dump,  // length, bytes
  base64,     // byte count from the precision
  uuid,
  local_time,
  utc_time,
};

struct xpf_directive {
  uint32_t flags = 0;
  int width = 0;
  int precision = -1;  // -1: none
  char conversion = 0;
  char form = 0;  // the brace option if it took effect, else the conversion
  xpf_kind kind = xpf_kind::unknown;
  const char *parameter = nullptr;  // of the braces, or null; up to its "}"
  int64_t parameter_length = 0;

  bool has(uint32_t mask) const { return (flags & mask) != 0; }
  uint32_t stage_flags() const { return flags & XPF_STAGE; }
  bool takes_unsigned() const {
    return conversion == 'u' || conversion == 'o' || conversion == 'x' || conversion == 'X';
  }
};

// The whole format.
void xpf_print(xpf_sink &out, const char *format, va_list arguments);
void xpf_print(xpf_sink &out, const char *format, xpf_lists &lists);

// What a directive prints; which members hold something is decided by its kind.
struct xpf_value {
  int64_t number = 0;  // an integer, a time, a code, or the length of what the pointer points to
  double real = 0;
  const void *pointer = nullptr;
};

// The stage of the directive's kind.
void xpf_print_value(xpf_sink &out, const xpf_directive &directive, const xpf_value &value);

// --- Stages ---

// Text: string stage, padding. The precision is the caller's business: it may mean something else.
void xpfs_str(xpf_sink &out, const xpf_directive &directive, const char *text, int64_t length);

// 16-bit text, cut at the precision; below 0: up to its zero unit. It becomes UTF-8 and then is text like any
// other.
void xpfs_wstr(xpf_sink &out, const xpf_directive &directive, const void *units, int64_t length);

// The string stage alone: case, escapes and CDATA wrap by the flags.
void xpf_str(xpf_sink &out, uint32_t flags, const char *text, int64_t length);

// Whether the text holds any of the bytes that a CDATA wrap is put around for.
bool xpf_has_markup(std::string_view text);

inline constexpr std::string_view xpf_cdata_begin = "<![CDATA[";
inline constexpr std::string_view xpf_cdata_end = "]]>";

// The ASCII letter in the case that the flags ask for; any other byte as it is.
inline char xpf_case(uint32_t flags, char c) {
  if ((flags & XPF_UPPER) != 0) return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
  return (flags & XPF_LOWER) != 0 && c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

inline constexpr char xpf_upper_digits[] = "0123456789ABCDEF";
inline constexpr char xpf_lower_digits[] = "0123456789abcdef";

// Writes two hexadecimal digits for each byte.
void xpf_hexify(char *to, const unsigned char *bytes, int64_t length, const char *digits);

void xpfs_hexify(xpf_sink &out, const xpf_directive &directive, const void *bytes, int64_t length);
void xpf_integer(xpf_sink &out, const xpf_directive &directive, int64_t value);
void xpf_pointer(xpf_sink &out, const xpf_directive &directive, const void *value);
void xpf_real(xpf_sink &out, const xpf_directive &directive, double value);
void xpf_base64(xpf_sink &out, const xpf_directive &directive, const void *bytes, int64_t length);
void xpf_uuid(xpf_sink &out, const xpf_directive &directive, const void *bytes);

// `seconds` since 1970-01-01 UTC; 0 means now. Nothing for a time that has no calendar date.
void xpf_time(xpf_sink &out, const xpf_directive &directive, int64_t seconds);

// Writes text and pads it to the width. `emit(sink)` writes the text; it runs twice when the padding comes
// first.
template <typename Emit>
void xpf_padded(xpf_sink &out, const xpf_directive &directive, const Emit &emit) {
  if (directive.width > 0 && !directive.has(XPF_LEFT)) {
    xpf_sink counter;
    emit(counter);
    out.fill(' ', directive.width - counter.total());
  }
  const int64_t start = out.total();
  emit(out);
  if (directive.has(XPF_LEFT)) out.fill(' ', directive.width - (out.total() - start));
}

#endif
