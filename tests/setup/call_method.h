// Runs one native method to its end on this thread, as a request thread would.

#ifndef TESTS_SETUP_CALL_METHOD_H
#define TESTS_SETUP_CALL_METHOD_H

#include "setup/dispatcher.h"
#include "xp/array/tuple.h"
#include "xp/dict/dict.h"
#include "xp/object/ref.h"
#include "xp/plist/plist.h"
#include "xp/string/string.h"

#include <string>
#include <string_view>

inline xp::ref parse_json(std::string_view text) {
  const xp::ref list =
      xp::ref::adopt(xp_plist_parse(text.data(), static_cast<int64_t>(text.size()), XP_PLIST_JSON));
  return xp::ref::adopt(xp_plist_get(list.get(), nullptr));
}

// An object as compact JSON text with its keys in byte order; "none" for null.
inline std::string json_text(xp_obj *object) {
  if (object == nullptr) return "none";
  const xp::ref text = xp::ref::adopt(xp_plist_string(object, XP_PLIST_JSON_BARE, 0));
  return {xp_str_getptr(text.get()), static_cast<size_t>(xp_str_length(text.get()))};
}

// The "result" of a whole request, in JSON text; "none" when it was answered without one.
inline std::string call_request(std::string_view request_json) {
  const xp::ref request = parse_json(request_json);
  cv_setup_native(nullptr, xp_tuple_new(2, static_cast<xp_obj *>(nullptr), request.get()));
  return json_text(xp::ref::adopt(xp_dict_fetch(request.get(), "result", -1)).get());
}

inline std::string call_method(const std::string &method, const std::string &args = "{}") {
  return call_request(R"({"method":")" + method + R"(","args":)" + args + "}");
}

#endif
