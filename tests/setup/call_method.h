// Runs one native method to its end on this thread, as a request thread would.

#ifndef TESTS_SETUP_CALL_METHOD_H
#define TESTS_SETUP_CALL_METHOD_H

#include "setup/dispatcher.h"
#include "tests/support/objects.h"
#include "xp/array/tuple.h"
#include "xp/dict/dict.h"
#include "xp/plist/plist.h"

// A request's "result" as compact JSON text with its keys in byte order; "none" when it has none.
inline std::string result_of(xp_obj *request) {
  const xp::ref result = xp::ref::adopt(xp_dict_fetch(request, "result", -1));
  return result ? taken(xp_plist_string(result.get(), XP_PLIST_JSON_BARE, 0)) : "none";
}

inline std::string call_request(const std::string &json) {
  const xp::ref request = tree(json);
  cv_setup_native(nullptr, xp_tuple_new(2, static_cast<xp_obj *>(nullptr), request.get()));
  return result_of(request.get());
}

inline std::string call_method(const std::string &method, const std::string &args = "{}") {
  return call_request(R"({"method":")" + method + R"(","args":)" + args + "}");
}

#endif
