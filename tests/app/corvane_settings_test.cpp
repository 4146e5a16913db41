// The launch and the end of the application, as transcripts of what desktop and engine are asked for.

#include "app/corvane_settings.h"

#include "tests/app/recording_desktop.h"
#include "tests/support/leak_check.h"
#include "tests/webview/recording_engine.h"
#include "webview/webview.h"
#include "xp/dict/dict.h"
#include "xp/service/main_queue.h"
#include "xp/string/string.h"

#include <cstdlib>
#include <memory>

namespace {

class corvane_settings_test : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    setenv("CORVANE_ROOT", "/private", 1);
    xp_webview_setplatform(&platform_);
  }
  void TearDown() override {
    unsetenv("CORVANE_ROOT");
    xp_webview_setplatform(nullptr);
    leak_check::TearDown();
  }

  // What was asked for since the last call.
  transcript taken() {
    xp_main_pump();
    return std::exchange(platform_.log, {});
  }

  void end() {
    settings_.applicationWillTerminate();
    xp_main_pump();
  }

  // What the page is told that it may offer.
  static std::string offered() {
    const auto dict = xp::ref::adopt(xp_dict_new(0));
    cv_setup_native_oscapabilities(dict.get());
    std::string text;
    for (const char *key : {"kv", "kcheck", "fda"}) {
      const auto value = xp::ref::adopt(xp_dict_fetch(dict.get(), key, -1));
      text += xp_truthy(value.get()) != 0 ? '1' : '0';
    }
    return text;
  }

  static void open_app(const char *name) {
    const auto text = xp::ref::adopt(xp_str_new(name));
    cv_setup_native_osopenapp(text.get());
    xp_main_pump();
  }

  recording_platform platform_;
  recording_desktop desktop_{platform_.log};
  CorvaneSettings settings_{desktop_};
};

TEST_F(corvane_settings_test, launches_in_order_and_takes_everything_down_again) {
  EXPECT_EQ(offered(), "000");
  settings_.applicationDidFinishLaunching();
  EXPECT_EQ(taken(), (transcript{
                         "open bundle /private/Library/Corvane/Corvane.app",
                         "window \"Sablewick\" 720x360 at 280,220",
                         "modern local",
                         "show",
                         "background 123456",
                         "trust []",
                         "load GET local://app/setup.html",
                         "bring to front",
                     }));
  ASSERT_NE(settings_.webview(), nullptr);
  EXPECT_EQ(platform_.engine->config.window, &desktop_);
  EXPECT_EQ(platform_.engine->config.width, 720);
  EXPECT_EQ(platform_.engine->config.height, 360);
  EXPECT_EQ(offered(), "001");

  end();
  EXPECT_EQ(taken(), (transcript{"remove", "detach", "end", "close window"}));
  EXPECT_EQ(settings_.webview(), nullptr);
  EXPECT_EQ(offered(), "000");
}

TEST_F(corvane_settings_test, centres_on_nothing_when_there_is_no_screen) {
  desktop_.screen = {};
  settings_.applicationDidFinishLaunching();
  EXPECT_EQ(taken().at(1), "window \"Sablewick\" 720x360 at -360,-180");
  end();
}

TEST_F(corvane_settings_test, says_so_and_ends_when_there_is_no_view) {
  const transcript given_up = {"log CorvaneSettings: failed to create web view", "terminate"};
  platform_.refuse = true;
  settings_.applicationDidFinishLaunching();
  auto lines = taken();
  lines.erase(lines.begin(), lines.begin() + 3);  // bundle, window, engine
  EXPECT_EQ(lines, given_up);
  end();
  EXPECT_EQ(taken(), transcript{"close window"});

  desktop_.can_make_window = false;
  settings_.applicationDidFinishLaunching();
  lines = taken();
  lines.erase(lines.begin(), lines.begin() + 2);  // bundle, window
  EXPECT_EQ(lines, given_up);
  end();
  EXPECT_EQ(taken(), transcript{});
}

TEST_F(corvane_settings_test, follows_the_window_and_the_desktop) {
  settings_.windowDidResize();
  settings_.effectiveAppearanceDidChange();
  EXPECT_EQ(taken(), transcript{}) << "before the launch there is no view to follow with";

  settings_.applicationDidFinishLaunching();
  taken();
  desktop_.content = {.x = 0, .y = 0, .width = 1000.99, .height = 500.01};
  settings_.windowDidResize();
  settings_.effectiveAppearanceDidChange();
  settings_.applicationShouldHandleReopen();
  EXPECT_EQ(taken(), (transcript{"frame 500 1000", "background 123456", "bring to front"}));
  EXPECT_TRUE(settings_.applicationShouldTerminateAfterLastWindowClosed());
  end();
}

TEST_F(corvane_settings_test, opens_for_the_page_from_launch_to_end_only) {
  open_app("kv");
  settings_.applicationDidFinishLaunching();
  taken();

  const std::string tail = " could not be opened. Try re-installing the HXP Client.";
  open_app("kcheck");
  open_app("kv");
  open_app("other");
  EXPECT_EQ(taken(), (transcript{"alert [OK] Lendora" + tail, "alert [OK] Provetta" + tail,
                                 "alert [OK] Provetta" + tail}));

  const std::string pane = "open x-apple.systempreferences:com.apple.";
  cv_setup_native_osopenfda();
  EXPECT_EQ(taken(), transcript{pane + "settings.PrivacySecurity.extension?Privacy_AllFiles"});
  desktop_.version = 12;
  cv_setup_native_osopenfda();
  EXPECT_EQ(taken(), transcript{pane + "preference.security?Privacy_AllFiles"});

  cv_setup_native_osopenfda();
  settings_.applicationWillTerminate();
  EXPECT_EQ(taken(), (transcript{"remove", "detach", "end", "close window"}))
      << "queued work must find no application";
}

}  // namespace
