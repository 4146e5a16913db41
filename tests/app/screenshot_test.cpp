// The screenshot run: when it waits, when it takes the picture, and what it reports.

#include "app/screenshot.h"

#include "tests/app/recording_desktop.h"
#include "tests/support/leak_check.h"
#include "tests/webview/recording_engine.h"
#include "webview/webview.h"
#include "xp/object/ref.h"
#include "xp/service/main_queue.h"

namespace {

class screenshot_test : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    xp_webview_setplatform(&platform_);
    platform_.evaluate = [this](std::string_view script) {
      const bool received = script.find("corvane_received") != std::string_view::npos;
      return page_result(page_text(received ? "{received}" : state_));
    };
    const auto nothing = [](xp_obj *, uint32_t, xp_obj *, uint64_t) -> int64_t { return 0; };
    view_ = xp::ref::adopt(xp_webview_new(&desktop_, 360, 720, nothing, 0));
  }
  void TearDown() override {
    view_ = nullptr;
    xp_main_pump();
    xp_webview_setplatform(nullptr);
    leak_check::TearDown();
  }

  void start(xp_obj *view) {
    finished_ = 0;
    shot_.emplace(desktop_, view, "out.png", [this](const cv_screenshot_result &result) {
      ++finished_;
      result_ = result;
    });
    shot_->start();
  }
  // Lets time pass on the desktop and in the page. What was asked of the desktop.
  transcript pass(int64_t milliseconds, bool page_answers = true) {
    for (; milliseconds > 0; milliseconds -= 1) {
      desktop_.pass(1);
      if (page_answers) platform_.engine->finish_scripts();
    }
    return std::exchange(lines_, {});
  }
  // "status received|error" of the run that has finished once.
  std::string outcome() const {
    return finished_ == 1 ? std::to_string(result_.status) + " " + result_.received + "|" + result_.error
                          : "";
  }

  std::string state_;
  int finished_ = 0;
  cv_screenshot_result result_;
  transcript lines_;  // of the desktop alone
  recording_platform platform_;
  recording_desktop desktop_{lines_};
  xp::ref view_;
  std::optional<cv_screenshot> shot_;
};

const transcript taken = {"picture out.png"};

TEST_F(screenshot_test, waits_for_a_state_that_says_something) {
  start(view_.get());
  for (const char *state : {"loading", "undefined", "", "Live"}) {
    state_ = state;
    EXPECT_EQ(pass(3000), transcript{}) << state;
  }
  state_ = "live";
  EXPECT_EQ(pass(3000), taken);
  EXPECT_EQ(outcome(), "0 {received}|");
  platform_.log.clear();
  EXPECT_EQ(pass(120000), transcript{}) << "and that is all, its limit included";
  EXPECT_EQ(outcome() + platform_.take_log(), "0 {received}|");

  state_ = "unreachable";
  start(view_.get());
  EXPECT_EQ(pass(3000), taken);
  EXPECT_EQ(outcome(), std::to_string(CV_SCREENSHOT_UNREACHABLE) + " {received}|");
}

TEST_F(screenshot_test, gives_up_after_its_limit_and_not_before) {
  for (const bool answers : {true, false}) {
    start(view_.get());
    EXPECT_EQ(pass(59999, answers), transcript{});
    EXPECT_EQ(finished_, 0);
    EXPECT_EQ(pass(1, answers), transcript{});
    EXPECT_EQ(outcome(), std::to_string(CV_SCREENSHOT_FAILED) + " |the page was not ready within 60 s");
    pass(1000);
  }
}

TEST_F(screenshot_test, reports_what_fails) {
  const std::string failed = std::to_string(CV_SCREENSHOT_FAILED) + " |";
  start(nullptr);
  EXPECT_EQ(outcome(), failed + "there is no page");
  state_ = "live";
  desktop_.picture_error = "No such folder";
  start(view_.get());
  EXPECT_EQ(pass(3000), taken);
  EXPECT_EQ(outcome(), failed + "out.png: No such folder");
}

}  // namespace
