// Strings put together and changed: each operation returns a new string, or `s` retained when nothing
// changes; null for a null string, and when memory is exhausted.

#ifndef XP_STRING_EDIT_H
#define XP_STRING_EDIT_H

#include "xp/object/object.h"
#include "xp/string/string.h"

#include <stdint.h>

// A new string of the zero-terminated texts, of which a null pointer must be the last, with the separator
// between them:
//   xp_str_join("/", folder, name, nullptr)
// Empty texts count; without any text the result is the empty string. A null separator is empty.
xp_obj *xp_str_join(const char *separator, ...) __attribute__((sentinel));

// Every occurrence of a text replaced by another, from the start on; what is put in is not searched again.
// Without XP_FIND_EXACT ASCII letters of the text are folded. An empty or null text occurs nowhere; a null
// `with` is empty.
xp_obj *xp_str_replace(xp_obj *s, const char *text, int64_t length, const char *with, int64_t wlength,
                       uint32_t flags);

// Every byte below 32 other than tab replaced by a space, up to the first zero byte; what stands behind it is
// kept as it is.
xp_obj *xp_str_clean(xp_obj *s);

#endif
