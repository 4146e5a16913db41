// How the writer makes strings and keys safe in each form of text. Internal to this folder.

#ifndef XP_PLIST_WRITER_TEXT_H
#define XP_PLIST_WRITER_TEXT_H

#include "xp/plist/style.h"
#include "xp/plist/text_sink.h"

#include <string_view>

namespace xp {

// The text of a string literal, through the format engine's string stage ("~"), which also replaces what is
// not UTF-8: no text can end its own quotes.
void write_literal(text_sink &out, std::string_view text);
// The same through the format engine's string stage, for sinks that are nearly full; write_literal's measure.
void write_literal_plainly(text_sink &out, std::string_view text);

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
