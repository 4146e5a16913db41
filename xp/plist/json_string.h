// The tokens of JSON that have a length: strings, keys and numbers, read where they stand. Internal to this
// folder.

#ifndef XP_PLIST_JSON_STRING_H
#define XP_PLIST_JSON_STRING_H

#include "xp/object/object.h"

#include <stdint.h>

#include <string_view>

namespace xp {

// What stands in front of the closing quote, raw; `at` is behind the opening one. Without a closing quote all
// that is left, a lone backslash at the end included.
std::string_view json_raw_string(const char *at, const char *end);

// How much of a key's raw text a dictionary is given. A key too long for it is cut, but never inside an
// escape: the writer writes keys as stored, and a lone backslash at the end would take the closing quote into
// the key.
uint32_t json_key_length(std::string_view key);

// A value that was read, null when memory is exhausted, and what stands behind it.
struct json_token {
  xp_obj *value;
  const char *behind;
};

// The string behind an opening quote, its escapes resolved as by xp_str_unescaped.
json_token json_string(const char *at, const char *end);

// The number that begins at `at`, as xp_number_parse reads it, with all bytes that numbers are made of.
json_token json_number(const char *at, const char *end);

}  // namespace xp

#endif
