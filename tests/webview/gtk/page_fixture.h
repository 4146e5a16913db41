// A wrapper over the real engine in a window, whose callback serves pages from a table, answers requests from
// another thread, and writes events down.

#ifndef TESTS_WEBVIEW_GTK_PAGE_FIXTURE_H
#define TESTS_WEBVIEW_GTK_PAGE_FIXTURE_H

#include "tests/support/objects.h"
#include "webview/gtk/platform.h"
#include "webview/webview.h"
#include "xp/array/tuple.h"
#include "xp/dict/dict.h"
#include "xp/object/type.h"
#include "xp/service/main_queue.h"
#include "xp/service/thread.h"

#include <stdlib.h>
#include <webkit/webkit.h>

#include <algorithm>
#include <functional>

// What the callback saw of a request for a resource.
struct seen_request {
  std::string method;
  std::string data;
};

class page_fixture : public testing::Test {
public:
  static void SetUpTestSuite() {
    static bool started = false;
    if (std::exchange(started, true)) return;
    for (const char *name :
         {"http_proxy", "https_proxy", "all_proxy", "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY"})
      unsetenv(name);  // the tests' servers are on this machine
    gtk_init();
    xp_main_setposter(post_to_main_loop);
    xp_webview_setplatform(xp_gtk_engine_platform(13));
  }

  std::map<std::string, std::string> pages;  // HTML by address
  std::map<std::string, seen_request> seen;  // resources asked for, by address
  std::vector<std::string> events;           // "20", "23 description", "10 GET address"
  std::vector<std::string> requests;         // requests of event 40, as JSON; "null"
  std::string refused;                       // an address to which event 10 says no

protected:
  void SetUp() override {
    leak_check::warm_up();
    objects_ = xp::live_objects();
  }
  void TearDown() override {
    wrapper_ = nullptr;
    if (window_ != nullptr) gtk_window_destroy(GTK_WINDOW(window_));
    EXPECT_TRUE(wait_for([this] { return xp::live_objects() == objects_; }))
        << "runtime objects outlive the test";
  }

  // The wrapper, made on first use under this content security policy.
  xp_obj *wrapper(const char *policy = nullptr) {
    if (wrapper_) return wrapper_.get();
    window_ = gtk_window_new();
    gtk_window_set_default_size(GTK_WINDOW(window_), 720, 360);
    xp_webview_setpolicy(policy);
    wrapper_ = xp::ref::adopt(xp_webview_new(window_, 360, 720, on_event, reinterpret_cast<uint64_t>(this)));
    gtk_window_present(GTK_WINDOW(window_));
    return wrapper_.get();
  }

  WebKitWebView *view() { return WEBKIT_WEB_VIEW(gtk_window_get_child(GTK_WINDOW(window_))); }

  // Loads an address and waits until it has finished or failed.
  void load(const std::string &address) {
    events.clear();
    xp_webview_seturl(wrapper(), str(address).get());
    xp_webview_load(wrapper());
    EXPECT_TRUE(wait_for([this] { return count("22") + count("23") > 0; })) << address;
  }
  // Loads a page of ours with this HTML, at local://app/index.html.
  void load_page(const std::string &html) {
    pages["local://app/index.html"] = html;
    load("local://app/index.html");
    EXPECT_EQ(count("22"), 1);
  }

  // Runs the main loop until the condition holds; false when it does not within a minute.
  static bool wait_for(const std::function<bool()> &condition) {
    const gint64 end = g_get_monotonic_time() + G_TIME_SPAN_MINUTE;
    // A tick wakes the loop up, so that the time is looked at even when nothing happens.
    const guint tick = g_timeout_add(
        20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    while (!condition() && g_get_monotonic_time() < end)
      g_main_context_iteration(nullptr, TRUE);
    g_source_remove(tick);
    return condition();
  }
  static void run_for(int milliseconds) {
    const gint64 end = g_get_monotonic_time() + milliseconds * G_TIME_SPAN_MILLISECOND;
    wait_for([end] { return g_get_monotonic_time() >= end; });
  }

  // A script's value as JSON text, or "error: " and the engine's message.
  std::string evaluate(const std::string &script) {
    struct outcome {
      bool done = false;
      std::string text;
    } result;
    const auto note = [](xp_obj *value, xp_obj *error, uint64_t context) {
      auto &out = *reinterpret_cast<outcome *>(context);
      out.done = true;
      out.text = error != nullptr ? "error: " + text_of(error) : text_of(value);
    };
    xp_webview_evaluate(wrapper(), script.c_str(), note, reinterpret_cast<uint64_t>(&result));
    EXPECT_TRUE(wait_for([&result] { return result.done; })) << script;
    return result.text;
  }
  // Waits until a script's value is this text.
  bool becomes(const std::string &script, const std::string &value) {
    std::string last;
    const bool reached = wait_for([&] {
      last = evaluate(script);
      return last == value;
    });
    EXPECT_EQ(last, value) << script;
    return reached;
  }

  long count(const std::string &event) const {
    return std::count_if(events.begin(), events.end(), [&event](const std::string &each) {
      return each == event || each.starts_with(event + " ");
    });
  }

private:
  static int32_t post_to_main_loop(xp_work work, void *argument) {
    using posted = std::pair<xp_work, void *>;
    const auto run = [](gpointer data) -> gboolean {
      const std::unique_ptr<posted> piece(static_cast<posted *>(data));
      piece->first(piece->second);
      return G_SOURCE_REMOVE;
    };
    g_idle_add_full(G_PRIORITY_DEFAULT, run, new posted{work, argument}, nullptr);
    return 0;
  }

  static std::string member(xp_obj *dict, const char *key) { return taken(xp_dict_fetch(dict, key, -1)); }

  static int64_t on_event(xp_obj *wrapper, uint32_t event, xp_obj *argument, uint64_t context) {
    auto &self = *reinterpret_cast<page_fixture *>(context);
    switch (event) {
      case XP_WEBVIEW_RESOURCE: return self.on_resource(argument);
      case XP_WEBVIEW_REQUEST: return self.on_request(wrapper, argument);
      case XP_WEBVIEW_NAVIGATE:
        self.events.push_back("10 " + member(argument, "method") + " " + member(argument, "url"));
        return !self.refused.empty() && member(argument, "url") == self.refused ? 1 : 0;
      case XP_WEBVIEW_FAILED: self.events.push_back("23 " + text_of(argument)); return 0;
      default: self.events.push_back(std::to_string(event)); return 0;
    }
  }

  int64_t on_resource(xp_obj *request) {
    const std::string address = member(request, "url");
    seen[address] = {.method = member(request, "method"), .data = member(request, "data")};
    const auto page = pages.find(address);
    if (page == pages.end()) return -1;
    xp_dict_store(request, "response", -1, str(page->second).get());
    xp_dict_store(request, "mimetype", -1, str("text/html; charset=utf-8").get());
    return 0;
  }

  int64_t on_request(xp_obj *wrapper, xp_obj *request) {
    requests.push_back(text_of(request));
    if (request == nullptr) return 0;
    const xp::ref work = xp::ref::adopt(xp_tuple_new(2, wrapper, request));
    const xp::ref thread = xp::ref::adopt(xp_thr_new(answer, xp_retain(work.get())));
    if (!thread) {
      xp_release(work.get());
      return 0;
    }
    xp_thr_detach(thread.get());
    return 1;
  }

  // Gives a request's own arguments back as its result.
  static int64_t answer(void *, void *argument) {
    const xp::ref work = xp::ref::adopt(static_cast<xp_obj *>(argument));
    const xp::ref wrapper = xp::ref::adopt(xp_tuple_get(work.get(), 0));
    const xp::ref request = xp::ref::adopt(xp_tuple_get(work.get(), 1));
    xp_dict_adopt(request.get(), "result", -1, xp_dict_fetch(request.get(), "args", -1));
    return xp_webview_respond(wrapper.get(), request.get());
  }

  GtkWidget *window_ = nullptr;
  xp::ref wrapper_;
  int64_t objects_ = 0;
};

#endif
