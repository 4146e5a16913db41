#include "app/screenshot.h"

#include "webview/webview.h"
#include "xp/string/string.h"

#include <utility>

namespace {

constexpr int64_t poll_interval_ms = 100;
constexpr int64_t limit_ms = 60000;
// From the page's change of state to the frame on the screen.
constexpr int64_t settle_ms = 400;

constexpr const char *state_script = "String(document.documentElement.dataset.state)";
constexpr const char *received_script = "JSON.stringify(window.corvane_received, null, 2)";

}  // namespace

cv_screenshot::cv_screenshot(cv_desktop &desktop, xp_obj *webview, std::string path, completion done)
    : desktop_(desktop), webview_(webview), path_(std::move(path)), done_(std::move(done)) {}

void cv_screenshot::start() {
  desktop_.after(limit_ms, [this] {
    finish({.status = CV_SCREENSHOT_FAILED, .received = {}, .error = "the page was not ready within 60 s"});
  });
  poll();
}

// Runs a script of the page and goes on with its text; a script that fails counts as an empty text.
void cv_screenshot::evaluate(const char *script, answered next) {
  next_ = next;
  const auto go_on = [](xp_obj *value, xp_obj *, uint64_t context) {
    auto *self = reinterpret_cast<cv_screenshot *>(static_cast<uintptr_t>(context));
    if (self->finished_) return;
    const char *text = xp_str_getptr(value);
    (self->*self->next_)(text == nullptr ? "" : text);
  };
  if (xp_webview_evaluate(webview_, script, go_on, reinterpret_cast<uintptr_t>(this)) != 0) {
    finish({.status = CV_SCREENSHOT_FAILED, .received = {}, .error = "there is no page"});
  }
}

void cv_screenshot::poll() {
  if (!finished_) evaluate(state_script, &cv_screenshot::take_state);
}

void cv_screenshot::take_state(const std::string &state) {
  if (state != "live" && state != "unreachable") {
    desktop_.after(poll_interval_ms, [this] { poll(); });
    return;
  }
  status_ = state == "live" ? CV_SCREENSHOT_LIVE : CV_SCREENSHOT_UNREACHABLE;
  desktop_.after(settle_ms, [this] {
    if (!finished_) evaluate(received_script, &cv_screenshot::take_received);
  });
}

void cv_screenshot::take_received(const std::string &received) {
  desktop_.write_picture(path_, [this, received](const std::optional<std::string> &error) {
    if (error) {
      finish({.status = CV_SCREENSHOT_FAILED, .received = {}, .error = path_ + ": " + *error});
    } else {
      finish({.status = status_, .received = received, .error = {}});
    }
  });
}

void cv_screenshot::finish(const cv_screenshot_result &result) {
  if (std::exchange(finished_, true)) return;
  done_(result);
}
