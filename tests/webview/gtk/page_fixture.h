// A wrapper over the real engine in a window, whose callback serves pages from a table, answers requests from
// another thread, and writes events down.

#ifndef TESTS_WEBVIEW_GTK_PAGE_FIXTURE_H
#define TESTS_WEBVIEW_GTK_PAGE_FIXTURE_H

#include "webview/webview.h"
#include "xp/object/ref.h"

#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

// What the callback saw of a request for a resource.
struct seen_request {
  std::string method;
  std::string data;
};

class page_fixture : public testing::Test {
public:
  static void SetUpTestSuite();

  std::map<std::string, std::string> pages;  // HTML by address
  std::map<std::string, seen_request> seen;  // resources asked for, by address
  std::vector<std::string> events;           // "20", "23 description", "10 GET address"
  std::vector<std::string> requests;         // requests of event 40, as JSON; "null"
  std::string refused;                       // an address to which event 10 says no

protected:
  void SetUp() override;
  void TearDown() override;

  // The wrapper, made on first use under this content security policy.
  xp_obj *wrapper(const char *policy = nullptr);
  // Loads an address and waits until it has finished or failed.
  void load(const std::string &address);
  // Loads a page of ours with this HTML, at local://app/index.html.
  void load_page(const std::string &html);

  // Runs the main loop until the condition holds; false when it does not within 20 seconds.
  static bool wait_for(const std::function<bool()> &condition);
  static void run_for(int milliseconds);

  // A script's value as JSON text, or "error: " and the engine's message.
  std::string evaluate(const std::string &script);
  // Waits until a script's value is this text.
  bool becomes(const std::string &script, const std::string &value);

  long count(const std::string &event) const;

private:
  static int64_t callback(xp_obj *wrapper, uint32_t event, xp_obj *argument, uint64_t context);
  int64_t on_event(xp_obj *wrapper, uint32_t event, xp_obj *argument);
  int64_t on_resource(xp_obj *request);
  int64_t on_request(xp_obj *wrapper, xp_obj *request);

  GtkWidget *window_ = nullptr;
  xp::ref wrapper_;
  int64_t objects_ = 0;
};

#endif
