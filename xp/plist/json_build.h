// The reader of JSON that makes the tree while it reads: what xp_json_parse and xp_plist_jsonparser do
// together, in one pass, without nodes and events. Those two are the measure of it, and tell where a text
// that it refuses has its fault. An object with the keys of the former one of its depth, as records in a list
// have them, is copied from that one rather than made key by key. Internal to this folder.

#ifndef XP_PLIST_JSON_BUILD_H
#define XP_PLIST_JSON_BUILD_H

#include "xp/object/object.h"

#include <string_view>

namespace xp {

// The tree of a text without zero bytes, the same as that of xp_plist_jsontree; null where that is null.
xp_obj *json_build(std::string_view text);

}  // namespace xp

#endif
