// Property lists ("plst"): one tree of runtime objects with the style in which it was read, so that a tree
// read from JSON is written back as JSON. For one thread at a time.

#ifndef XP_PLIST_PLIST_H
#define XP_PLIST_PLIST_H

#include "xp/object/object.h"

#include <stdint.h>

enum : int32_t {
  XP_PLIST_DETECT = -1,
  XP_PLIST_JSON = 1,           // compact, with a final line break
  XP_PLIST_JSON_INDENTED = 2,  // one item per line, tabs
  XP_PLIST_JSON_BARE = 8,      // compact, without a final line break
};

// "plst"
uint32_t xp_plist_type();

// Reads a text. A null text gives an empty dictionary in the style (0 when it is negative or above 8). A
// negative style detects the kind of text: JSON reads as style 1; of other kinds none is read. Null when
// nothing could be read: on a fault anywhere, or a second root.
xp_obj *xp_plist_new(const char *text);
xp_obj *xp_plist_parse(const char *text, int64_t length, int32_t style);

// Wraps an existing tree (retained; null for make: none), style 1. A property list is returned retained by
// coerce.
xp_obj *xp_plist_make(xp_obj *root);
xp_obj *xp_plist_coerce(xp_obj *obj);

// The node at a path, as a new reference; null when there is none. A null or empty path is the root. A path
// is steps of "/" and a key, "@key" (a key that begins with # or @) or "#index" into an array; "/", "/@" and
// "/#" at the end ask for the node itself if it is a container, a dictionary, an array.
xp_obj *xp_plist_get(xp_obj *p, const char *path);

// Stores a value (retained) at a path; a null or empty path replaces the root. Dictionaries that are missing
// along the path are made (case-insensitive, as the JSON reader makes them). "#index" replaces an element, or
// appends when the index is the array's length. 0; -1, with nothing changed, when the path crosses something
// else or names no place to store into, or when memory is exhausted.
int32_t xp_plist_set(xp_obj *p, const char *path, xp_obj *value);

// Style 0 to 8: 0, else -1. The current style. Whether keys with null values are written (at first they are
// not). Styles 1, 2 and 8 exist for writing; a list of another style is written as style 1.
int32_t xp_plist_setstyle(xp_obj *p, int32_t style);
int32_t xp_plist_getstyle(xp_obj *p);
void xp_plist_setnulls(xp_obj *p, int32_t on);

// Writes a tree in a style (9 or more: 1), header and footer included, without a terminating zero. Returns
// the bytes written (what fits), or with a null buffer the length of the whole text. A property list takes
// the style, when it is below 9, and writes itself. Keys stand in byte order; recursion is as deep as the
// tree.
//
// Deliberate: keys are written as stored, without escaping; keys with quotes give invalid JSON.
int64_t xp_plist_stringify(xp_obj *obj, int32_t style, int32_t nulls, char *buffer, int64_t capacity);

// The same as a new string, in one pass; null when memory is exhausted.
xp_obj *xp_plist_string(xp_obj *obj, int32_t style, int32_t nulls);

// The same through an output function: the bytes written, or its first negative result.
int64_t xp_plist_streamify(xp_obj *obj, int32_t style, int32_t nulls, xp_writer writer, void *context);

// A property list's text in its own style and with its own setting for nulls, as xp_textify and xp_stream
// give it.
int64_t xp_plist_textify(xp_obj *p, char *buffer, int64_t capacity);
int64_t xp_plist_stream(xp_obj *p, xp_writer writer, void *context);

#endif
