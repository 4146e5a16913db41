// What the engine reports, handed on to its client.

#include "webview/gtk/modern_engine.h"
#include "webview/gtk/page_value.h"
#include "webview/gtk/scheme_task.h"

namespace {

// A certificate that was accepted is tried this often, from the second time on with a pause in between.
constexpr int retry_limit = 5;
constexpr guint retry_pause_ms = 50;

// Whether an address is https on this very host.
bool secure_on(const char *uri, const std::string &host) {
  g_autoptr(GUri) parsed = g_uri_parse(uri, G_URI_FLAGS_NONE, nullptr);
  return parsed != nullptr && !host.empty() && g_strcmp0(g_uri_get_scheme(parsed), "https") == 0 &&
         g_uri_get_host(parsed) != nullptr && g_ascii_strcasecmp(g_uri_get_host(parsed), host.c_str()) == 0;
}

}  // namespace

void xp_gtk_modern_engine::on_load_changed(WebKitWebView *view, WebKitLoadEvent event, gpointer engine) {
  xp_gtk_modern_engine &me = self(engine);
  switch (event) {
    case WEBKIT_LOAD_STARTED:
      // A load that comes before the repetition takes its place.
      if (me.cancel_retry()) me.swallow_start_ = false;
      if (!std::exchange(me.swallow_start_, false))
        me.config_.client->webView_didStartProvisionalNavigation();
      break;
    case WEBKIT_LOAD_REDIRECTED: break;
    case WEBKIT_LOAD_COMMITTED: {
      const char *address = webkit_web_view_get_uri(view);
      me.retried_.clear();
      me.config_.client->webView_didCommitNavigation(address != nullptr ? address : "about:blank");
      break;
    }
    case WEBKIT_LOAD_FINISHED:
      if (!std::exchange(me.swallow_finish_, false)) me.config_.client->webView_didFinishNavigation();
      break;
  }
}

gboolean xp_gtk_modern_engine::on_load_failed(WebKitWebView * /*view*/, WebKitLoadEvent /*event*/,
                                              const char * /*uri*/, GError *error, gpointer engine) {
  xp_gtk_modern_engine &me = self(engine);
  me.swallow_finish_ = true;  // the engine finishes what has failed
  me.retried_.clear();
  me.config_.client->webView_didFailNavigation_withError(
      {.domain = g_quark_to_string(error->domain), .code = error->code, .description = error->message});
  return TRUE;  // no error page of the engine's own, whose load would be reported as well
}

gboolean xp_gtk_modern_engine::on_tls_errors(WebKitWebView * /*view*/, const char *uri,
                                             GTlsCertificate *certificate, GTlsCertificateFlags /*errors*/,
                                             gpointer engine) {
  xp_gtk_modern_engine &me = self(engine);
  if (!secure_on(uri, me.trusted_host_)) return FALSE;
  if (me.retried_ != uri) me.retries_ = 0;
  if (me.retries_ == retry_limit) return FALSE;
  webkit_network_session_allow_tls_certificate_for_host(me.session_, certificate, me.trusted_host_.c_str());
  me.retried_ = uri;
  me.swallow_finish_ = true;
  me.swallow_start_ = true;
  // The permission and the load reach the network process on two ways: the load may have overtaken it.
  if (me.retries_++ == 0) {
    me.load_retried();
  } else {
    me.retry_source_ = g_timeout_add(retry_pause_ms, on_retry, engine);
  }
  return TRUE;
}

gboolean xp_gtk_modern_engine::on_retry(gpointer engine) {
  xp_gtk_modern_engine &me = self(engine);
  me.retry_source_ = 0;
  me.load_retried();
  return G_SOURCE_REMOVE;
}

void xp_gtk_modern_engine::load_retried() {
  if (own_address_ == retried_) {
    load(xp_engine_request(own_load_));
  } else {
    webkit_web_view_load_uri(view_, std::string(retried_).c_str());
  }
}

bool xp_gtk_modern_engine::cancel_retry() {
  if (retry_source_ == 0) return false;
  g_source_remove(std::exchange(retry_source_, 0));
  return true;
}

gboolean xp_gtk_modern_engine::on_decide_policy(WebKitWebView * /*view*/, WebKitPolicyDecision *decision,
                                                WebKitPolicyDecisionType type, gpointer engine) {
  if (type == WEBKIT_POLICY_DECISION_TYPE_RESPONSE) return FALSE;
  xp_gtk_modern_engine &me = self(engine);
  WebKitNavigationAction *action =
      webkit_navigation_policy_decision_get_navigation_action(WEBKIT_NAVIGATION_POLICY_DECISION(decision));
  const char *uri = webkit_uri_request_get_uri(webkit_navigation_action_get_request(action));
  // The engine tells neither method nor body; of our own loads they are known.
  xp_engine_navigation navigation{.url = uri != nullptr ? uri : "", .method = "GET", .body = {}};
  const WebKitNavigationType cause = webkit_navigation_action_get_navigation_type(action);
  const bool own = cause == WEBKIT_NAVIGATION_TYPE_OTHER || cause == WEBKIT_NAVIGATION_TYPE_RELOAD;
  if (own && me.own_address_ == navigation.url) {
    navigation.method = me.own_load_.method;
    navigation.body = me.own_load_.body;
  }
  const bool allowed = me.config_.client->webView_decidePolicyForNavigationAction(navigation);
  if (allowed && type == WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION) {
    webkit_policy_decision_use(decision);
  } else {
    webkit_policy_decision_ignore(decision);  // there are no new windows
  }
  return TRUE;
}

gboolean xp_gtk_modern_engine::on_context_menu(WebKitWebView * /*view*/, WebKitContextMenu * /*menu*/,
                                               WebKitHitTestResult * /*hit*/, gpointer engine) {
  return self(engine).config_.client->willOpenMenu_withEvent() ? FALSE : TRUE;
}

// The page's alert, confirm and prompt show nothing.
gboolean xp_gtk_modern_engine::on_script_dialog(WebKitWebView * /*view*/, WebKitScriptDialog * /*dialog*/,
                                                gpointer /*engine*/) {
  return TRUE;
}

void xp_gtk_modern_engine::on_process_terminated(WebKitWebView * /*view*/,
                                                 WebKitWebProcessTerminationReason /*reason*/,
                                                 gpointer engine) {
  self(engine).config_.client->webViewWebContentProcessDidTerminate();
}

void xp_gtk_modern_engine::on_script_message(WebKitUserContentManager *manager, JSCValue *body,
                                             gpointer engine) {
  const GSignalInvocationHint *hint = g_signal_get_invocation_hint(manager);
  const xp_engine_message message = xp_gtk_page_message(g_quark_to_string(hint->detail), body);
  self(engine).config_.client->userContentController_didReceiveScriptMessage(message);
}

// A page shows itself and stores nothing on the disk.
void xp_gtk_modern_engine::on_download(WebKitNetworkSession * /*session*/, WebKitDownload *download,
                                       gpointer /*engine*/) {
  webkit_download_cancel(download);
}

void xp_gtk_modern_engine::on_scheme_request(WebKitURISchemeRequest *request, gpointer /*ignored*/) {
  xp_gtk_scheme_reply reply(request);
  WebKitWebView *view = webkit_uri_scheme_request_get_web_view(request);
  auto *engine = static_cast<xp_gtk_modern_engine *>(
      view != nullptr ? g_object_get_data(G_OBJECT(view), "xp-engine") : nullptr);
  if (engine == nullptr) return;  // the view has ended: the reply fails by itself
  xp_engine_task task = xp_gtk_scheme_task(request);
  if (engine->own_body_waits_ && engine->own_address_ == task.url) {
    engine->own_body_waits_ = false;
    task.method = engine->own_load_.method;
    task.body = *engine->own_load_.body;
  }
  engine->config_.client->webView_startURLSchemeTask(task, reply);
}
