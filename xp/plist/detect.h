// What kind of structured text a text is, told from its marks.

#ifndef XP_PLIST_DETECT_H
#define XP_PLIST_DETECT_H

#include <stdint.h>

#include <string_view>

enum class xp_plist_kind : uint8_t {
  binary,  // begins with "bplist"
  json,
  sections,   // [section] and name=value lines, a colon somewhere
  arguments,  // name=value&name=value
  css,        // selector { name: value; }
  xml,        // everything else
};

// The kind of a text, from the marks up to the first "{" or "<", or up to a quote with nothing else before
// it.
//
// Deliberate: a JSON array counts as JSON only when a quote or brace stands in it ("[1,2]" does not); callers
// that know what they hold name the style.
xp_plist_kind xp_plist_detect(std::string_view text);

#endif
