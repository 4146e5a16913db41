#include "webview/scheme_handler.h"

#include "webview/page_text.h"
#include "webview/webview_impl.h"
#include "xp/dict/dict.h"
#include "xp/string/string.h"

namespace {

void store(xp_obj *dict, const char *key, std::string_view bytes) {
  xp_dict_adopt(dict, key, -1, xp_str_make(bytes.data(), static_cast<int64_t>(bytes.size())));
}

std::string media_type(xp_obj *dict) {
  const xp::ref type = xp::ref::adopt(xp_dict_fetch(dict, "mimetype", -1));
  if (xp_type(type.get()) != xp_str_type() || xp_str_length(type.get()) == 0)
    return "application/octet-stream";
  return xp_wv_text(type.get());
}

}  // namespace

void XP_URLSchemeHandler::webView_startURLSchemeTask(const xp_engine_task &task, xp_engine_reply &reply) {
  if (_xpwv == nullptr) return reply.fail(xp_engine_url_errors, XP_URL_ERROR_BAD_URL);
  const xp::ref request = xp::ref::adopt(xp_dict_new(0));
  store(request.get(), "url", task.url);
  store(request.get(), "method", task.method);
  if (!task.body.empty()) store(request.get(), "data", task.body);
  // The callback may end the wrapper, and with it this handler's tie to it: nothing below looks at it again.
  if (xp_webview_raise(_xpwv, XP_WEBVIEW_RESOURCE, request.get()) < 0) {
    return reply.fail(xp_engine_url_errors, XP_URL_ERROR_UNAVAILABLE);
  }
  const xp::ref response = xp::ref::adopt(xp_dict_fetch(request.get(), "response", -1));
  const std::string type = media_type(request.get());
  // Never cached: every load asks the callee again.
  reply.respond(200, type, {{"Content-Type", type}, {"Cache-Control", "no-store"}},
                xp_wv_bytes(response.get()));
}
