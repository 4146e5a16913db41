#include "xp/plist/arguments.h"

#include "xp/dict/dict.h"
#include "xp/object/ref.h"
#include "xp/plist/reader.h"
#include "xp/plist/text_form.h"
#include "xp/service/url.h"
#include "xp/string/string.h"

namespace {

std::string_view query_in(std::string_view text) {
  while (!text.empty() && xp::is_text_space(text.front()))
    text.remove_prefix(1);
  return xp::without_space_behind(text.starts_with('?') ? text.substr(1) : text);
}

}  // namespace

int64_t xp_plist_argsparser(xp_obj *name, xp_obj *value, void *dict) {
  const xp::ref kept = value == nullptr ? xp::ref::adopt(xp_str_make(nullptr, 0)) : xp::ref::share(value);
  if (!kept) return -1;
  return xp_dict_store(static_cast<xp_obj *>(dict), xp_str_getptr(name), xp_str_length(name), kept.get());
}

namespace xp {

xp_obj *read_arguments(std::string_view text, xp_plist_fault &fault) {
  const std::string_view query = query_in(text);
  ref root = ref::adopt(xp_dict_new(XP_DICT_NOCASE));
  fault = {};
  if (root && xp_url_readargs(query.data(), std::ssize(query), xp_plist_argsparser, root.get()) == 0) {
    return root.leak();
  }
  fault.reason = "out of memory";
  return nullptr;
}

}  // namespace xp
