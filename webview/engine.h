// The seam to a real web engine: verbs go down (xp_engine), notifications come up (xp_engine_client), plain
// values cross. An engine translates and forwards; what a page may do is decided by its client.
//
// Everything here happens on the main thread. A notification may end the wrapper, but the engine that sends
// it lives until the notification has returned. Texts are UTF-8, lengths bytes, sizes points.

#ifndef XP_WEBVIEW_ENGINE_H
#define XP_WEBVIEW_ENGINE_H

#include <stdint.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What a load asks for. With a body the method is "POST".
struct xp_engine_request {
  std::string url;
  std::string method;
  std::vector<std::pair<std::string, std::string>> headers;
  std::optional<std::string> body;
};

// A navigation that is about to happen. `body` is absent also where the engine cannot tell it.
struct xp_engine_navigation {
  std::string url;
  std::string method;
  std::optional<std::string> body;
};

// Why a load failed.
struct xp_engine_error {
  std::string domain;
  int64_t code;
  std::string description;
};

// A value of the page's script.
struct xp_engine_value {
  enum class kind { none, boolean, number, text, other };
  kind is = kind::none;
  double number = 0;     // number
  bool boolean = false;  // boolean
  std::string text;      // text: the text itself; other: its JSON, empty when it has none
};

// What became of a script: its value, or the engine's words for what went wrong. A value that cannot leave
// the page (a function, a promise) is of kind other, without an error.
struct xp_engine_result {
  xp_engine_value value;
  std::optional<std::string> error;
};
using xp_engine_completion = std::function<void(const xp_engine_result &)>;

// A message that a page posted to one of the handlers.
struct xp_engine_message {
  enum class kind { dictionary, number, other };
  std::string handler;
  kind is = kind::other;
  double number = 0;   // number
  xp_engine_value id;  // dictionary: what stands under "id" and "payload"
  xp_engine_value payload;
};

// A request for the custom scheme, and the way to answer it: one call of one of the two, during the
// notification.
struct xp_engine_task {
  std::string url;
  std::string method;
  std::string body;
};
class xp_engine_reply {
public:
  virtual ~xp_engine_reply() = default;
  virtual void respond(int status, std::string_view mime_type,
                       const std::vector<std::pair<std::string, std::string>> &headers,
                       std::string_view bytes) = 0;
  virtual void fail(std::string_view domain, int64_t code) = 0;
};

// The domain of the errors that native code itself gives.
inline constexpr std::string_view xp_engine_url_errors = "URLErrorDomain";
enum : int64_t {
  XP_URL_ERROR_BAD_URL = -1000,
  XP_URL_ERROR_UNAVAILABLE = -1008,
};

// Notifications, named after the delegate methods that they are.
class xp_engine_client {
public:
  virtual ~xp_engine_client() = default;

  // A navigation is about to happen, in whatever frame, the first load included. True allows it.
  virtual bool webView_decidePolicyForNavigationAction(const xp_engine_navigation &navigation) = 0;
  virtual void webView_didStartProvisionalNavigation() = 0;
  // The page at `address` has taken the place of the one before: messages from now on are its messages.
  virtual void webView_didCommitNavigation(std::string_view address) = 0;
  virtual void webView_didFinishNavigation() = 0;
  // Once per load, before or after it was committed; such a load does not finish.
  virtual void webView_didFailNavigation_withError(const xp_engine_error &error) = 0;
  virtual void userContentController_didReceiveScriptMessage(const xp_engine_message &message) = 0;
  virtual void webView_startURLSchemeTask(const xp_engine_task &task, xp_engine_reply &reply) = 0;
  // True lets the engine show its context menu.
  virtual bool willOpenMenu_withEvent() = 0;
  // The process that runs the page has ended by itself.
  virtual void webViewWebContentProcessDidTerminate() = 0;
};

// What an engine is made with. Handlers, scheme and script: modern engine only.
struct xp_engine_config {
  void *window = nullptr;  // the platform's window, see webview/webview.h
  int64_t height = 0;
  int64_t width = 0;
  xp_engine_client *client = nullptr;         // lives as long as the engine
  std::string scheme;                         // requests for it become scheme tasks
  std::vector<std::string> message_handlers;  // names that page script can post messages to
  std::string script;  // run in the main frame at document start, in the page's own world
  std::string policy;  // default content security policy; empty: none
};

class xp_engine {
public:
  virtual ~xp_engine() = default;

  virtual void frame(int64_t height, int64_t width) = 0;  // sizes the view; its origin is the window's
  virtual void show() = 0;    // makes the view visible and puts it into the window
  virtual void focus() = 0;   // gives it the keyboard focus
  virtual void remove() = 0;  // takes it out of the window; it lives on
  virtual void detach() = 0;  // unregisters the message handlers

  // From now on accepts any certificate over https from this host, and from no other; empty: from none.
  virtual void trust(std::string_view host) = 0;
  virtual void load(const xp_engine_request &request) = 0;
  virtual void load_html(std::string_view html) = 0;  // under the address about:blank
  virtual void reload() = 0;
  // Runs a script in the page's main frame. `completion` is called exactly once, later, unless the engine
  // ends before.
  virtual void run(std::string_view script, xp_engine_completion completion) = 0;
  virtual void background(uint32_t rgb) = 0;  // 0xRRGGBB
};

class xp_engine_platform {
public:
  virtual ~xp_engine_platform() = default;

  virtual int os_major_version() const = 0;
  // A new engine; null when it cannot be made.
  virtual std::unique_ptr<xp_engine> make_modern(const xp_engine_config &config) = 0;
  virtual std::unique_ptr<xp_engine> make_legacy(const xp_engine_config &config) = 0;
};

#endif
