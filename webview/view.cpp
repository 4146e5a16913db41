#include "webview/view.h"

#include "webview/address.h"
#include "webview/load_error.h"
#include "webview/page_text.h"
#include "webview/webview_impl.h"
#include "xp/dict/dict.h"
#include "xp/object/ref.h"
#include "xp/service/main_queue.h"

#include <chrono>

namespace {

using shared_view = std::shared_ptr<xp_wv_view>;

// A page whose process keeps ending is not brought back more often than this.
constexpr int restarts_per_minute = 3;

int64_t seconds_now() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

void end_view(void *argument) {
  delete static_cast<shared_view *>(argument);
}

void reload_view(void *argument) {
  const std::unique_ptr<shared_view> view(static_cast<shared_view *>(argument));
  (*view)->engine().reload();
}

// Queues work that holds the view. False when it was not taken: the view then stays alive, which is the
// lesser evil when memory is exhausted.
bool post(xp_work work, shared_view view) {
  return xp_main_post(work, new shared_view(std::move(view))) == 0;
}

void store(xp_obj *dict, const char *key, std::string_view text) {
  if (xp_obj *value = xp_wv_string(text)) xp_dict_adopt(dict, key, -1, value);
}

}  // namespace

void xp_wv_view::detachView() {
  engine_->detach();
  _xpwv = nullptr;
}

void xp_wv_view::run(const std::string &script, xp_engine_completion done) {
  engine_->run(script, [weak = weak_from_this(), done = std::move(done)](const xp_engine_result &result) {
    const shared_view view = weak.lock();
    if (!view || !done) return;
    const notification busy(*view);
    done(result);
  });
}

void xp_wv_view::close(std::shared_ptr<xp_wv_view> view) {
  view->engine().remove();
  view->detachView();
  if (view->notifications_ > 0) post(end_view, std::move(view));
}

int64_t xp_wv_view::raise(uint32_t event, xp_obj *argument) {
  return _xpwv != nullptr ? xp_webview_raise(_xpwv, event, argument) : 0;
}

bool xp_wv_view::page_is_ours() const {
  return xp_wv_address_trusted(page_, owner_);
}

bool xp_wv_view::webView_decidePolicyForNavigationAction(const xp_engine_navigation &navigation) {
  if (_xpwv == nullptr) return true;
  const notification busy(*this);
  const xp::ref request = xp::ref::adopt(xp_dict_new(0));
  store(request.get(), "url", navigation.url);
  store(request.get(), "method", navigation.method);
  if (navigation.body) store(request.get(), "data", *navigation.body);
  if (raise(XP_WEBVIEW_NAVIGATE, request.get()) > 0) return false;
  raise(XP_WEBVIEW_INFO, nullptr);
  return true;
}

void xp_wv_view::webView_didStartProvisionalNavigation() {
  const notification busy(*this);
  raise(XP_WEBVIEW_STARTED, nullptr);
}

void xp_wv_view::webView_didCommitNavigation(std::string_view address) {
  const notification busy(*this);
  page_ = address;
  ++pages_;
  raise(XP_WEBVIEW_COMMITTED, nullptr);
}

void xp_wv_view::webView_didFinishNavigation() {
  const notification busy(*this);
  raise(XP_WEBVIEW_FINISHED, nullptr);
}

void xp_wv_view::webView_didFailNavigation_withError(const xp_engine_error &error) {
  if (_xpwv == nullptr) return;
  const notification busy(*this);
  const xp::ref argument = xp::ref::adopt(xp_load_error_new(error.domain, error.code, error.description));
  raise(XP_WEBVIEW_FAILED, argument.get());
}

bool xp_wv_view::willOpenMenu_withEvent() {
  return _xpwv == nullptr || (xp_webview_flags(_xpwv) & XP_WEBVIEW_NO_MENU) == 0;
}

void xp_wv_view::webViewWebContentProcessDidTerminate() {
  if (_xpwv == nullptr) return;
  const notification busy(*this);
  ++pages_;  // what the old process still owed will not come
  const int64_t now = seconds_now();
  if (now - restart_minute_ >= 60) {
    restart_minute_ = now;
    restarts_ = 0;
  }
  if (restarts_ < restarts_per_minute && post(reload_view, shared_from_this())) {
    ++restarts_;
    return;
  }
  webView_didFailNavigation_withError({.domain = std::string(xp_engine_url_errors),
                                       .code = XP_URL_ERROR_UNAVAILABLE,
                                       .description = "The page's process keeps ending."});
}
