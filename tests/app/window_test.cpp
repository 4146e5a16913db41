// The real window with the real page, driven from inside through script: its size, what it shows, and how it
// copes with a client that goes away and comes back. One process has one application and one session, so it
// is one test.

#include "app/corvane_settings.h"
#include "app/gtk/gtk_desktop.h"
#include "app/gtk/start.h"
#include "setup/apic.h"
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

  // Expects a script to give this text now.
  void expect_page(const std::string &script, const std::string &text) {
    EXPECT_EQ(page(script), text) << script;
  }
  // Waits until a script gives this text.
  void await_page(const std::string &script, const std::string &text) {
    std::string last;
    await([&] { return (last = page(script)) == text; });
    EXPECT_EQ(last, text) << script;
  }
  // Looks from time to time whether a condition holds, for a minute.
  void await(const std::function<bool()> &condition) {
    const auto limit = clock::now() + std::chrono::minutes(1);
    while (!condition() && clock::now() < limit)
      pause(20);
  }

private:
  void pause(int milliseconds) {
    bool over = false;
    desktop_.after(milliseconds, [&over] { over = true; });
    while (!over)
      g_main_context_iteration(nullptr, TRUE);
  }

  gtk_desktop &desktop_;
  std::function<void(driven_settings &)> body_;
};

constexpr const char *page_size = "innerWidth + 'x' + innerHeight";
constexpr const char *state = "document.documentElement.dataset.state";
constexpr const char *headline = "document.getElementById('headline').innerText";
constexpr const char *retry_shown = "String(document.getElementById('retry').checkVisibility())";

std::string field(const char *key) {
  return std::string("document.querySelector('[data-key=\"") + key + "\"]').innerText";
}

void expect_page_fits(driven_settings &settings) {
  settings.await_page(page_size, "720x360");
  settings.expect_page(
      "String(document.documentElement.scrollHeight <= innerHeight && "
      "document.documentElement.scrollWidth <= innerWidth)",
      "true");
  settings.expect_page(
      "String([...document.querySelectorAll('dt, h1, h2, button')].every("
      "e => e.scrollWidth <= e.clientWidth || e.hidden))",
      "true");
}

std::string view_size(driven_settings &settings) {
  xp_obj *view = settings.webview();
  return std::to_string(xp_webview_getwidth(view)) + "x" + std::to_string(xp_webview_getheight(view));
}

// Page and view follow the window, in both directions.
void expect_page_follows(driven_settings &settings) {
  for (const int width : {900, 600, 720}) {
    const std::string before = settings.page("String(innerWidth)");
    gtk_window_set_default_size(driven_settings::window(), width, 420);
    settings.await_page("String(innerWidth !== " + before + ")", "true");
    settings.await([&] { return settings.page(page_size) == view_size(settings); });
    settings.expect_page(page_size, view_size(settings));
    settings.expect_page("String(document.documentElement.scrollWidth <= innerWidth)", "true");
  }
}

void expect_appearance(driven_settings &settings, AdwColorScheme scheme, const char *dark,
                       const char *ground) {
  adw_style_manager_set_color_scheme(adw_style_manager_get_default(), scheme);
  settings.await_page("String(matchMedia('(prefers-color-scheme: dark)').matches)", dark);
  settings.expect_page("getComputedStyle(document.body).backgroundColor", ground);
}

// Content that could act for the page without being of it.
void expect_guarded(driven_settings &settings) {
  settings.page(
      "window.refused = []; document.addEventListener('securitypolicyviolation', "
      "e => refused.push(e.effectiveDirective)); const frame = document.createElement('iframe'); "
      "frame.src = 'data:text/html,x'; document.body.append(frame); 0");
  settings.await_page("String(refused)", "frame-src");
  settings.expect_page("try { eval('1') } catch (error) { error.name }", "EvalError");
  settings.page("document.querySelector('iframe').remove(); 0");
}

using standin = std::unique_ptr<standin_process>;

// Longer than any look at a page that waits for its client.
constexpr vane_apic_limits patient = {.lookup = 180000, .present = 0, .absent = 0, .call = 180000};
constexpr const char *press_retry = "document.getElementById('retry').click(); 0";

void expect_survives_the_client(driven_settings &settings, const private_root &root, standin &client) {
  client->end(SIGKILL);  // its endpoint stays behind, dead
  vane_apic_setlimits(&patient);
  settings.page("location.reload(); 0");
  settings.await_page("headline.innerText + ('corvane_received' in window)", "Contacting the clienttrue");
  settings.expect_page(retry_shown, "false");
  vane_apic_setlimits(nullptr);
  settings.page(press_retry);
  settings.await_page(state, "unreachable");
  settings.expect_page(headline, "The client is not answering");
  settings.expect_page(retry_shown, "true");
  expect_page_fits(settings);

  client = std::make_unique<standin_process>(root);
  ASSERT_TRUE(client->serves()) << client->errors();
  settings.page(press_retry);
  settings.await_page(state, "live");
  settings.expect_page(headline, "Connected");
  settings.expect_page(field("server"), "corvane.example.com");
  settings.expect_page(retry_shown, "false");
}

void drive(driven_settings &settings, const private_root &root, standin &client) {
  settings.await_page(state, "live");
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
