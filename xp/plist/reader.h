// The readers behind xp_plist_parse, one for each form of text. Internal to this folder.
//
// Each reads a whole text into a new tree. On a fault anywhere, and when memory is exhausted ("out of
// memory"), the result is null and `fault` tells where. None trusts a byte of its input, none recurses as
// deep as the input nests: deeper than `deepest_list` levels of containers is a fault. None takes more memory
// than 64 MiB and 128 bytes for each byte of its input. The reader of binary lists, where a few bytes can
// stand for many values, counts; the texts have no form that is so dense: the dearest are rows of empty
// objects, of which one takes some 220 bytes of memory and 2 bytes of JSON, or 500 and 7 of XML.

#ifndef XP_PLIST_READER_H
#define XP_PLIST_READER_H

#include "xp/object/object.h"
#include "xp/plist/fault.h"

#include <stdint.h>

#include <string_view>

namespace xp {

// Levels of containers in XML and binary lists. JSON has its own, smaller limit.
constexpr int32_t deepest_list = 512;

xp_obj *read_json(std::string_view text, xp_plist_fault &fault);
xp_obj *read_sections(std::string_view text, xp_plist_fault &fault);
xp_obj *read_css(std::string_view text, xp_plist_fault &fault);
xp_obj *read_arguments(std::string_view text, xp_plist_fault &fault);

// The XML forms, told by what the root element can be; `style` becomes that of the form (0, 6 or 7).
xp_obj *read_xml(std::string_view text, int32_t &style, xp_plist_fault &fault);

// A binary property list; all bytes count, zero bytes too.
xp_obj *read_binary(std::string_view bytes, xp_plist_fault &fault);

}  // namespace xp

#endif
