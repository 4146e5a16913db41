#include "webview/nswebview.h"

XP_NSWebView::XP_NSWebView(xp_obj *wrapper, std::shared_ptr<XP_URLSchemeHandler> scheme_handler)
    : xp_wv_view(wrapper), scheme_handler_(std::move(scheme_handler)) {}

std::shared_ptr<XP_NSWebView> XP_NSWebView::initWithFrame_wrapper_configuration(
    xp_obj *wrapper, xp_engine_platform &platform, xp_engine_config configuration,
    std::shared_ptr<XP_URLSchemeHandler> scheme_handler) {
  auto view = std::make_shared<XP_NSWebView>(wrapper, std::move(scheme_handler));
  configuration.client = view.get();
  configuration.message_handlers = {"diag", "xp_native"};
  std::unique_ptr<xp_engine> engine = platform.make_modern(configuration);
  if (!engine) return nullptr;
  view->set_engine(std::move(engine));
  return view;
}

void XP_NSWebView::webView_startURLSchemeTask(const xp_engine_task &task, xp_engine_reply &reply) {
  const notification busy(*this);
  scheme_handler_->webView_startURLSchemeTask(task, reply);
}
