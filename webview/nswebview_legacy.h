// XP_NSWebViewLegacy: the older engine's view. It raises the load events and the navigation test; it has no
// script bridge and no scheme handler.

#ifndef XP_WEBVIEW_NSWEBVIEW_LEGACY_H
#define XP_WEBVIEW_NSWEBVIEW_LEGACY_H

#include "webview/view.h"

#include <memory>

class XP_NSWebViewLegacy final : public xp_wv_view {
public:
  using xp_wv_view::xp_wv_view;

  // A view over a new engine of the platform; null when none could be made.
  static std::shared_ptr<XP_NSWebViewLegacy> initWithFrame_wrapper(xp_obj *wrapper,
                                                                   xp_engine_platform &platform,
                                                                   xp_engine_config configuration);

  // Such an engine has neither handlers nor schemes, so these do not come.
  void userContentController_didReceiveScriptMessage(const xp_engine_message &message) override;
  void webView_startURLSchemeTask(const xp_engine_task &task, xp_engine_reply &reply) override;
};

#endif
