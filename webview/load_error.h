// Load errors ("lerr"): the argument of event 23, what an engine says of a load that failed. Immutable, safe
// to share between threads. The text of one (xp_textify) is its description, its integer value (xp_value) its
// code.

#ifndef XP_WEBVIEW_LOAD_ERROR_H
#define XP_WEBVIEW_LOAD_ERROR_H

#include "xp/object/object.h"

#include <stdint.h>

#include <string_view>

// "lerr"
uint32_t xp_load_error_type();

xp_obj *xp_load_error_new(std::string_view domain, int64_t code, std::string_view description);

// What kind of error `code` is one of, and the engine's words for it, as new strings; null for anything but a
// load error.
xp_obj *xp_load_error_domain(xp_obj *error);
xp_obj *xp_load_error_description(xp_obj *error);
int64_t xp_load_error_code(xp_obj *error);

#endif
