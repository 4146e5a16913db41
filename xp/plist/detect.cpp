#include "xp/plist/detect.h"

#include <cstddef>

namespace {

enum : uint32_t {
  brace = 1,
  quote = 2,
  bracket_open = 4,
  bracket_close = 8,
  angle = 16,
  equals = 32,
  ampersand = 64,
  colon = 128,
  printable = 256,  // any other byte from "!" to "~"
  line_break = 512,
};

// White space, control bytes and bytes from 128 on (a byte order mark, say) are no marks.
uint32_t mark_of(char byte) {
  switch (byte) {
    case '{': return brace;
    case '"': return quote;
    case '[': return bracket_open;
    case ']': return bracket_close;
    case '<': return angle;
    case '=': return equals;
    case '&': return ampersand;
    case ':': return colon;
    case '\n':
    case '\r': return line_break;
    default: return byte > ' ' && byte <= '~' ? uint32_t{printable} : 0;
  }
}

// The marks up to where the scan stops.
uint32_t scan(std::string_view text) {
  uint32_t seen = 0;
  for (char byte : text) {
    const uint32_t mark = mark_of(byte);
    const bool stops = mark == brace || mark == angle || (mark == quote && (seen & printable) == 0);
    seen |= mark;
    if (stops) break;
  }
  return seen;
}

}  // namespace

xp_plist_kind xp_plist_detect(std::string_view text) {
  if (text.size() >= 8 && text.starts_with("bplist")) return xp_plist_kind::binary;
  const uint32_t seen = scan(text.substr(0, text.find('\0')));
  const auto all = [seen](uint32_t marks) { return (seen & marks) == marks; };
  const auto any = [seen](uint32_t marks) { return (seen & marks) != 0; };
  if (all(brace | printable) && !any(colon)) return xp_plist_kind::css;
  if (any(brace | quote)) return xp_plist_kind::json;
  if (all(bracket_open | colon)) return xp_plist_kind::sections;
  if (any(equals | ampersand) && !any(line_break)) return xp_plist_kind::arguments;
  return xp_plist_kind::xml;
}
