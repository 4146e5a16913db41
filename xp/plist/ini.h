// The reader of sections: an event parser that allocates nothing, and the handler that builds a tree of its
// events. May run on several threads at once, each with its own state.
//
//   ; a comment, as after "#"                  a value of the root, as long as no section is open
//   name = value
//   [section]
//   name = value
//   "a name = in quotes" = "a value, with ""quotes"" and line breaks"
//   [name] = a value of the root; closes the section
//
//  - A line ends with LF, CR or CR LF; white space around names and values does not count. Comments stand on
//    lines of their own, or behind a section's name.
//  - A name or value is quoted when its first quote is ended at its very end; two quotes inside stand for
//    one, and it may go on over several lines. Any other quote is a byte like others, as backslashes are.
//  - One comma at the end of a line is not part of the value: the writer puts it there.
//  - A section that stands again goes on, a value that stands again replaces the first. Keys ignore the case
//    of ASCII letters, as those of JSON do.
//  - Faults: a line that is nothing of this ("a line without an equals sign"), an empty name, a section's
//    name without its bracket or with something behind it.
//
// Values are always strings.

#ifndef XP_PLIST_INI_H
#define XP_PLIST_INI_H

#include "xp/plist/text_form.h"

#include <stdint.h>

enum xp_ini_event : int32_t {
  XP_INI_SECTION = 0,  // a section opens, which closes the one before
  XP_INI_VALUE = 1,    // a value of the open section; of the root when none is open
  XP_INI_ROOT = 2,     // a value of the root; closes the section
};

// Valid during the call.
struct xp_ini_node {
  xp_plist_token name;
  xp_plist_token value;  // empty for a section
};

// A nonzero result stops the parser, which returns it.
using xp_ini_handler = int64_t (*)(xp_ini_event event, const xp_ini_node *node, void *context);

// Parses `length` bytes (below 0: zero-terminated). 0; -1 with `fault` filled in; the handler's result with
// the fault's offset that of the event and no reason. A null handler only checks the text; `fault` may be
// null.
int64_t xp_ini_parse(const char *text, int64_t length, xp_ini_handler handler, void *context,
                     xp_plist_fault *fault);

// The root is the caller's dictionary; the rest begins as null.
struct xp_plist_inistate {
  xp_obj *root;     // borrowed
  xp_obj *section;  // borrowed from the root
};

// Handles one event. 0; -1 when memory is exhausted.
int64_t xp_plist_iniparser(xp_ini_event event, const xp_ini_node *node, void *state);

#endif
