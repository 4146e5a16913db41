// The reader of CSS-like blocks: an event parser that allocates nothing, and the handler that builds a tree
// of its events. May run on several threads at once, each with its own state.
//
//   selector {                 /* a comment, wherever white space may stand */
//     name: value;
//     "a name: in quotes": "a value; with ""quotes"" and line breaks";
//     inner { name: value }    blocks nest; "inner: {" is the same
//   }
//
//  - What stands before a "{" is a selector, whatever it holds ("a:hover"); otherwise the first colon ends
//    the name. White space and comments around names and values do not count; inside they stay.
//  - Nothing is read between two quotes, in which two quotes stand for one. A name or value that is quoted
//    from its beginning to its end is what stands between; in any other the quotes stay. Apostrophes and
//    backslashes are bytes like others.
//  - The last semicolon of a block may be missing, spare ones do no harm. Values outside any block belong to
//    the root. A statement that begins with "@" and has neither colon nor block is passed over.
//  - A block that stands again goes on, a value that stands again replaces the first. Keys ignore the case of
//    ASCII letters, as those of JSON do.
//  - Faults: braces that do not match, a quote or comment without its end, a value without a colon, an empty
//    name, more than `xp::deepest_list` levels with the root.
//
// Values are always strings.

#ifndef XP_PLIST_CSS_H
#define XP_PLIST_CSS_H

#include "xp/plist/reader.h"
#include "xp/plist/text_form.h"

#include <stdint.h>

enum xp_css_event : int32_t {
  XP_CSS_OPEN = 0,   // a block opens
  XP_CSS_VALUE = 1,  // a value of the innermost open block; of the root when none is open
  XP_CSS_CLOSE = 2,  // the innermost block closes
};

// Valid during the call.
struct xp_css_node {
  xp_plist_token name;   // empty at a close
  xp_plist_token value;  // empty at both ends of a block
};

// A nonzero result stops the parser, which returns it.
using xp_css_handler = int64_t (*)(xp_css_event event, const xp_css_node *node, void *context);

// Parses `length` bytes (below 0: zero-terminated). 0; -1 with `fault` filled in; the handler's result with
// the fault's offset that of the event and no reason. A null handler only checks the text; `fault` may be
// null.
int64_t xp_css_parse(const char *text, int64_t length, xp_css_handler handler, void *context,
                     xp_plist_fault *fault);

// open[0] is the caller's root; the rest begins as zero.
struct xp_plist_cssstate {
  xp_obj *open[xp::deepest_list];  // borrowed, each from the one before
  int32_t depth;                   // of open blocks
};

// Handles one event. 0; -1 when memory is exhausted, and for an event that the parser does not raise: a close
// with nothing open, a block too deep.
int64_t xp_plist_cssparser(xp_css_event event, const xp_css_node *node, void *state);

#endif
