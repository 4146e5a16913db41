// CorvaneSettings, the application: what happens at launch, in which order, and at the end. It owns the
// page's view and is the host (setup/host.h) that native methods reach the desktop through.
//
// Main thread only, except capabilities(), which request threads call through the host. From
// applicationDidFinishLaunching to applicationWillTerminate the object is the process's host; it must outlive
// that.

#ifndef APP_CORVANE_SETTINGS_H
#define APP_CORVANE_SETTINGS_H

#include "app/desktop.h"
#include "setup/host.h"
#include "xp/object/ref.h"

#include <atomic>
#include <string_view>

class CorvaneSettings : public cv_desktop_delegate, public cv_setup_host {
public:
  // The desktop is borrowed and must outlive the object.
  explicit CorvaneSettings(cv_desktop &desktop) : desktop_(desktop) {}
  CorvaneSettings(const CorvaneSettings &) = delete;
  CorvaneSettings &operator=(const CorvaneSettings &) = delete;

  // The page's view, borrowed; null before the launch, after the end, and when it could not be made.
  xp_obj *webview() const { return webview_.get(); }

  void bringToFront();

  void applicationDidFinishLaunching() override;
  void applicationWillTerminate() override;
  bool applicationShouldTerminateAfterLastWindowClosed() override { return true; }
  void applicationShouldHandleReopen() override { bringToFront(); }
  void windowDidResize() override;
  void effectiveAppearanceDidChange() override;

  cv_setup_capabilities capabilities() override;
  void openFullDiskAccess() override;
  void openExternalApp(std::string_view name) override;

private:
  void open_client();
  void make_window();
  bool make_webview();

  cv_desktop &desktop_;
  void *window_ = nullptr;
  xp::ref webview_;
  std::atomic<bool> fda_needed_ = false;
};

#endif
