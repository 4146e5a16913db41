// Requests for the custom scheme: the engine's request as a task, and the task's answer as the engine's
// response.

#ifndef XP_WEBVIEW_GTK_SCHEME_TASK_H
#define XP_WEBVIEW_GTK_SCHEME_TASK_H

#include "webview/engine.h"

#include <webkit/webkit.h>

// The task of a request; reads its body.
xp_engine_task xp_gtk_scheme_task(WebKitURISchemeRequest *request);

// Answers one request. One that was not answered by the end fails, so that the page does not wait for ever.
class xp_gtk_scheme_reply final : public xp_engine_reply {
public:
  explicit xp_gtk_scheme_reply(WebKitURISchemeRequest *request) : request_(request) {}
  ~xp_gtk_scheme_reply() override;
  xp_gtk_scheme_reply(const xp_gtk_scheme_reply &) = delete;
  xp_gtk_scheme_reply &operator=(const xp_gtk_scheme_reply &) = delete;

  void respond(int status, std::string_view mime_type,
               const std::vector<std::pair<std::string, std::string>> &headers,
               std::string_view bytes) override;
  void fail(std::string_view domain, int64_t code) override;

private:
  WebKitURISchemeRequest *request_;
  bool answered_ = false;
};

#endif
