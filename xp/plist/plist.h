// Property lists ("plst"): one tree of runtime objects with the style in which it was read, so that a tree
// read from JSON is written back as JSON and one from an XML property list as that. For one thread at a time.
// All values in a tree are objects; containers of raw values have no place in it.
//
// Around it: value.h typed nodes, copy.h deep copies, checksum.h checksums and changes, style.h the texts of
// the styles, writer.h writing single nodes; all in xp/plist.

#ifndef XP_PLIST_PLIST_H
#define XP_PLIST_PLIST_H

#include "xp/object/object.h"
#include "xp/plist/fault.h"

#include <stdint.h>

// The styles: what a text is written in, and the reader that takes one of that style. Every XML style reads
// all forms of XML.
enum : int32_t {
  XP_PLIST_DETECT = -1,
  XP_PLIST_XML = 0,             // XML property list
  XP_PLIST_JSON = 1,            // compact, with a final line break
  XP_PLIST_JSON_INDENTED = 2,   // one item per line, tabs
  XP_PLIST_SECTIONS = 3,        // [section] and name=value lines
  XP_PLIST_QUERY = 4,           // name=value&name=value, percent-encoded
  XP_PLIST_CSS = 5,             // name { name: value; }
  XP_PLIST_ITEMS = 6,           // item list XML, compact
  XP_PLIST_ITEMS_INDENTED = 7,  // item list XML, one item per line, tabs
  XP_PLIST_JSON_BARE = 8,       // compact, without a final line break
  XP_PLIST_STYLES = 9,
};

// Levels of containers that are written and summed up; one more has neither text nor checksum. Twice what
// readers nest, because the values of equal names in SOAP gather in arrays between two levels.
enum : int32_t { XP_PLIST_DEEPEST = 1024 };

// "plst"
uint32_t xp_plist_type();

// Reads a text into a new list. A style of 0 to 8 chooses the reader, any above the XML reader. A negative
// style detects the kind of text (xp/plist/detect.h), binary property lists among them, which are read by
// their whole length; a zero byte ends every other text, 16-bit XML apart. The list has the style that was
// asked for or detected (JSON: 1); where XML was read, or a binary list, 0 for property lists and dictionary
// files, 6 for XML-RPC and SOAP, 7 for item lists. A null text gives an empty dictionary in the style (0 when
// there is no such style).
//
// Null when nothing could be read: on a fault anywhere, or a second root. `fault`, which may be null, then
// tells where and why ("out of memory" when it was exhausted); with a list its reason is null.
xp_obj *xp_plist_new(const char *text);
xp_obj *xp_plist_parse(const char *text, int64_t length, int32_t style);
xp_obj *xp_plist_read(const char *text, int64_t length, int32_t style, xp_plist_fault *fault);

// Wraps an existing tree (retained; null for make: none), style 1. A property list is returned retained.
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
// not).
int32_t xp_plist_setstyle(xp_obj *p, int32_t style);
int32_t xp_plist_getstyle(xp_obj *p);
void xp_plist_setnulls(xp_obj *p, int32_t on);

// Writes a tree in a style (9 or more: 1), header and footer included, without a terminating zero. Returns
// the bytes written (what fits), or with a null buffer the length of the whole text; -1, whatever the buffer
// holds then, when memory is exhausted or the tree is deeper than XP_PLIST_DEEPEST, as one that contains
// itself is. A property list takes the style, when it is below 9, and writes itself. Keys stand in byte
// order.
//
// Deliberate: keys are written as stored, without escaping; keys with quotes give invalid JSON.
int64_t xp_plist_stringify(xp_obj *obj, int32_t style, int32_t nulls, char *buffer, int64_t capacity);

// The same as a new string, in one pass; null when it cannot be written.
xp_obj *xp_plist_string(xp_obj *obj, int32_t style, int32_t nulls);

// The same through an output function: the bytes written, its first negative result, or -1.
int64_t xp_plist_streamify(xp_obj *obj, int32_t style, int32_t nulls, xp_writer writer, void *context);

// A property list's text in its own style and with its own setting for nulls, as xp_textify and xp_stream
// give it.
int64_t xp_plist_textify(xp_obj *p, char *buffer, int64_t capacity);
int64_t xp_plist_stream(xp_obj *p, xp_writer writer, void *context);

#endif
