#include "webview/gtk/modern_engine.h"

#include "webview/gtk/container.h"
#include "webview/gtk/page_value.h"

namespace {

// The user's languages in order of preference. Without them the engine takes the process locale's, which may
// be none.
void set_languages(WebKitWebContext *context) {
  std::vector<std::string> tags;
  for (const char *const *name = g_get_language_names(); *name != nullptr; ++name) {
    std::string tag = *name;
    if (tag == "C" || tag == "POSIX" || tag.find_first_of(".@") != std::string::npos) continue;
    for (char &c : tag)
      c = c == '_' ? '-' : c;
    tags.push_back(std::move(tag));
  }
  if (tags.empty()) tags.emplace_back("en-US");
  std::vector<const char *> list;
  list.reserve(tags.size() + 1);
  for (const std::string &tag : tags)
    list.push_back(tag.c_str());
  list.push_back(nullptr);
  webkit_web_context_set_preferred_languages(context, list.data());
}

void on_script_done(GObject *object, GAsyncResult *outcome, gpointer data) {
  const std::unique_ptr<xp_engine_completion> completion(static_cast<xp_engine_completion *>(data));
  g_autoptr(GError) error = nullptr;
  g_autoptr(JSCValue) value =
      webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(object), outcome, &error);
  xp_engine_result result;
  if (value != nullptr) {
    result.value = xp_gtk_page_value(value);
  } else if (g_error_matches(error, WEBKIT_JAVASCRIPT_ERROR, WEBKIT_JAVASCRIPT_ERROR_INVALID_RESULT) !=
             FALSE) {
    // The script ran; its value is one that cannot leave the page.
    result.value.is = xp_engine_value::kind::other;
  } else {
    result.error = error != nullptr ? error->message : "";
  }
  if (*completion) (*completion)(result);
}

}  // namespace

// --- Set-up ---

xp_gtk_modern_engine::xp_gtk_modern_engine(const xp_engine_config &config) : config_(config) {
  make_context();
  make_manager();
  make_view();
}

xp_gtk_modern_engine::~xp_gtk_modern_engine() {
  cancel_retry();
  for (const connection &each : connections_)
    g_signal_handler_disconnect(each.object, each.handler);
  g_object_set_data(G_OBJECT(view_), "xp-engine", nullptr);
  g_object_unref(view_);
  g_object_unref(manager_);
  g_object_unref(session_);
  g_object_unref(context_);
}

void xp_gtk_modern_engine::make_context() {
  context_ = webkit_web_context_new();
  set_languages(context_);
  // Once per context and before its first view. The handler finds the engine through the view that asks.
  webkit_web_context_register_uri_scheme(context_, config_.scheme.c_str(), on_scheme_request, nullptr,
                                         nullptr);
  // Nothing of a page outlives the window, accepted certificates included.
  session_ = webkit_network_session_new_ephemeral();
}

void xp_gtk_modern_engine::make_manager() {
  manager_ = webkit_user_content_manager_new();
  for (const std::string &name : config_.message_handlers) {
    // The signal first: a message that comes between the two would be lost.
    connect(manager_, ("script-message-received::" + name).c_str(), G_CALLBACK(on_script_message));
    webkit_user_content_manager_register_script_message_handler(manager_, name.c_str(), nullptr);
  }
  WebKitUserScript *script =
      webkit_user_script_new(config_.script.c_str(), WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
                             WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, nullptr, nullptr);
  webkit_user_content_manager_add_script(manager_, script);
  webkit_user_script_unref(script);
}

void xp_gtk_modern_engine::make_view() {
  const char *policy = config_.policy.empty() ? nullptr : config_.policy.c_str();
  view_ = WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "web-context", context_, "network-session",
                                       session_, "user-content-manager", manager_,
                                       "default-content-security-policy", policy, nullptr));
  g_object_ref_sink(view_);
  g_object_set_data(G_OBJECT(view_), "xp-engine", this);
  connect(view_, "load-changed", G_CALLBACK(on_load_changed));
  connect(view_, "load-failed", G_CALLBACK(on_load_failed));
  connect(view_, "load-failed-with-tls-errors", G_CALLBACK(on_tls_errors));
  connect(view_, "decide-policy", G_CALLBACK(on_decide_policy));
  connect(view_, "context-menu", G_CALLBACK(on_context_menu));
  connect(view_, "script-dialog", G_CALLBACK(on_script_dialog));
  connect(view_, "web-process-terminated", G_CALLBACK(on_process_terminated));
  connect(session_, "download-started", G_CALLBACK(on_download));
}

void xp_gtk_modern_engine::connect(gpointer object, const char *signal, GCallback handler) {
  connections_.push_back({G_OBJECT(object), g_signal_connect(object, signal, handler, this)});
}

// --- Verbs ---

void xp_gtk_modern_engine::frame(int64_t height, int64_t width) {
  xp_gtk_container_size(GTK_WIDGET(view_), height, width);
}

void xp_gtk_modern_engine::show() {
  gtk_widget_set_visible(GTK_WIDGET(view_), TRUE);
  xp_gtk_container_add(static_cast<GtkWidget *>(config_.window), GTK_WIDGET(view_));
  frame(config_.height, config_.width);
}

void xp_gtk_modern_engine::focus() {
  gtk_widget_grab_focus(GTK_WIDGET(view_));
}

void xp_gtk_modern_engine::remove() {
  xp_gtk_container_remove(GTK_WIDGET(view_));
}

void xp_gtk_modern_engine::detach() {
  for (const std::string &name : config_.message_handlers) {
    webkit_user_content_manager_unregister_script_message_handler(manager_, name.c_str(), nullptr);
  }
}

void xp_gtk_modern_engine::trust(std::string_view host) {
  trusted_host_ = host;
}

void xp_gtk_modern_engine::load(const xp_engine_request &request) {
  if (cancel_retry()) swallow_start_ = false;
  if (request.body && !g_str_has_prefix(request.url.c_str(), (config_.scheme + ":").c_str())) {
    // A request of the engine has no body. Loading without it would ask the server for something else.
    config_.client->webView_didFailNavigation_withError(
        {.domain = std::string(xp_engine_url_errors),
         .code = XP_URL_ERROR_UNAVAILABLE,
         .description = "A body can be sent to the page's own scheme only."});
    return;
  }
  g_autoptr(WebKitURIRequest) wanted = webkit_uri_request_new(request.url.c_str());
  if (SoupMessageHeaders *fields = webkit_uri_request_get_http_headers(wanted)) {
    for (const auto &[name, value] : request.headers) {
      soup_message_headers_replace(fields, name.c_str(), value.c_str());
    }
  }
  own_address_ = webkit_uri_request_get_uri(wanted);
  own_load_ = request;
  own_body_waits_ = request.body.has_value();
  webkit_web_view_load_request(view_, wanted);
}

void xp_gtk_modern_engine::load_html(std::string_view html) {
  if (cancel_retry()) swallow_start_ = false;
  webkit_web_view_load_html(view_, std::string(html).c_str(), nullptr);
}

void xp_gtk_modern_engine::reload() {
  own_body_waits_ = own_load_.body.has_value();
  webkit_web_view_reload(view_);
}

void xp_gtk_modern_engine::run(std::string_view script, xp_engine_completion completion) {
  webkit_web_view_evaluate_javascript(view_, script.data(), static_cast<gssize>(script.size()), nullptr,
                                      nullptr, nullptr, on_script_done,
                                      new xp_engine_completion(std::move(completion)));
}

void xp_gtk_modern_engine::background(uint32_t rgb) {
  const auto part = [rgb](unsigned shift) { return static_cast<float>(rgb >> shift & 0xff) / 255.0F; };
  const GdkRGBA colour{.red = part(16), .green = part(8), .blue = part(0), .alpha = 1};
  webkit_web_view_set_background_color(view_, &colour);
}
