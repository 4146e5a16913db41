// The wrapper's functions for the next load and for the page that is shown.

#include "webview/address.h"
#include "webview/nswebview.h"
#include "webview/page_text.h"
#include "webview/webview.h"
#include "webview/webview_impl.h"
#include "xp/dict/dict.h"
#include "xp/object/number.h"
#include "xp/plist/plist.h"
#include "xp/service/main_queue.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <cmath>

// --- The next load ---

int32_t xp_webview_cookiejar(xp_obj *wrapper) {
  if (xp_webview_state *state = xp_webview_get(wrapper)) state->cookie_jar = xp::ref::adopt(xp_dict_new(0));
  return 0;
}

int32_t xp_webview_setheader(xp_obj *wrapper, const char *name, const char *value) {
  xp_webview_state *state = xp_webview_get(wrapper);
  if (state == nullptr) return 0;
  if (name == nullptr && value == nullptr) state->headers.reset();
  if (name == nullptr || *name == 0) return 0;
  if (!state->headers) state->headers.emplace();
  if (xp_str_txtvalid(name, -1) >= 0 || xp_str_txtvalid(value, -1) >= 0) return 0;
  if (value != nullptr) {
    state->headers->insert_or_assign(name, value);
  } else {
    state->headers->erase(name);
  }
  return 0;
}

int32_t xp_webview_seturl(xp_obj *wrapper, xp_obj *url) {
  xp_webview_state *state = xp_webview_get(wrapper);
  if (state == nullptr) return 0;
  state->url.clear();
  if (xp_type(url) != xp_str_type()) return 0;
  const std::string text = xp_wv_text(url);
  if (!xp_wv_address_split(text).scheme.empty()) state->url = text;
  return 0;
}

int32_t xp_webview_setbody(xp_obj *wrapper, const char *content_type, xp_obj *body) {
  xp_webview_state *state = xp_webview_get(wrapper);
  if (state == nullptr) return 0;
  if (content_type != nullptr && *content_type != 0)
    xp_webview_setheader(wrapper, "Content-Type", content_type);
  state->body = xp::ref::share(body);
  return 0;
}

int32_t xp_webview_load(xp_obj *wrapper) {
  xp_webview_state *state = xp_webview_get(wrapper);
  if (state == nullptr || state->url.empty()) return 0;
  xp_engine_request request{.url = state->url, .method = "GET", .headers = {}, .body = {}};
  if (state->headers) request.headers.assign(state->headers->begin(), state->headers->end());
  if (state->body) {
    request.method = "POST";
    request.body = xp_wv_bytes(state->body.get());
  }
  const xp_wv_address address = xp_wv_address_split(request.url);
  const bool secure =
      xp_str_txticmpq(address.scheme.data(), static_cast<int64_t>(address.scheme.size()), "https", -1) == 0;
  // The load may raise events, and those may end the wrapper.
  const std::shared_ptr<xp_wv_view> view = state->view;
  view->set_owner(request.url);
  view->engine().trust(secure ? address.host : std::string_view{});
  view->engine().load(request);
  return 0;
}

// --- The page ---

int32_t xp_webview_attach(xp_obj *wrapper, const char *name, xp_obj *value) {
  xp_webview_state *state = xp_webview_get(wrapper);
  if (state == nullptr) return 0;
  if (state->legacy) return -1;
  const xp::ref text = xp::ref::adopt(xp_plist_string(value, XP_PLIST_JSON_BARE, 0));
  const xp::ref key = xp::ref::adopt(xp_wv_utf8(name));
  state->view->run("window['" + xp_wv_text(key.get()) + "'] = " + xp_wv_text(text.get()) + ";", nullptr);
  return 0;
}

int32_t xp_webview_setcontent(xp_obj *wrapper, const char * /*element*/, const char *html) {
  xp_webview_state *state = xp_webview_get(wrapper);
  if (state == nullptr || state->legacy) return 0;
  const xp::ref text = xp::ref::adopt(xp_wv_utf8(html));
  const std::shared_ptr<xp_wv_view> view = state->view;
  view->engine().load_html(xp_wv_text(text.get()));
  return 0;
}

int32_t xp_webview_callscript(xp_obj *wrapper, const char *script) {
  xp_webview_state *state = xp_webview_get(wrapper);
  if (state == nullptr) return 0;
  const xp::ref text = xp::ref::adopt(xp_wv_utf8(script));
  state->view->run(xp_wv_text(text.get()), nullptr);
  return 0;
}

namespace {

// An answer on its way to the main thread; it keeps the view and the request alive.
struct answer {
  std::shared_ptr<XP_NSWebView> view;
  uint64_t number;
  xp::ref request;
};

void run_answer(void *argument) {
  const std::unique_ptr<answer> waiting(static_cast<answer *>(argument));
  waiting->view->processNativeResponse_withDict(waiting->number, waiting->request.get());
}

}  // namespace

int32_t xp_webview_respond(xp_obj *wrapper, xp_obj *request) {
  const xp_webview_state *state = xp_webview_get(wrapper);
  if (state == nullptr || !state->modern) return -1;
  const xp::ref number = xp::ref::adopt(xp_dict_fetch(request, "id", -1));
  if (xp_type(number.get()) != xp_number_type()) return -1;
  auto waiting = std::make_unique<answer>(answer{.view = state->modern,
                                                 .number = static_cast<uint64_t>(xp_value(number.get())),
                                                 .request = xp::ref::share(request)});
  if (xp_main_post(run_answer, waiting.get()) != 0) return -1;
  static_cast<void>(waiting.release());
  return 0;
}

namespace {

// Up to here a page's numbers are exact.
constexpr double whole_limit = 9007199254740992.0;

xp::ref value_text(const xp_engine_value &value) {
  using kind = xp_engine_value::kind;
  std::string text = value.text;
  if (value.is == kind::none || (value.is == kind::other && text.empty())) return nullptr;
  if (value.is == kind::boolean) text = value.boolean ? "true" : "false";
  if (value.is == kind::number) {
    // Whole numbers are written as such, as script writes them.
    const auto whole = static_cast<int64_t>(std::fmin(std::fmax(value.number, -whole_limit), whole_limit));
    const bool is_whole = static_cast<double>(whole) == value.number;
    const xp::ref number = xp::ref::adopt(is_whole ? xp_number_new(whole) : xp_number_newfloat(value.number));
    const xp::ref json = xp::ref::adopt(xp_plist_string(number.get(), XP_PLIST_JSON_BARE, 0));
    text = xp_wv_text(json.get());
  }
  return xp::ref::adopt(xp_str_make(text.data(), static_cast<int64_t>(text.size())));
}

}  // namespace

int32_t xp_webview_evaluate(xp_obj *wrapper, const char *script, xp_webview_evaluated completion,
                            uint64_t context) {
  xp_webview_state *state = xp_webview_get(wrapper);
  if (state == nullptr || completion == nullptr) return -1;
  const xp::ref text = xp::ref::adopt(xp_wv_utf8(script));
  state->view->run(xp_wv_text(text.get()), [completion, context](const xp_engine_result &result) {
    if (result.error) {
      const xp::ref error = xp::ref::adopt(xp_wv_utf8(result.error->c_str()));
      return completion(nullptr, error.get(), context);
    }
    completion(value_text(result.value).get(), nullptr, context);
  });
  return 0;
}
