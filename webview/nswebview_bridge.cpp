// The native half of the script bridge: page message, request, answer.

#include "webview/log.h"
#include "webview/nswebview.h"
#include "webview/page_text.h"
#include "webview/webview.h"
#include "xp/dict/dict.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/plist.h"

namespace {

using kind = xp_engine_value::kind;

// The dictionary that a payload spells, in whatever form of property list it is written; null when it spells
// anything else. A "result" of the page's own is dropped: that is native code's to set, and it would run as
// script.
xp::ref parse_request(const std::string &payload) {
  const xp::ref list =
      xp::ref::adopt(xp_plist_parse(payload.c_str(), static_cast<int64_t>(payload.size()), XP_PLIST_DETECT));
  xp::ref root = xp::ref::adopt(xp_plist_get(list.get(), nullptr));
  if (xp_type(root.get()) != xp_dict_type()) return nullptr;
  xp_dict_erase(root.get(), "result", -1);
  return root;
}

std::string answer_text(xp_obj *dict) {
  xp::ref result = xp::ref::adopt(xp_dict_fetch(dict, "result", -1));
  if (!result) return "{}";
  const xp::ref text = xp::ref::adopt(xp_plist_string(result.get(), XP_PLIST_JSON_BARE, 0));
  return xp_wv_text(text.get());
}

}  // namespace

void XP_NSWebView::userContentController_didReceiveScriptMessage(const xp_engine_message &message) {
  if (_xpwv == nullptr || message.handler != "xp_native" || !page_is_ours()) return;
  const notification busy(*this);
  if (message.is == xp_engine_message::kind::number) {
    if (const uint64_t number = xp_wv_integer(message.number)) {
      processNativeRequest_gatherInto(number, std::make_shared<gather>(gather{.page = pages_, .bytes = {}}));
    }
    return;
  }
  if (message.is != xp_engine_message::kind::dictionary) return;
  if (message.id.is != kind::number || message.payload.is != kind::text) return;
  const uint64_t number = xp_wv_integer(message.id.number);
  if (number == 0) return;
  if (xp_wv_units(message.payload.text) < payload_limit) {
    processNativeRequest_withPayload(number, message.payload.text);
  } else {
    fail_request(number, "request too large");
  }
}

void XP_NSWebView::processNativeRequest_gatherInto(uint64_t number, std::shared_ptr<gather> buffer) {
  const size_t index = buffer->bytes.size() / 2;
  run("xp_native.forklift(" + std::to_string(number) + ", " + std::to_string(index) + ");",
      [this, number, buffer = std::move(buffer)](const xp_engine_result &result) {
        gathered(number, buffer, result);
      });
}

void XP_NSWebView::gathered(uint64_t number, std::shared_ptr<gather> buffer, const xp_engine_result &result) {
  // Another page has come meanwhile: its answers are not this request's.
  if (_xpwv == nullptr || buffer->page != pages_) return;
  if (result.error) return fail_request(number, xp_wv_quoted(*result.error));
  if (result.value.is != kind::number) return fail_request(number, "operational error");
  const uint64_t unit = xp_wv_integer(result.value.number);
  if (unit == 0) return processNativeRequest_withPayload(number, xp_wv_from_utf16(buffer->bytes));
  if (buffer->bytes.size() >= gather_limit) return fail_request(number, "request too large");
  buffer->bytes.push_back(static_cast<uint8_t>(unit >> 8 & 0xff));
  buffer->bytes.push_back(static_cast<uint8_t>(unit & 0xff));
  processNativeRequest_gatherInto(number, std::move(buffer));
}

void XP_NSWebView::processNativeRequest_withPayload(uint64_t number, const std::string &payload) {
  const xp::ref request = parse_request(payload);
  if (request) xp_dict_adopt(request.get(), "id", -1, xp_number_new(static_cast<int64_t>(number)));
  // Deliberate: a payload that is no dictionary still raises the event, so that its sender gets an answer.
  if (raise(XP_WEBVIEW_REQUEST, request.get()) == 1) return;
  processNativeResponse_withDict(number, request.get());
}

void XP_NSWebView::processNativeResponse_withDict(uint64_t number, xp_obj *dict) {
  if (!page_is_ours()) return;
  run("xp_native.response(" + std::to_string(number) + ", " + answer_text(dict) + ");",
      [](const xp_engine_result &result) {
        if (result.error) xp_wv_log("error calling xp_native.response: " + *result.error);
      });
}

void XP_NSWebView::fail_request(uint64_t number, const std::string &text) {
  run("xp_native.failure(" + std::to_string(number) + ", '" + text + "');", nullptr);
}
