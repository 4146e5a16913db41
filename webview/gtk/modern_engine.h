// The modern engine: a WebKitWebView in a context and an ephemeral network session of its own.

#ifndef XP_WEBVIEW_GTK_MODERN_ENGINE_H
#define XP_WEBVIEW_GTK_MODERN_ENGINE_H

#include "webview/engine.h"

#include <webkit/webkit.h>

class xp_gtk_modern_engine final : public xp_engine {
public:
  explicit xp_gtk_modern_engine(const xp_engine_config &config);
  ~xp_gtk_modern_engine() override;
  xp_gtk_modern_engine(const xp_gtk_modern_engine &) = delete;
  xp_gtk_modern_engine &operator=(const xp_gtk_modern_engine &) = delete;

  void frame(int64_t height, int64_t width) override;
  void show() override;
  void focus() override;
  void remove() override;
  void detach() override;
  void trust(std::string_view host) override;
  void load(const xp_engine_request &request) override;
  void load_html(std::string_view html) override;
  void reload() override;
  void run(std::string_view script, xp_engine_completion completion) override;
  void background(uint32_t rgb) override;

private:
  struct connection {
    GObject *object;
    gulong handler;
  };

  // Set-up.
  void make_context();
  void make_manager();
  void make_view();
  void connect(gpointer object, const char *signal, GCallback handler);

  // Signal handlers.
  static void on_load_changed(WebKitWebView *view, WebKitLoadEvent event, gpointer engine);
  static gboolean on_load_failed(WebKitWebView *view, WebKitLoadEvent event, const char *uri, GError *error,
                                 gpointer engine);
  static gboolean on_tls_errors(WebKitWebView *view, const char *uri, GTlsCertificate *certificate,
                                GTlsCertificateFlags errors, gpointer engine);
  static gboolean on_retry(gpointer engine);
  static gboolean on_decide_policy(WebKitWebView *view, WebKitPolicyDecision *decision,
                                   WebKitPolicyDecisionType type, gpointer engine);
  static gboolean on_context_menu(WebKitWebView *view, WebKitContextMenu *menu, WebKitHitTestResult *hit,
                                  gpointer engine);
  static gboolean on_script_dialog(WebKitWebView *view, WebKitScriptDialog *dialog, gpointer engine);
  static void on_process_terminated(WebKitWebView *view, WebKitWebProcessTerminationReason reason,
                                    gpointer engine);
  static void on_script_message(WebKitUserContentManager *manager, JSCValue *body, gpointer handler);
  static void on_download(WebKitNetworkSession *session, WebKitDownload *download, gpointer engine);
  static void on_scheme_request(WebKitURISchemeRequest *request, gpointer ignored);

  static xp_gtk_modern_engine &self(gpointer engine) { return *static_cast<xp_gtk_modern_engine *>(engine); }

  void load_retried();
  bool cancel_retry();  // true when a repetition was waiting

  xp_engine_config config_;
  WebKitWebContext *context_ = nullptr;
  WebKitNetworkSession *session_ = nullptr;
  WebKitUserContentManager *manager_ = nullptr;
  WebKitWebView *view_ = nullptr;
  std::vector<connection> connections_;

  std::string trusted_host_;
  std::string retried_;     // address whose certificate was accepted and which is being loaded again
  int retries_ = 0;         // how often it has been
  guint retry_source_ = 0;  // of the next time, when it does not come at once
  // Our own load, under the address as the engine spells it. The engine knows neither its method nor its
  // body.
  std::string own_address_;
  xp_engine_request own_load_;
  bool own_body_waits_ = false;  // the body has not been handed to the scheme's task yet
  bool swallow_start_ = false;   // the next start repeats one that was reported
  bool swallow_finish_ = false;  // the next finish belongs to a load that has failed
};

#endif
