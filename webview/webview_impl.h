// Internal to webview/: the wrapper's fields, and how views raise its events.

#ifndef XP_WEBVIEW_WEBVIEW_IMPL_H
#define XP_WEBVIEW_WEBVIEW_IMPL_H

#include "webview/engine.h"
#include "webview/webview.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>

class XP_NSWebView;
class XP_URLSchemeHandler;
class xp_wv_view;

// The fields of a wrapper that have lives of their own.
struct xp_webview_state {
  void *window;    // not owned
  int64_t height;  // last size set, points
  int64_t width;
  xp_webview_callback callback;
  uint64_t context;
  std::thread::id main_thread;  // where it was made, and where it must end
  uint32_t flags = 0;
  int64_t background = -1;  // 0xRRGGBB, or -1
  bool legacy = false;
  std::shared_ptr<xp_wv_view> view = {};
  std::shared_ptr<XP_NSWebView> modern = {};  // the same view, when it is the modern engine's
  std::shared_ptr<XP_URLSchemeHandler> scheme_handler = {};
  std::string url = {};                                            // of the next load; empty: none
  std::optional<std::map<std::string, std::string>> headers = {};  // of the next load
  xp::ref cookie_jar = {};
  xp::ref body = {};  // of the next load
};

// The object itself: runtime objects are plain memory, so the state hangs behind it.
struct xp_webview_object : xp_obj {
  static constexpr uint32_t code = xp_code("webv");
  xp_webview_state *state;
};

// The state of a wrapper, null for anything else.
inline xp_webview_state *xp_webview_get(xp_obj *wrapper) {
  auto *object = xp::as<xp_webview_object>(wrapper);
  return object != nullptr ? object->state : nullptr;
}

// Calls the wrapper's callback, which may end the wrapper.
int64_t xp_webview_raise(xp_obj *wrapper, uint32_t event, xp_obj *argument);

uint32_t xp_webview_flags(xp_obj *wrapper);

#endif
