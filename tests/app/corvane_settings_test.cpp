// The launch and the end of the application, as transcripts of what desktop and engine are asked for.

#include "app/corvane_settings.h"

#include "tests/app/recording_desktop.h"
#include "tests/webview/webview_fixture.h"

#include <cstdlib>

namespace {

class corvane_settings_test : public webview_fixture {
protected:
  corvane_settings_test() { setenv("CORVANE_ROOT", "/private", 1); }
  ~corvane_settings_test() override { unsetenv("CORVANE_ROOT"); }

  // What was asked for since the last call, without the first lines of it.
  transcript taken(size_t skipped = 0) {
    xp_main_pump();
    transcript lines = std::exchange(platform.log, {});
    lines.erase(lines.begin(), lines.begin() + static_cast<ptrdiff_t>(std::min(skipped, lines.size())));
    return lines;
  }
  transcript launched(size_t skipped = 0) {
    settings_.applicationDidFinishLaunching();
    return taken(skipped);
  }
  transcript ended() {
    settings_.applicationWillTerminate();
    return taken();
  }

  // Whether the page is told that it may offer full disk access.
  static bool offered() {
    const auto dict = xp::ref::adopt(xp_dict_new(0));
    cv_setup_native_oscapabilities(dict.get());
    return xp_truthy(xp::ref::adopt(xp_dict_fetch(dict.get(), "fda", -1)).get()) != 0;
  }

  transcript open_app(const char *name) {
    cv_setup_native_osopenapp(str(name).get());
    return taken();
  }
  transcript open_fda() {
    cv_setup_native_osopenfda();
    return taken();
  }

  recording_desktop desktop_{platform.log};
  CorvaneSettings settings_{desktop_};
};

const transcript view_gone = {"remove", "detach", "end", "close window"};

TEST_F(corvane_settings_test, launches_in_order_and_takes_everything_down_again) {
  EXPECT_FALSE(offered());
  EXPECT_EQ(launched(), (transcript{"open bundle /private/Library/Corvane/Corvane.app",
                                    "window \"Sablewick\" 720x360 at 280,220", "modern local", "show",
                                    "background 123456", "trust []", "load GET local://app/setup.html",
                                    "bring to front"}));
  EXPECT_EQ(platform.engine->config.window, &desktop_);
  EXPECT_EQ(platform.engine->config.width, 720);
  EXPECT_EQ(platform.engine->config.height, 360);
  EXPECT_TRUE(offered());
  EXPECT_EQ(ended(), view_gone);
  EXPECT_FALSE(offered());

  desktop_.screen = {};
  EXPECT_EQ(launched().at(1), "window \"Sablewick\" 720x360 at -360,-180");
  ended();
}

TEST_F(corvane_settings_test, says_so_and_ends_when_there_is_no_view) {
  const transcript given_up = {"log CorvaneSettings: failed to create web view", "terminate"};
  platform.refuse = true;
  EXPECT_EQ(launched(3), given_up);  // bundle, window, engine
  EXPECT_EQ(ended(), transcript{"close window"});
  platform.refuse = false;
  desktop_.can_make_window = false;
  EXPECT_EQ(launched(2), given_up);  // bundle, window
  EXPECT_EQ(ended(), transcript{});
}

TEST_F(corvane_settings_test, follows_the_window_and_the_desktop) {
  settings_.windowDidResize();
  settings_.effectiveAppearanceDidChange();
  EXPECT_EQ(taken(), transcript{}) << "before the launch there is no view to follow with";
  launched();
  desktop_.content = {.x = 0, .y = 0, .width = 1000.99, .height = 500.01};
  settings_.windowDidResize();
  settings_.effectiveAppearanceDidChange();
  settings_.applicationShouldHandleReopen();
  EXPECT_EQ(taken(), (transcript{"frame 500 1000", "background 123456", "bring to front"}));
  EXPECT_TRUE(settings_.applicationShouldTerminateAfterLastWindowClosed());
  ended();
}

TEST_F(corvane_settings_test, opens_for_the_page_from_launch_to_end_only) {
  EXPECT_EQ(open_app("kv"), transcript{});
  launched();
  const std::string tail = " could not be opened. Try re-installing the HXP Client.";
  EXPECT_EQ(open_app("kcheck"), transcript{"alert [OK] Lendora" + tail});
  EXPECT_EQ(open_app("other"), transcript{"alert [OK] Provetta" + tail});
  const std::string pane = "open x-apple.systempreferences:com.apple.";
  EXPECT_EQ(open_fda(), transcript{pane + "settings.PrivacySecurity.extension?Privacy_AllFiles"});
  desktop_.version = 12;
  EXPECT_EQ(open_fda(), transcript{pane + "preference.security?Privacy_AllFiles"});
  cv_setup_native_osopenfda();
  EXPECT_EQ(ended(), view_gone) << "queued work must find no application";
}

}  // namespace
