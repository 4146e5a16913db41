// How the writer makes strings and keys safe in each form of text. Internal to this folder.

#ifndef XP_PLIST_WRITER_TEXT_H
#define XP_PLIST_WRITER_TEXT_H

#include "xp/plist/style.h"
#include "xp/plist/text_sink.h"

#include <string_view>

namespace xp {

// The text of a string literal, as the format engine's "~" option makes it, which also replaces what is not
// UTF-8: no text can end its own quotes.
void write_literal(text_sink &out, std::string_view text);

// A part of such a text and where it goes.
struct literal_run {
  const char *at;
  const char *stop;
  char *to;
};

// The room that so many bytes may take, and how many bytes are sure to fit into so much room.
constexpr size_t literal_room(size_t size) {
  return 2 * size + 16;
}
constexpr size_t literal_fits(size_t room) {
  return (room - 16) / 2;
}

// Writes the bytes from `at` to `stop`, where there is literal_room for them, of a text that goes on to
// `end`: up to three more of these when they belong to the last one. Where it came to.
literal_run write_literal_run(literal_run run, const char *end);

// Percent-encoded, through the format engine's "+" directive.
void write_percent(text_sink &out, std::string_view text);

// In quotes when it holds a byte of the style's `special`, begins or ends with white space, or begins with a
// byte order mark.
void write_quotes(text_sink &out, const xp_plist_style &style, std::string_view text);

// Characters of XML: in the style's CDATA block when one of them is & < >; with entities for these and the
// quote, good for an attribute too.
void write_markup(text_sink &out, const xp_plist_style &style, std::string_view text);
void write_entities(text_sink &out, std::string_view text);

}  // namespace xp

#endif
