// What the readers of sections and of CSS-like blocks share: names and values as they stand in the text, and
// the dictionaries that are made of them.

#ifndef XP_PLIST_TEXT_FORM_H
#define XP_PLIST_TEXT_FORM_H

#include "xp/object/object.h"
#include "xp/plist/fault.h"

#include <stdint.h>

#include <string_view>

// A name or value, as it points into the text. Of one in quotes the bytes between them, among which two
// quotes stand for one.
struct xp_plist_token {
  std::string_view text;
  bool quoted;
};

namespace xp {

// Space, tab, line feed, vertical tab, form feed, carriage return.
constexpr bool is_text_space(char byte) {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

std::string_view without_space_behind(std::string_view text);

// The place behind the quote that ends the one at `at`; null when the text ends before.
const char *find_quote_end(const char *at, const char *end);

// What a text without white space around it is: quoted when its first quote ends at its end.
xp_plist_token token_of(std::string_view text);

// What a text may begin with and does not count.
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
std::string_view without_mark(std::string_view text);

// Stores a value, a new string, under a name; the last one of a name stays. False when memory is exhausted.
bool store_token(xp_obj *dict, const xp_plist_token &name, const xp_plist_token &value);

// The dictionary under a name, borrowed from `dict`; a new one, ASCII letters of its keys folded, when there
// is something else or nothing. Null when memory is exhausted.
xp_obj *enter_dict(xp_obj *dict, const xp_plist_token &name);

}  // namespace xp

#endif
