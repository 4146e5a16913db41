// The names by which people call the styles of property lists (xp/plist/plist.h).

#ifndef TOOLS_XP_PLIST_STYLE_NAME_H
#define TOOLS_XP_PLIST_STYLE_NAME_H

#include <stdint.h>

#include <optional>
#include <string_view>

// A style by its name or its number.
std::optional<int32_t> style_by_name(std::string_view text);

// The form of a style that has one item per line; the style itself when it has no other form.
int32_t indented_style(int32_t style);

#endif
