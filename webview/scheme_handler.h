// XP_URLSchemeHandler: answers requests for "local:" addresses by asking the wrapper's callback (event 11).
// Nothing of such an address is fetched from disk or network by the engine itself. Main thread; a task is
// finished when the call returns, so a slow callee holds the user interface up.

#ifndef XP_WEBVIEW_SCHEME_HANDLER_H
#define XP_WEBVIEW_SCHEME_HANDLER_H

#include "webview/engine.h"
#include "xp/object/object.h"

class XP_URLSchemeHandler {
public:
  explicit XP_URLSchemeHandler(xp_obj *wrapper) : _xpwv(wrapper) {}

  // Breaks with the wrapper: every task fails from now on.
  void detach() { _xpwv = nullptr; }

  void webView_startURLSchemeTask(const xp_engine_task &task, xp_engine_reply &reply);

private:
  xp_obj *_xpwv;  // the wrapper, not owned
};

#endif
