// The reader of URL arguments ("a=1&b=two%20words"): the visitor that builds a dictionary of them.
//
//  - Names and values are decoded; "+" is a space. A name without "=" has the empty string as its value, an
//    empty name is dropped, the last value of a name stays.
//  - A question mark before the first argument, and white space around the whole, do not count.
//  - Keys ignore the case of ASCII letters, as those of JSON do.
//
// There is no text that could not be read.

#ifndef XP_PLIST_ARGUMENTS_H
#define XP_PLIST_ARGUMENTS_H

#include "xp/object/object.h"

#include <stdint.h>

// A visitor for xp_url_readargs and xp_url_enumargs; the context is the dictionary that takes the arguments.
// 0; -1 when memory is exhausted.
int64_t xp_plist_argsparser(xp_obj *name, xp_obj *value, void *dict);

#endif
