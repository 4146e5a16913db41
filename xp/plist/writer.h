// The writer of object trees: text in the form that a style record describes, into a buffer, an output
// function or a string. Keys stand in byte order, so equal trees give equal texts. A tree has no text when
// memory is exhausted or containers nest deeper than XP_PLIST_DEEPEST levels, as in one that contains itself.
//
// Deliberate: in JSON, keys are written as stored, without escaping; keys with quotes give invalid JSON. Keys
// that the JSON reader made keep their escapes, so escaping them here would double those.

#ifndef XP_PLIST_WRITER_H
#define XP_PLIST_WRITER_H

#include "xp/object/object.h"
#include "xp/plist/plist.h"
#include "xp/plist/style.h"
#include "xp/plist/text_sink.h"

#include <stdint.h>

enum : uint32_t {
  XP_PLIST_NULLS = 1,  // keys with null values are written, in styles that have a text for null
};

// Writes one node, without the style's header and footer. `depth` is its level: 0 takes the style's top-level
// texts and no indentation. The bytes written (what fits), or with a null buffer the length of the whole
// text; -1, whatever the buffer holds then, when the tree has no text.
int64_t xp_plist_itextify(xp_obj *obj, const xp_plist_style *style, uint32_t flags, int64_t depth,
                          char *buffer, int64_t capacity);

// The same through an output function: the bytes written, its first negative result, or -1.
int64_t xp_plist_istream(xp_obj *obj, const xp_plist_style *style, uint32_t flags, int64_t depth,
                         xp_writer writer, void *context);

namespace xp {

// The one core behind them and behind the forms in xp/plist/plist.h: a node; a whole document, header to
// footer.
void write_node(text_sink &out, const xp_plist_style &style, uint32_t flags, int64_t depth, xp_obj *obj);
void write_document(text_sink &out, const xp_plist_style &style, uint32_t flags, xp_obj *root);

// write_node's two ways: for the records of styles 1 and 8 themselves, with so many levels left for
// containers; for every record.
void write_compact_json(text_sink &out, uint32_t flags, xp_obj *obj, int32_t levels = XP_PLIST_DEEPEST);
void write_node_of_any_style(text_sink &out, const xp_plist_style &style, uint32_t flags, int64_t depth,
                             xp_obj *obj);

}  // namespace xp

#endif
