#include "xp/plist/style.h"

#include <array>

namespace {

constexpr xp_plist_around quoted = {.before = "\"", .after = "\""};
constexpr xp_plist_around bare = {.before = "", .after = ""};
constexpr xp_plist_around brackets = {.before = "[", .after = "]"};
constexpr xp_plist_around braces = {.before = "{", .after = "}"};
constexpr xp_plist_around compact_key = {.before = "\"", .after = "\":"};
constexpr xp_plist_around spaced_key = {.before = "\"", .after = "\" : "};
constexpr std::string_view json_special = "\n\r\"\\";

constexpr auto styles = std::to_array<xp_plist_style>({
    {.number = 1,
     .flags = XP_STYLE_LINES | XP_STYLE_FLAT,
     .document = {.before = "", .after = "\n"},
     .array = brackets,
     .object = braces,
     .key = compact_key,
     .top_object = braces,
     .top_key = compact_key,
     .data = quoted,
     .string = quoted,
     .integer = bare,
     .real = bare,
     .url = quoted,
     .boolean = bare,
     .date = quoted,
     .quote = {},
     .special = json_special,
     .object_lead = "",
     .object_separator = ",",
     .array_lead = "",
     .array_separator = ",",
     .null = "null"},
    {.number = 2,
     .flags = XP_STYLE_LINES,
     .document = {.before = "", .after = "\n"},
     .array = brackets,
     .object = braces,
     .key = spaced_key,
     .top_object = braces,
     .top_key = spaced_key,
     .data = quoted,
     .string = quoted,
     .integer = bare,
     .real = bare,
     .url = quoted,
     .boolean = bare,
     .date = quoted,
     .quote = {},
     .special = json_special,
     .object_lead = "\n",
     .object_separator = ",\n",
     .array_lead = "\n",
     .array_separator = ",",
     .null = "null"},
    {.number = 8,
     .flags = XP_STYLE_LINES | XP_STYLE_FLAT,
     .document = {.before = "", .after = ""},
     .array = brackets,
     .object = braces,
     .key = compact_key,
     .top_object = braces,
     .top_key = compact_key,
     .data = quoted,
     .string = quoted,
     .integer = bare,
     .real = bare,
     .url = quoted,
     .boolean = bare,
     .date = quoted,
     .quote = {},
     .special = json_special,
     .object_lead = "",
     .object_separator = ",",
     .array_lead = "",
     .array_separator = ",",
     .null = "null"},
});

}  // namespace

const xp_plist_style &xp_plist_stylerecord(int32_t number) {
  for (const xp_plist_style &style : styles) {
    if (style.number == number) return style;
  }
  return styles.front();
}
