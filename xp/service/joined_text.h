// Strings put together from pieces. Internal to this folder.

#ifndef XP_SERVICE_JOINED_TEXT_H
#define XP_SERVICE_JOINED_TEXT_H

#include "xp/object/object.h"

#include <initializer_list>
#include <string_view>

namespace xp {

// A new string of the pieces one after the other; null when memory is exhausted.
xp_obj *join_text(std::initializer_list<std::string_view> pieces);

// A string's text; empty for null.
std::string_view view(xp_obj *string);

}  // namespace xp

#endif
