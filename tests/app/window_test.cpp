// The real window with the real page, driven from inside through script: its size, what it shows, and how it
// copes with a client that goes away and comes back. One process has one application and one session, so it
// is one test.

#include "app/corvane_settings.h"
#include "app/gtk/gtk_desktop.h"
#include "app/gtk/start.h"
#include "tests/standin/standin_process.h"
#include "webview/webview.h"
#include "xp/string/string.h"

#include <adwaita.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>

namespace {

using clock = std::chrono::steady_clock;

// The application, with a body that runs once it is up. The body may wait: the loop goes on meanwhile.
class driven_settings : public CorvaneSettings {
public:
  driven_settings(gtk_desktop &desktop, std::function<void(driven_settings &)> body)
      : CorvaneSettings(desktop), desktop_(desktop), body_(std::move(body)) {}

  void applicationDidFinishLaunching() override {
    CorvaneSettings::applicationDidFinishLaunching();
    desktop_.after(0, [this] {
      body_(*this);
      gtk_window_close(window());
    });
  }

  static GtkWindow *window() {
    GList *windows = gtk_window_list_toplevels();
    auto *first = GTK_WINDOW(windows->data);
    g_list_free(windows);
    return first;
  }

  // The text of a script's value; empty when the script fails.
  std::string page(const std::string &script) {
    std::optional<std::string> reply;
    const auto take = [](xp_obj *value, xp_obj *, uint64_t context) {
      const char *text = xp_str_getptr(value);
      *reinterpret_cast<std::optional<std::string> *>(context) = text == nullptr ? "" : text;
    };
    if (xp_webview_evaluate(webview(), script.c_str(), take, reinterpret_cast<uintptr_t>(&reply)) != 0)
      return {};
    while (!reply)
      g_main_context_iteration(nullptr, TRUE);
    return *reply;
  }

  // Expects a script to give this text, now or within so many seconds.
  void expect_page(const std::string &script, const std::string &text, int seconds = 0) {
    const auto limit = clock::now() + std::chrono::seconds(seconds);
    std::string last = page(script);
    while (last != text && clock::now() < limit) {
      pause(50);
      last = page(script);
    }
    EXPECT_EQ(last, text) << script;
  }

  void pause(int milliseconds) {
    bool over = false;
    desktop_.after(milliseconds, [&over] { over = true; });
    while (!over)
      g_main_context_iteration(nullptr, TRUE);
  }

private:
  gtk_desktop &desktop_;
  std::function<void(driven_settings &)> body_;
};

constexpr const char *state = "document.documentElement.dataset.state";
constexpr const char *headline = "document.getElementById('headline').innerText";
constexpr const char *retry_shown = "String(document.getElementById('retry').checkVisibility())";

std::string field(const char *key) {
  return std::string("document.querySelector('[data-key=\"") + key + "\"]').innerText";
}

void expect_page_fits(driven_settings &settings) {
  settings.expect_page("innerWidth + 'x' + innerHeight", "720x360", 5);
  settings.expect_page(
      "String(document.documentElement.scrollHeight <= innerHeight && "
      "document.documentElement.scrollWidth <= innerWidth)",
      "true");
  settings.expect_page(
      "String([...document.querySelectorAll('dt, h1, h2, button')].every("
      "e => e.scrollWidth <= e.clientWidth || e.hidden))",
      "true");
}

// Page and view follow the window, in both directions.
void expect_page_follows(driven_settings &settings) {
  for (const int width : {900, 600, 720}) {
    const int before = static_cast<int>(xp_webview_getwidth(settings.webview()));
    gtk_window_set_default_size(driven_settings::window(), width, 420);
    settings.expect_page("String(innerWidth !== " + std::to_string(before) + ")", "true", 5);
    settings.pause(200);
    settings.expect_page("innerWidth + 'x' + innerHeight",
                         std::to_string(xp_webview_getwidth(settings.webview())) + "x" +
                             std::to_string(xp_webview_getheight(settings.webview())));
    settings.expect_page("String(document.documentElement.scrollWidth <= innerWidth)", "true");
  }
}

void expect_appearance(driven_settings &settings, AdwColorScheme scheme, const char *dark,
                       const char *ground) {
  adw_style_manager_set_color_scheme(adw_style_manager_get_default(), scheme);
  settings.expect_page("String(matchMedia('(prefers-color-scheme: dark)').matches)", dark, 5);
  settings.expect_page("getComputedStyle(document.body).backgroundColor", ground);
}

// Content that could act for the page without being of it.
void expect_guarded(driven_settings &settings) {
  settings.page(
      "window.refused = []; document.addEventListener('securitypolicyviolation', "
      "e => refused.push(e.effectiveDirective)); const frame = document.createElement('iframe'); "
      "frame.src = 'data:text/html,x'; document.body.append(frame); 0");
  settings.expect_page("String(refused)", "frame-src", 5);
  settings.expect_page("try { eval('1') } catch (error) { error.name }", "EvalError");
  settings.page("document.querySelector('iframe').remove(); 0");
}

using standin = std::unique_ptr<standin_process>;

void expect_survives_the_client(driven_settings &settings, const private_root &root, standin &client) {
  client->end(SIGKILL);  // its endpoint stays behind, dead
  settings.page("location.reload(); 0");
  settings.expect_page(headline, "Contacting the client", 5);
  settings.expect_page(retry_shown, "false");
  settings.expect_page(state, "unreachable", 20);
  settings.expect_page(headline, "The client is not answering");
  settings.expect_page(retry_shown, "true");
  expect_page_fits(settings);

  client = std::make_unique<standin_process>(root);
  ASSERT_TRUE(client->serves()) << client->errors();
  settings.page("document.getElementById('retry').click(); 0");
  settings.expect_page(state, "live", 10);
  settings.expect_page(headline, "Connected");
  settings.expect_page(field("server"), "corvane.example.com");
  settings.expect_page(retry_shown, "false");
}

void drive(driven_settings &settings, const private_root &root, standin &client) {
  settings.expect_page(state, "live", 30);
  settings.expect_page(headline, "Connected");
  settings.expect_page(field("server"), "corvane.example.com");
  settings.expect_page(field("serialnumber"), "SMPL0042");
  settings.expect_page("typeof window.refresh_capabilities", "function");
  expect_page_fits(settings);
  expect_appearance(settings, ADW_COLOR_SCHEME_FORCE_DARK, "true", "rgb(36, 36, 36)");
  expect_appearance(settings, ADW_COLOR_SCHEME_FORCE_LIGHT, "false", "rgb(250, 250, 250)");
  expect_guarded(settings);
  expect_survives_the_client(settings, root, client);
  expect_page_follows(settings);
}

TEST(window, shows_the_client_and_survives_it) {
  const private_root root;
  auto client = std::make_unique<standin_process>(root);
  ASSERT_TRUE(client->serves()) << client->errors();
  setenv("CORVANE_ROOT", root.path().c_str(), 1);
  ASSERT_TRUE(gtk_init_check());
  gtk_desktop desktop("com.brindle.Corvane.Settings.Test", true);
  cv_gtk_start(desktop, CORVANE_RESOURCES);
  bool driven = false;
  driven_settings settings(desktop, [&](driven_settings &up) {
    drive(up, root, client);
    driven = true;
  });
  EXPECT_EQ(desktop.run(settings), 0);
  EXPECT_TRUE(driven);
  EXPECT_EQ(settings.webview(), nullptr);
}

}  // namespace
