// The builder of JSON trees: a handler for xp_json_parse that makes dictionaries (case-insensitive), arrays,
// strings, numbers and booleans from the tokenizer's events. One state serves one text, on one thread.
//
// Values are strings with their escapes resolved as xp_str_unescape does; keys keep their raw bytes, escapes
// and all.
//
// Deliberate: an escaped "u" is the letter u followed by its digits, as it is for every reader of these
// strings.

#ifndef XP_PLIST_JSON_TREE_H
#define XP_PLIST_JSON_TREE_H

#include "xp/object/object.h"
#include "xp/plist/json.h"

#include <stdint.h>

// An open container. An array is made when it closes, from the values collected since it opened.
struct xp_plist_jsonframe {
  xp_obj *dict;  // owned; null for an array
  int64_t base;  // arrays: where their values begin among the collected ones
};

// Zero-initialise, hand to xp_plist_jsonparser as its context, end with xp_plist_jsonclear. At most as many
// containers can be open as the tokenizer has nodes.
struct xp_plist_jsonstate {
  xp_plist_jsonframe open[32];
  int32_t depth;     // open containers
  xp_obj *root;      // the finished tree, owned
  xp_obj **values;   // owned references to the values of all open arrays, innermost last
  int64_t count;     // of `values`
  int64_t capacity;  // of `values`
};

// Handles one event. 0, or -1 for what it cannot place: a container of an unknown kind, a close with nothing
// open, a value in a dictionary without a key, a second root; also when memory is exhausted.
int64_t xp_plist_jsonparser(xp_json_event event, xp_json_node *node, void *state, int64_t link);

// Releases what the state holds and zeroes it.
void xp_plist_jsonclear(xp_plist_jsonstate *state);

// Reads a text into a tree. Null on a fault anywhere, on a second root and when there is none.
xp_obj *xp_plist_jsontree(const char *text, int64_t length);

#endif
