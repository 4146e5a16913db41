#include "webview/webview.h"

#include "webview/address.h"
#include "webview/bridge_script.h"
#include "webview/nswebview.h"
#include "webview/nswebview_legacy.h"
#include "webview/webview_impl.h"
#include "xp/object/refcount.h"
#include "xp/service/main_queue.h"

// --- Process-wide settings ---

namespace {

// The system's generation from which on there is a modern engine.
constexpr int first_modern_version = 11;

xp_engine_platform *platform = nullptr;

// Built on first use and never destroyed, so it needs no order at process start and end.
std::string &policy() {
  static auto &text = *new std::string;
  return text;
}

}  // namespace

void xp_webview_setplatform(xp_engine_platform *made_by) {
  platform = made_by;
}

void xp_webview_setpolicy(const char *text) {
  policy() = text != nullptr ? text : "";
}

int32_t xp_webview_support() {
  return platform != nullptr && platform->os_major_version() >= first_modern_version ? 2 : 1;
}

// --- Life ---

namespace {

constexpr xp::ops webview_ops = {.retain = xp_obj_retain,
                                 .release = xp_webview_release,
                                 .compare = nullptr,
                                 .textify = nullptr,
                                 .control = nullptr};

void make_modern(xp_obj *wrapper, xp_webview_state &state) {
  state.scheme_handler = std::make_shared<XP_URLSchemeHandler>(wrapper);
  state.modern = XP_NSWebView::initWithFrame_wrapper_configuration(wrapper, *platform,
                                                                   {.window = state.window,
                                                                    .height = state.height,
                                                                    .width = state.width,
                                                                    .client = nullptr,
                                                                    .scheme = "local",
                                                                    .message_handlers = {},
                                                                    .script = xp_bridge_script,
                                                                    .policy = policy()},
                                                                   state.scheme_handler);
  state.view = state.modern;
}

void make_legacy(xp_obj *wrapper, xp_webview_state &state) {
  state.legacy = true;
  state.view = XP_NSWebViewLegacy::initWithFrame_wrapper(wrapper, *platform,
                                                         {.window = state.window,
                                                          .height = state.height,
                                                          .width = state.width,
                                                          .client = nullptr,
                                                          .scheme = {},
                                                          .message_handlers = {},
                                                          .script = {},
                                                          .policy = {}});
}

void end_wrapper(xp_obj *wrapper) {
  const std::unique_ptr<xp_webview_state> state(static_cast<xp_webview_object *>(wrapper)->state);
  if (state && state->view) {
    state->modern.reset();
    xp_wv_view::close(std::move(state->view));
  }
  if (state && state->scheme_handler) state->scheme_handler->detach();
  xp::destroy(wrapper);
}

void release_queued(void *wrapper) {
  xp_release(static_cast<xp_obj *>(wrapper));
}

}  // namespace

uint32_t xp_webview_type() {
  return xp_webview_object::code;
}

xp_obj *xp_webview_new(void *window, int64_t height, int64_t width, xp_webview_callback callback,
                       uint64_t context) {
  if (platform == nullptr || callback == nullptr) return nullptr;
  auto *object = xp::make<xp_webview_object>(webview_ops);
  if (object == nullptr) return nullptr;
  xp::ref wrapper = xp::ref::adopt(object);
  object->state = new xp_webview_state{.window = window,
                                       .height = height,
                                       .width = width,
                                       .callback = callback,
                                       .context = context,
                                       .main_thread = std::this_thread::get_id()};
  xp_webview_state &state = *object->state;
  if (xp_webview_support() == 2) {
    make_modern(object, state);
  } else {
    make_legacy(object, state);
  }
  if (!state.view) return nullptr;
  state.view->engine().show();
  return wrapper.leak();
}

void xp_webview_release(xp_obj *wrapper) {
  auto *object = xp::as<xp_webview_object>(wrapper);
  if (object == nullptr) return;
  if (object->state != nullptr && object->state->main_thread != std::this_thread::get_id()) {
    // The last reference must go on the main thread, where the view lives. It travels there as a reference,
    // so that the wrapper stays whole for the events that are raised until then. With no memory left for the
    // journey the wrapper stays, which harms less than ending it here.
    if (!xp::refcount::down_unless_last(object->refs)) xp_main_post(release_queued, wrapper);
    return;
  }
  if (xp_prerelease(wrapper) != 0) end_wrapper(wrapper);
}

int64_t xp_webview_raise(xp_obj *wrapper, uint32_t event, xp_obj *argument) {
  const xp_webview_state *state = xp_webview_get(wrapper);
  return state != nullptr ? state->callback(wrapper, event, argument, state->context) : 0;
}

uint32_t xp_webview_flags(xp_obj *wrapper) {
  const xp_webview_state *state = xp_webview_get(wrapper);
  return state != nullptr ? state->flags : 0;
}

// --- Settings ---

int32_t xp_webview_setflags(xp_obj *wrapper, uint32_t flags) {
  xp_webview_state *state = xp_webview_get(wrapper);
  if (state == nullptr) return -1;
  state->flags = flags;
  return 0;
}

int32_t xp_webview_setbackground(xp_obj *wrapper, int64_t colour) {
  xp_webview_state *state = xp_webview_get(wrapper);
  if (state == nullptr) return -1;
  state->background = colour;
  if (colour >= 0) state->view->engine().background(static_cast<uint32_t>(colour & 0xffffff));
  return 0;
}

int32_t xp_webview_setsize(xp_obj *wrapper, int64_t height, int64_t width) {
  xp_webview_state *state = xp_webview_get(wrapper);
  if (state == nullptr) return 0;
  state->height = height;
  state->width = width;
  state->view->engine().frame(height, width);
  return 0;
}

int64_t xp_webview_getheight(xp_obj *wrapper) {
  const xp_webview_state *state = xp_webview_get(wrapper);
  return state != nullptr ? state->height : 0;
}

int64_t xp_webview_getwidth(xp_obj *wrapper) {
  const xp_webview_state *state = xp_webview_get(wrapper);
  return state != nullptr ? state->width : 0;
}

int32_t xp_webview_focus(xp_obj *wrapper) {
  xp_webview_state *state = xp_webview_get(wrapper);
  if (state != nullptr) state->view->engine().focus();
  return 0;
}
