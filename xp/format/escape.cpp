// The string stage: case, escapes and the CDATA wrap. Of several escapes the first in the order of xpf_mode
// decides alone; a wrap is put around whatever it is.

#include "xp/format/engine.h"
#include "xp/format/escape_scan.h"
#include "xp/string/text.h"
#include "xp/string/utf8.h"

#include <string.h>

#include <array>
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

// What stands for a byte that needs a look.
struct replacement {
  char bytes[7]{};
  uint8_t length = 0;

  constexpr void add(char c) { bytes[length++] = c; }
  constexpr void add(std::string_view text) {
    for (char c : text)
      add(c);
  }
  constexpr void add_percent(unsigned c) {
    add('%');
    add(xpf_upper_digits[c >> 4]);
    add(xpf_upper_digits[c & 15]);
  }
};

// A byte from 128 on that begins no well-formed UTF-8 sequence.
constexpr void xpf_eschigh(mode how, unsigned c, replacement &to) {
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

constexpr std::string_view literal_of(char c) {
  switch (c) {
    case '\t': return "\\t";
    case '\n':
    case '\r': return "\\n";
    case '"': return "\\\"";
    case '\\': return "\\\\";
    default: return " ";
  }
}

// Deliberate: entities start with "%" where markup has "&". The readers of these texts turn them back that
// way.
constexpr std::string_view entity_of(char c) {
  switch (c) {
    case '"': return "%dquo;";
    case '&': return "%amp;";
    case '\'': return "%#39;";
    case '<': return "%lt;";
    default: return "%gt;";
  }
}

constexpr replacement escape(mode how, unsigned byte) {
  replacement to;
  const auto c = static_cast<char>(byte);
  if (byte >= 0x80 && xpf_checks_utf8(how)) {
    xpf_eschigh(how, byte, to);
    return to;
  }
  switch (how) {
    case mode::percent_all:
    case mode::percent_six:
    case mode::percent_high: to.add_percent(byte); break;
    case mode::literal: to.add(literal_of(c)); break;
    case mode::entity: to.add(entity_of(c)); break;
    case mode::cdata: to.add(' '); break;
    case mode::backtick: to.add(c == '\'' ? '`' : (c == '\t' ? '\t' : ' ')); break;
    case mode::quote_twice: to.add("''"); break;
    case mode::quote_double:
    case mode::quote_single:
    case mode::none:
      to.add('\\');
      to.add(c);
      break;
  }
  return to;
}

using replacement_table = std::array<std::array<replacement, 256>, static_cast<size_t>(mode::none)>;

constexpr replacement_table replacements = [] {
  replacement_table table{};
  for (size_t how = 0; how < table.size(); ++how) {
    for (unsigned c = 0; c < 256; ++c)
      table[how][c] = escape(static_cast<mode>(how), c);
  }
  return table;
}();

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

// Bytes at `at` that are copied though the scan stops there: a well-formed sequence, or a ">" that ends no
// "]]>".
inline int32_t copied_after_all(mode how, const char *begin, const char *at, const char *end) {
  if (how == mode::cdata) return at - begin >= 2 && at[-1] == ']' && at[-2] == ']' ? 0 : 1;
  if (static_cast<unsigned char>(*at) < 0x80 || !xpf_checks_utf8(how)) return 0;
  return xp_str_sequence(at, end - at);
}

// A text on its way through the stage.
struct escaper {
  xpf_sink &out;
  uint32_t flags;
  mode how;
  const char *begin;
  const char *end;

  bool cased() const { return (flags & (XPF_UPPER | XPF_LOWER)) != 0; }
  const replacement &replace(char c) const {
    return replacements[static_cast<size_t>(how)][static_cast<unsigned char>(c)];
  }
  // Bytes that the escape at `at` stands for.
  int taken(const char *at) const {
    return how == mode::literal && *at == '\r' && end - at > 1 && at[1] == '\n' ? 2 : 1;
  }

  const char *pass_copied(const char *at) const;
  char *write_special(const char *&at, char *to) const;
  const char *write(const char *at, char *to, int64_t room);
  const char *put(const char *at);
  void run();
};

// Passes over bytes that are copied though they needed a look.
const char *escaper::pass_copied(const char *at) const {
  while (at != end && xpf_needs_look(how, *at)) {
    const int32_t bytes = copied_after_all(how, begin, at, end);
    if (bytes == 0) break;
    at += bytes;
  }
  return at;
}

// Writes what becomes of a byte that needs a look. Up to sizeof(replacement) bytes at `to` are touched.
char *escaper::write_special(const char *&at, char *to) const {
  if (const int32_t bytes = copied_after_all(how, begin, at, end)) {
    for (const char *last = at + bytes; at != last; ++at)
      *to++ = *at;
    return to;
  }
  const replacement &text = replace(*at);
  memcpy(to, &text, sizeof text);
  at += taken(at);
  return to + text.length;
}

// Writes straight to where there is room, as long as it is enough for any escape. Returns what follows.
const char *escaper::write(const char *at, char *to, int64_t room) {
  char *const last = to + room - sizeof(replacement);
  while (at != end && to < last) {
    const char *const start = at;
    const char *const stop = end - at < last - to ? end : at + (last - to);
    at = xpf_ordinary(how, at, stop, to);
    to += at - start;
    if (at == stop) continue;
    do
      to = write_special(at, to);
    while (at != end && to < last && xpf_needs_look(how, *at));
  }
  out.advance(to);
  return at;
}

// The same for one run and the escape behind it: at the end of a buffer, for a sink that counts and for the
// case mapping. A character whose first bytes `write` has written still finds room for the others.
const char *escaper::put(const char *at) {
  const char *const start = at;
  do
    at = pass_copied(xpf_ordinary(how, at, end, nullptr));
  while (at != end && !xpf_needs_look(how, *at));
  copy(out, flags, start, at - start);
  if (at == end) return at;
  const replacement &text = replace(*at);
  out.whole(text.bytes, text.length);
  return at + taken(at);
}

void escaper::run() {
  for (const char *at = begin; at != end && !out.stopped();) {
    const int64_t room = out.room();
    char *to = cased() ? nullptr : out.reserve(sizeof(replacement) + 1);
    at = to != nullptr ? write(at, to, room) : put(at);
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
    escaper{out, flags, how, text, text + length}.run();
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
