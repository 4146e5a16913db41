// XP_NSWebView: the modern engine's view. Adds the script bridge and the "local:" scheme to what every view
// does.
//
// Only pages of the owner's own may use the bridge: messages of any other page are dropped, and nothing is
// run into one (a page elsewhere could define the bridge's functions itself and read the answer).

#ifndef XP_WEBVIEW_NSWEBVIEW_H
#define XP_WEBVIEW_NSWEBVIEW_H

#include "webview/scheme_handler.h"
#include "webview/view.h"

#include <memory>
#include <string>
#include <vector>

class XP_NSWebView final : public xp_wv_view {
public:
  // Payloads of this many UTF-16 code units or more are refused.
  static constexpr size_t payload_limit = 0x100000;
  // A gathered payload may take this many bytes, two per code unit.
  static constexpr size_t gather_limit = 16384;

  // A view over a new engine of the platform; null when none could be made.
  static std::shared_ptr<XP_NSWebView> initWithFrame_wrapper_configuration(
      xp_obj *wrapper, xp_engine_platform &platform, xp_engine_config configuration,
      std::shared_ptr<XP_URLSchemeHandler> scheme_handler);

  XP_NSWebView(xp_obj *wrapper, std::shared_ptr<XP_URLSchemeHandler> scheme_handler);

  // Runs the answer to a request in the page: the dictionary's "result", an empty object without one.
  void processNativeResponse_withDict(uint64_t number, xp_obj *dict);

  void userContentController_didReceiveScriptMessage(const xp_engine_message &message) override;
  void webView_startURLSchemeTask(const xp_engine_task &task, xp_engine_reply &reply) override;

private:
  // A payload that is fetched from the page, one UTF-16 code unit at a time, big-endian.
  struct gather {
    uint64_t page;  // the page it began on
    std::vector<uint8_t> bytes;
  };

  void processNativeRequest_gatherInto(uint64_t number, std::shared_ptr<gather> buffer);
  void gathered(uint64_t number, std::shared_ptr<gather> buffer, const xp_engine_result &result);
  void processNativeRequest_withPayload(uint64_t number, const std::string &payload);

  // Fails a request in the page; `text` stands between single quotes.
  void fail_request(uint64_t number, const std::string &text);

  std::shared_ptr<XP_NSWebView> self() { return std::static_pointer_cast<XP_NSWebView>(shared_from_this()); }

  std::shared_ptr<XP_URLSchemeHandler> scheme_handler_;
};

#endif
