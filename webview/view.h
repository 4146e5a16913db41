// What the two engines' views have in common: a view owns its engine, knows its wrapper until it is detached,
// and raises the wrapper's events. Main thread.
//
// A view is shared between its wrapper and the work that is queued for it, so an answer that was on its way
// when the wrapper went is still run. It ends outside its engine's notifications only.

#ifndef XP_WEBVIEW_VIEW_H
#define XP_WEBVIEW_VIEW_H

#include "webview/engine.h"
#include "xp/object/object.h"

#include <memory>
#include <string>

class xp_wv_view : public xp_engine_client, public std::enable_shared_from_this<xp_wv_view> {
public:
  explicit xp_wv_view(xp_obj *wrapper) : _xpwv(wrapper) {}
  xp_wv_view(const xp_wv_view &) = delete;
  xp_wv_view &operator=(const xp_wv_view &) = delete;

  // Takes over the engine that was made with this view as its client.
  void set_engine(std::unique_ptr<xp_engine> engine) { engine_ = std::move(engine); }
  xp_engine &engine() { return *engine_; }

  // Breaks with the wrapper: no more events.
  void detachView();

  // Runs a script. `done` may be empty; it is not called once the view is gone.
  void run(const std::string &script, xp_engine_completion done);

  // The address that the owner loaded last; whose pages, besides our own, may use the bridge.
  void set_owner(std::string address) { owner_ = std::move(address); }

  // Takes a view out of its window for good. Inside one of its notifications, whose frames still stand on the
  // stack, the end itself waits for the next turn of the main queue.
  static void close(std::shared_ptr<xp_wv_view> view);

  bool webView_decidePolicyForNavigationAction(const xp_engine_navigation &navigation) override;
  void webView_didStartProvisionalNavigation() override;
  void webView_didCommitNavigation(std::string_view address) override;
  void webView_didFinishNavigation() override;
  void webView_didFailNavigation_withError(const xp_engine_error &error) override;
  bool willOpenMenu_withEvent() override;
  void webViewWebContentProcessDidTerminate() override;

protected:
  // Stands for the time in which the engine or the view's own work is on the stack.
  class notification {
  public:
    explicit notification(xp_wv_view &view) : view_(view) { ++view_.notifications_; }
    ~notification() { --view_.notifications_; }
    notification(const notification &) = delete;
    notification &operator=(const notification &) = delete;

  private:
    xp_wv_view &view_;
  };

  // The wrapper's callback; 0 when detached.
  int64_t raise(uint32_t event, xp_obj *argument);

  // Whether the page in the view may use the bridge.
  bool page_is_ours() const;

  xp_obj *_xpwv;        // the wrapper, not owned; null once detached
  uint64_t pages_ = 0;  // counts the pages that were committed: names the present one

private:
  std::unique_ptr<xp_engine> engine_;
  std::string page_ = "about:blank";  // address of the page that was committed last
  std::string owner_;
  int notifications_ = 0;
  int restarts_ = 0;            // since the minute that began at
  int64_t restart_minute_ = 0;  // seconds of the monotonic clock
};

#endif
