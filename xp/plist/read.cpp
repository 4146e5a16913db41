// Reading property lists: which reader gets a text.

#include "xp/dict/dict.h"
#include "xp/object/ref.h"
#include "xp/plist/detect.h"
#include "xp/plist/plist.h"
#include "xp/plist/plist_impl.h"
#include "xp/plist/reader.h"

#include <string.h>

#include <string_view>
#include <utility>

namespace {

constexpr xp_plist_fault no_fault = {.offset = 0, .reason = nullptr};
constexpr xp_plist_fault exhausted = {.offset = 0, .reason = "out of memory"};

xp_plist_kind kind_of(int32_t style) {
  switch (style) {
    case XP_PLIST_JSON:
    case XP_PLIST_JSON_INDENTED:
    case XP_PLIST_JSON_BARE: return xp_plist_kind::json;
    case XP_PLIST_SECTIONS: return xp_plist_kind::sections;
    case XP_PLIST_QUERY: return xp_plist_kind::arguments;
    case XP_PLIST_CSS: return xp_plist_kind::css;
    default: return xp_plist_kind::xml;
  }
}

// The style of a text that was read without one; that of an XML form is told by its reader.
int32_t style_of(xp_plist_kind kind) {
  switch (kind) {
    case xp_plist_kind::json: return XP_PLIST_JSON;
    case xp_plist_kind::sections: return XP_PLIST_SECTIONS;
    case xp_plist_kind::arguments: return XP_PLIST_QUERY;
    case xp_plist_kind::css: return XP_PLIST_CSS;
    case xp_plist_kind::binary:
    case xp_plist_kind::xml: break;
  }
  return XP_PLIST_XML;
}

// A zero byte ends every text; the reader of XML sees to that itself, for it reads 16-bit texts, too.
xp_obj *read_tree(std::string_view bytes, xp_plist_kind kind, int32_t &style, xp_plist_fault &fault) {
  const std::string_view text = bytes.substr(0, bytes.find('\0'));
  switch (kind) {
    case xp_plist_kind::json: return xp::read_json(text, fault);
    case xp_plist_kind::sections: return xp::read_sections(text, fault);
    case xp_plist_kind::arguments: return xp::read_arguments(text, fault);
    case xp_plist_kind::css: return xp::read_css(text, fault);
    case xp_plist_kind::binary: return xp::read_binary(bytes, fault);
    case xp_plist_kind::xml: break;
  }
  return xp::read_xml(bytes, style, fault);
}

xp_obj *wrap(xp::ref root, int32_t style, xp_plist_fault &fault) {
  fault = exhausted;
  if (!root) return nullptr;
  xp_obj *list = xp::wrap_list(std::move(root), style);
  if (list != nullptr) fault = no_fault;
  return list;
}

xp_obj *read(std::string_view bytes, int32_t style, xp_plist_fault &fault) {
  const xp_plist_kind kind = style < 0 ? xp_plist_detect(bytes) : kind_of(style);
  if (style < 0) style = style_of(kind);
  fault = no_fault;
  xp::ref root = xp::ref::adopt(read_tree(bytes, kind, style, fault));
  return root ? wrap(std::move(root), style, fault) : nullptr;
}

}  // namespace

xp_obj *xp_plist_new(const char *text) {
  return xp_plist_parse(text, -1, XP_PLIST_DETECT);
}

xp_obj *xp_plist_parse(const char *text, int64_t length, int32_t style) {
  return xp_plist_read(text, length, style, nullptr);
}

xp_obj *xp_plist_read(const char *text, int64_t length, int32_t style, xp_plist_fault *fault) {
  xp_plist_fault ignored = {};
  if (fault == nullptr) fault = &ignored;
  if (text == nullptr) {
    const bool named = style >= 0 && style < XP_PLIST_STYLES;
    return wrap(xp::ref::adopt(xp_dict_new(0)), named ? style : XP_PLIST_XML, *fault);
  }
  return read({text, length < 0 ? strlen(text) : static_cast<size_t>(length)}, style, *fault);
}
