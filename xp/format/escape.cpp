// The string stage: case, escapes and the CDATA wrap. Of several escapes the first in the order of
// `pick_mode` decides alone; a wrap is put around whatever it is.

#include "xp/format/engine.h"
#include "xp/string/text.h"
#include "xp/string/utf8.h"

#include <string.h>

#include <array>
#include <string_view>

namespace {

// In the order of precedence.
enum class mode : uint8_t {
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

constexpr std::string_view markup = "\"%&'<>";
constexpr char digits[] = "0123456789ABCDEF";

constexpr bool is_word(unsigned c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// Whether the byte needs a look in this mode; all others are copied.
constexpr bool is_special(mode how, unsigned c) {
  auto ch = static_cast<char>(c);
  bool high = c >= 0x80;
  bool control = c < 32;
  switch (how) {
    case mode::percent_all: return !is_word(c) && std::string_view("-._~").find(ch) == std::string_view::npos;
    case mode::literal: return high || control || ch == '"' || ch == '\\';
    case mode::entity: return high || (ch != '%' && markup.find(ch) != std::string_view::npos);
    case mode::percent_six:
    case mode::percent_high: return high || markup.find(ch) != std::string_view::npos;
    case mode::cdata: return ch == '>';
    case mode::backtick: return (control && ch != '\t') || ch == '\'';
    case mode::quote_double: return ch == '\\' || ch == '"';
    case mode::quote_twice: return ch == '\'';
    case mode::quote_single: return ch == '\\' || ch == '\'';
    case mode::none: return false;
  }
  return false;
}

// For each byte one bit per mode.
constexpr auto specials = [] {
  std::array<uint16_t, 256> table{};
  for (unsigned c = 0; c < 256; ++c) {
    for (unsigned how = 0; how < static_cast<unsigned>(mode::none); ++how) {
      if (is_special(static_cast<mode>(how), c)) table[c] = static_cast<uint16_t>(table[c] | 1u << how);
    }
  }
  return table;
}();

mode pick_mode(uint32_t flags, bool wrapped) {
  if ((flags & XPF_PLUS) != 0) return mode::percent_all;
  if ((flags & XPF_LITERAL) != 0) return mode::literal;
  if ((flags & XPF_ENTITY) != 0) return mode::entity;
  if ((flags & XPF_PERCENT) != 0) return mode::percent_six;
  if ((flags & XPF_PERCENT_HIGH) != 0) return mode::percent_high;
  if (wrapped) return mode::cdata;
  if ((flags & XPF_BACKTICK) != 0) return mode::backtick;
  if ((flags & XPF_QUOTE_DOUBLE) != 0) return mode::quote_double;
  if ((flags & XPF_QUOTE_TWICE) != 0) return mode::quote_twice;
  return (flags & XPF_QUOTE_SINGLE) != 0 ? mode::quote_single : mode::none;
}

bool checks_utf8(mode how) {
  return how >= mode::literal && how <= mode::percent_high;
}

// What stands for the special byte.
struct replacement {
  char bytes[8];
  int length = 0;
  int taken = 1;  // bytes of the source

  void add(char c) { bytes[length++] = c; }
  void add(std::string_view text) {
    for (char c : text)
      add(c);
  }
  void add_percent(unsigned char c) {
    add('%');
    add(digits[c >> 4]);
    add(digits[c & 15]);
  }
};

struct cursor {
  const char *text;
  int64_t length;
  int64_t at;

  unsigned char byte() const { return static_cast<unsigned char>(text[at]); }
  char ahead() const { return at + 1 < length ? text[at + 1] : '\0'; }
  bool ends_cdata() const { return at >= 2 && text[at - 1] == ']' && text[at - 2] == ']'; }
};

// A byte from 128 on that begins no well-formed UTF-8 sequence.
void escape_high(mode how, unsigned char c, replacement &to) {
  if (how == mode::literal) {
    to.add('?');
  } else if (how == mode::percent_high) {
    to.add_percent(c);
  } else {
    // Six characters, as three decimal digits are enough for any such byte.
    to.add("%#");
    to.add(static_cast<char>('0' + c / 100));
    to.add(static_cast<char>('0' + c / 10 % 10));
    to.add(static_cast<char>('0' + c % 10));
    to.add(';');
  }
}

void escape_literal(const cursor &from, replacement &to) {
  switch (from.byte()) {
    case '\t': to.add("\\t"); break;
    case '\n': to.add("\\n"); break;
    case '\r':
      to.add("\\n");
      if (from.ahead() == '\n') to.taken = 2;
      break;
    case '"':
    case '\\':
      to.add('\\');
      to.add(static_cast<char>(from.byte()));
      break;
    default: to.add(' ');
  }
}

// Deliberate: entities start with "%" where markup has "&". The readers of these texts turn them back that
// way.
void escape_entity(unsigned char c, replacement &to) {
  switch (c) {
    case '"': to.add("%dquo;"); break;
    case '&': to.add("%amp;"); break;
    case '\'': to.add("%#39;"); break;
    case '<': to.add("%lt;"); break;
    default: to.add("%gt;");
  }
}

replacement escape(mode how, const cursor &from) {
  replacement to;
  unsigned char c = from.byte();
  if (c >= 0x80 && checks_utf8(how)) {
    escape_high(how, c, to);
    return to;
  }
  switch (how) {
    case mode::percent_all:
    case mode::percent_six:
    case mode::percent_high: to.add_percent(c); break;
    case mode::literal: escape_literal(from, to); break;
    case mode::entity: escape_entity(c, to); break;
    case mode::cdata: to.add(from.ends_cdata() ? ' ' : '>'); break;
    case mode::backtick: to.add(c == '\'' ? '`' : ' '); break;
    case mode::quote_twice: to.add("''"); break;
    case mode::quote_double:
    case mode::quote_single:
    case mode::none:
      to.add('\\');
      to.add(static_cast<char>(c));
      break;
  }
  return to;
}

constexpr uint64_t each_byte = 0x0101010101010101u;

// Whether no byte of the word is special in a literal. A word may be refused that has none; it is then looked
// at byte by byte.
bool is_ordinary_word(const char *at) {
  uint64_t word;
  memcpy(&word, at, sizeof word);
  uint64_t quotes = word ^ (each_byte * '"');
  uint64_t slashes = word ^ (each_byte * '\\');
  uint64_t control_or_high = (word - each_byte * 32) | word;
  uint64_t hits = control_or_high | ((quotes - each_byte) & ~quotes) | ((slashes - each_byte) & ~slashes);
  return (hits & (each_byte * 0x80)) == 0;
}

// Moves over the bytes that are copied as they are.
void skip_ordinary(mode how, cursor &from) {
  auto mask = static_cast<uint16_t>(1u << static_cast<unsigned>(how));
  while (from.at < from.length) {
    if (how == mode::literal && from.length - from.at >= 8 && is_ordinary_word(from.text + from.at)) {
      from.at += 8;
      continue;
    }
    unsigned char c = from.byte();
    if ((specials[c] & mask) == 0) {
      ++from.at;
      continue;
    }
    int32_t bytes =
        c >= 0x80 && checks_utf8(how) ? xp_str_sequence(from.text + from.at, from.length - from.at) : 0;
    if (bytes == 0) return;
    from.at += bytes;
  }
}

// Letters are special in no mode, so their case can be mapped while they are copied.
void copy(xpf_sink &out, uint32_t flags, const char *text, int64_t length) {
  if ((flags & (XPF_UPPER | XPF_LOWER)) == 0) {
    out.text(text, length);
    return;
  }
  char block[256];
  while (length > 0 && !out.stopped()) {
    int64_t bytes = xps_cut(text, length, sizeof block);
    for (int64_t i = 0; i < bytes; ++i)
      block[i] = xpf_case(flags, text[i]);
    out.text(block, bytes);
    text += bytes;
    length -= bytes;
  }
}

bool has_markup(const char *text, int64_t length) {
  return std::string_view(text, static_cast<size_t>(length)).find_first_of(markup) != std::string_view::npos;
}

}  // namespace

void xpf_escape(xpf_sink &out, uint32_t flags, const char *text, int64_t length) {
  if (length <= 0) return;
  bool wrapped = (flags & XPF_CDATA) != 0 && has_markup(text, length);
  mode how = pick_mode(flags, wrapped);
  if (wrapped) out.whole("<![CDATA[", 9);
  if (how == mode::none) {
    copy(out, flags, text, length);
  } else {
    cursor from{text, length, 0};
    while (from.at < length && !out.stopped()) {
      int64_t start = from.at;
      skip_ordinary(how, from);
      copy(out, flags, text + start, from.at - start);
      if (from.at == length) break;
      replacement to = escape(how, from);
      out.whole(to.bytes, to.length);
      from.at += to.taken;
    }
  }
  if (wrapped) out.whole("]]>", 3);
}

void xpf_text(xpf_sink &out, const xpf_directive &directive, const char *text, int64_t length) {
  uint32_t stages = directive.flags & (XPF_ESCAPES | XPF_UPPER | XPF_LOWER);
  xpf_padded(out, directive, [=](xpf_sink &to) {
    if (stages != 0) {
      xpf_escape(to, stages, text, length);
    } else {
      to.text(text, length);
    }
  });
}
