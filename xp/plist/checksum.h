// Checksums over trees: a CRC-32 (xp/plist/crc32.h) fed with a walk that depends on the tree alone, never on
// the order in which it was built. Equal trees have equal checksums, in one run and the next.
//
// The walk of a node feeds the four bytes of its type code, in the order of their characters (those of null
// are zeros), then
//   dictionary          for each entry in byte order of the keys: "key", the key, the walk of the value
//   array               the walk of each element, in order
//   string, URL, data   the bytes
//   integer             eight bytes, lowest first: the value
//   float               the same of the IEEE 754 bits
//   date                the same of the milliseconds since 1970
//   boolean             one byte, 1 or 0
//   null                "null"
//   any other           its text
//
// An entry whose value is null counts only in a style that has a text for null: those without cannot tell it
// from a missing one. Lengths are not fed, so trees made for the purpose can share a checksum: it finds
// changes, it proves nothing.
//
// Results are 0 to 2^32 - 1, or -1 when memory is exhausted or containers nest deeper than XP_PLIST_DEEPEST
// levels, as in a tree that contains itself. For one thread at a time, as the tree is.

#ifndef XP_PLIST_CHECKSUM_H
#define XP_PLIST_CHECKSUM_H

#include "xp/object/object.h"
#include "xp/plist/style.h"

#include <stdint.h>

// Of a property list's tree, in its own style; 0 for anything else.
int64_t xp_plist_checksum(xp_obj *p);

// Goes on from a checksum (0 at the start; -1 stays -1) with the walk of a node; with what the walk feeds for
// a dictionary, an array behind the type code (`sum` itself for anything else). A null style counts as one
// without a text for null.
int64_t xp_plist_ichecksum(xp_obj *node, const xp_plist_style *style, int64_t sum);
int64_t xp_plist_dictcsum(xp_obj *dict, const xp_plist_style *style, int64_t sum);
int64_t xp_plist_arraycsum(xp_obj *array, const xp_plist_style *style, int64_t sum);

// Keeps the current checksum in the property list and returns it. On -1 what was kept stays.
int64_t xp_plist_bookmark(xp_obj *p);

// Whether the tree, or what its style counts of it, has changed since the bookmark: 0, or the new checksum. A
// list without a bookmark has changed unless its checksum is 0. Nonzero when there is no checksum (-1), and
// when the new checksum is itself 0 (2^32, whose lower 32 bits are the checksum).
int64_t xp_plist_modified(xp_obj *p);

#endif
