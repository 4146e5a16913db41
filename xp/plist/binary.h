// The reader of binary property lists, of the published version "00". Safe from any thread.
//
// What the kinds become: null is null, booleans and strings are themselves; integers, unsigned 16-byte ones
// and UIDs (up to 8 bytes) included, are integer numbers where signed 64 bits hold them, else floats, as in
// every other text; reals are floats; dates are dates, rounded to milliseconds; data is data; arrays and both
// kinds of sets are arrays; dictionaries are dictionaries that tell upper from lower case.
//
// Text: 8-bit strings are taken as UTF-8, of which ASCII is a part; what is not well formed there, and a
// surrogate without its partner in 16-bit text, becomes U+FFFD. A key longer than a dictionary's keys can be
// is cut behind a whole character; of equal keys the last one counts.
//
// Refused, with a fault, is all that the format does not say: a trailer whose sizes are not 1 to 8, that
// counts no object, whose offset table is not between the header and the trailer, or whose top object does
// not exist; a reference to an object that does not exist; an object that does not lie whole between the
// header and the offset table; a kind or size not named above; a key that is no string, or an empty one, for
// no dictionary can hold it; a container inside itself; more than xp::deepest_list levels of containers; a
// date more than 2^53 seconds from 2001; a null alone. Bytes that nothing refers to may hold anything, such
// as the bytes that fill the gaps between objects (0F) and those between the offset table and the trailer.
//
// An object that several places refer to is made anew for each of them: the tree shares nothing, so changing
// it in one place changes it there alone. What a small list can thereby grow into is limited: to a million
// values or 16 for each of its bytes, whichever is more, and to some 64 MiB of memory and 128 bytes for each.

#ifndef XP_PLIST_BINARY_H
#define XP_PLIST_BINARY_H

#include "xp/object/object.h"

#include <stdint.h>

// The tree of a binary property list; xp::read_binary (xp/plist/reader.h) without the fault. Null when it
// cannot be read, also for a length below 0: such a list has no end of its own.
xp_obj *xp_plist_binaryload(const void *bytes, int64_t length);

#endif
