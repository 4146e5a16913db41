#include "app/corvane_settings.h"

#include "setup/dispatcher.h"
#include "webview/webview.h"
#include "xp/service/system_root.h"
#include "xp/string/string.h"

#include <string>

namespace {

constexpr double window_width = 720;
constexpr double window_height = 360;
constexpr const char *window_title = "Sablewick";
constexpr const char *page_url = "local://app/setup.html";
constexpr const char *client_bundle = "/Library/Corvane/Corvane.app";

// The system's settings, at the list of programs that may read the whole disk: up to generation 12, and from
// 13 on.
constexpr const char *full_disk_access_url_12 =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles";
constexpr const char *full_disk_access_url_13 =
    "x-apple.systempreferences:com.apple.settings.PrivacySecurity.extension?Privacy_AllFiles";

int64_t whole(double length) {
  return static_cast<int64_t>(length);
}

}  // namespace

void CorvaneSettings::applicationDidFinishLaunching() {
  fda_needed_ = true;
  cv_setup_sethost(this);
  open_client();
  make_window();
  if (xp_webview_support() == 0) {
    desktop_.log("CorvaneSettings: web view unsupported on this OS");
    desktop_.terminate();
    return;
  }
  if (!make_webview()) {
    desktop_.log("CorvaneSettings: failed to create web view");
    desktop_.terminate();
    return;
  }
  bringToFront();
}

// The client may be running already, or not be installed: neither keeps the window from opening.
void CorvaneSettings::open_client() {
  const auto path = xp::ref::adopt(xp_root_path(client_bundle));
  if (path) desktop_.open_bundle(xp_str_getptr(path.get()));
}

void CorvaneSettings::make_window() {
  const cv_rect screen = desktop_.main_screen();
  // Deliberate: the screen's own origin is not added; the window belongs to the middle of the first screen's
  // size.
  const cv_rect content = {.x = (screen.width - window_width) / 2,
                           .y = (screen.height - window_height) / 2,
                           .width = window_width,
                           .height = window_height};
  window_ = desktop_.make_window(content, window_title);
}

bool CorvaneSettings::make_webview() {
  if (window_ == nullptr) return false;
  const cv_rect content = desktop_.content_rect();
  webview_ = xp::ref::adopt(xp_webview_new(window_, whole(content.height), whole(content.width),
                                           cv_setup_ui_callback, reinterpret_cast<uintptr_t>(this)));
  if (!webview_) return false;
  // Before the load: otherwise the first frame is white, on a dark desktop too.
  effectiveAppearanceDidChange();
  xp_webview_setflags(webview_.get(), XP_WEBVIEW_NO_MENU);
  const auto url = xp::ref::adopt(xp_str_const(page_url));
  xp_webview_seturl(webview_.get(), url.get());
  xp_webview_load(webview_.get());
  return true;
}

void CorvaneSettings::applicationWillTerminate() {
  webview_ = nullptr;
  if (window_ != nullptr) desktop_.close_window();
  window_ = nullptr;
  cv_setup_sethost(nullptr);
}

void CorvaneSettings::bringToFront() {
  desktop_.bring_to_front();
}

void CorvaneSettings::windowDidResize() {
  if (!webview_ || window_ == nullptr) return;
  const cv_rect content = desktop_.content_rect();
  xp_webview_setsize(webview_.get(), whole(content.height), whole(content.width));
}

void CorvaneSettings::effectiveAppearanceDidChange() {
  if (webview_) xp_webview_setbackground(webview_.get(), desktop_.window_colour());
}

// The sibling applications' bundles are not examined yet; until they are, neither counts as installed.
cv_setup_capabilities CorvaneSettings::capabilities() {
  return {.kv = false, .kcheck = false, .fda = fda_needed_};
}

void CorvaneSettings::openFullDiskAccess() {
  desktop_.open_uri(desktop_.os_major_version() < 13 ? full_disk_access_url_12 : full_disk_access_url_13);
}

void CorvaneSettings::openExternalApp(std::string_view name) {
  // Deliberate: a name that nobody knows gets the first sibling's text; the page relies on being told
  // something.
  desktop_.alert(name == "kcheck" ? "Lendora could not be opened. Try re-installing the HXP Client."
                                  : "Provetta could not be opened. Try re-installing the HXP Client.",
                 "OK");
}
