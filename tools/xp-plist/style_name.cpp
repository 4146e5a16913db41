#include "tools/xp-plist/style_name.h"

#include "xp/plist/plist.h"

#include <array>

namespace {

constexpr std::array<std::string_view, XP_PLIST_STYLES> names = {
    "xml", "json", "json-indented", "sections", "query", "css", "items", "items-indented", "json-bare",
};

}  // namespace

std::optional<int32_t> style_by_name(std::string_view text) {
  for (size_t style = 0; style < names.size(); ++style) {
    const char digit = static_cast<char>('0' + style);
    if (text == names[style] || text == std::string_view(&digit, 1)) return static_cast<int32_t>(style);
  }
  return std::nullopt;
}

int32_t indented_style(int32_t style) {
  switch (style) {
    case XP_PLIST_JSON:
    case XP_PLIST_JSON_BARE: return XP_PLIST_JSON_INDENTED;
    case XP_PLIST_ITEMS: return XP_PLIST_ITEMS_INDENTED;
    default: return style;
  }
}
