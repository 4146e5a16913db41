// The string stage: case, escapes and the CDATA wrap. Of several escapes the first in the order of xpf_mode
// decides alone; a wrap is put around whatever it is.

#include "xp/format/engine.h"
#include "xp/format/escape_scan.h"
#include "xp/string/text.h"
#include "xp/string/utf8.h"

#include <string.h>

#include <string_view>

namespace {

using mode = xpf_mode;

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
    add(xpf_upper_digits[c >> 4]);
    add(xpf_upper_digits[c & 15]);
  }
};

// A place in the text.
struct cursor {
  const char *begin;
  const char *at;
  const char *end;

  unsigned char byte() const { return static_cast<unsigned char>(*at); }
  bool ends_cdata() const { return at - begin >= 2 && at[-1] == ']' && at[-2] == ']'; }
};

// A byte from 128 on that begins no well-formed UTF-8 sequence.
void xpf_eschigh(mode how, unsigned char c, replacement &to) {
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
      if (from.end - from.at > 1 && from.at[1] == '\n') to.taken = 2;
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
  if (c >= 0x80 && xpf_checks_utf8(how)) {
    xpf_eschigh(how, c, to);
    return to;
  }
  switch (how) {
    case mode::percent_all:
    case mode::percent_six:
    case mode::percent_high: to.add_percent(c); break;
    case mode::literal: escape_literal(from, to); break;
    case mode::entity: escape_entity(c, to); break;
    case mode::cdata: to.add(from.ends_cdata() ? ' ' : '>'); break;
    case mode::backtick: to.add(c == '\'' ? '`' : (c == '\t' ? '\t' : ' ')); break;
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

// Moves over the bytes that are copied as they are.
void skip_ordinary(mode how, cursor &from) {
  for (;;) {
    from.at = xpf_ordinary(how, from.at, from.end);
    if (from.at == from.end || from.byte() < 0x80 || !xpf_checks_utf8(how)) return;
    const int32_t bytes = xp_str_sequence(from.at, from.end - from.at);
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

// The text with its escapes.
void escape_all(xpf_sink &out, uint32_t flags, mode how, std::string_view text) {
  cursor from{text.data(), text.data(), text.data() + text.size()};
  while (!out.stopped()) {
    const char *start = from.at;
    skip_ordinary(how, from);
    copy(out, flags, start, from.at - start);
    if (from.at == from.end) return;
    const replacement to = escape(how, from);
    out.whole(to.bytes, to.length);
    from.at += to.taken;
  }
}

}  // namespace

bool xpf_has_markup(std::string_view text) {
  return text.find_first_of(xpf_markup) != std::string_view::npos;
}

void xpf_str(xpf_sink &out, uint32_t flags, const char *text, int64_t length) {
  if (length <= 0) return;
  const std::string_view all(text, static_cast<size_t>(length));
  const bool wrapped = (flags & XPF_CDATA) != 0 && xpf_has_markup(all);
  const mode how = pick_mode(flags, wrapped);
  if (wrapped) out.whole(xpf_cdata_begin.data(), static_cast<int64_t>(xpf_cdata_begin.size()));
  if (how == mode::none) {
    copy(out, flags, text, length);
  } else {
    escape_all(out, flags, how, all);
  }
  if (wrapped) out.whole(xpf_cdata_end.data(), static_cast<int64_t>(xpf_cdata_end.size()));
}

void xpfs_str(xpf_sink &out, const xpf_directive &directive, const char *text, int64_t length) {
  const uint32_t flags = directive.stage_flags();
  xpf_padded(out, directive, [=](xpf_sink &to) {
    if (flags != 0) {
      xpf_str(to, flags, text, length);
    } else {
      to.text(text, length);
    }
  });
}
