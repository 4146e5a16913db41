#include "webview/nswebview_legacy.h"

std::shared_ptr<XP_NSWebViewLegacy> XP_NSWebViewLegacy::initWithFrame_wrapper(
    xp_obj *wrapper, xp_engine_platform &platform, xp_engine_config configuration) {
  auto view = std::make_shared<XP_NSWebViewLegacy>(wrapper);
  configuration.client = view.get();
  std::unique_ptr<xp_engine> engine = platform.make_legacy(configuration);
  if (!engine) return nullptr;
  view->set_engine(std::move(engine));
  return view;
}

void XP_NSWebViewLegacy::userContentController_didReceiveScriptMessage(
    const xp_engine_message & /*message*/) {}

void XP_NSWebViewLegacy::webView_startURLSchemeTask(const xp_engine_task & /*task*/, xp_engine_reply &reply) {
  reply.fail(xp_engine_url_errors, XP_URL_ERROR_BAD_URL);
}
