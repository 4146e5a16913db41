// The screenshot run: when it waits, when it takes the picture, and what it reports.

#include "app/screenshot.h"

#include "tests/app/recording_desktop.h"
#include "tests/webview/webview_fixture.h"

namespace {

class screenshot_test : public webview_fixture {
protected:
  screenshot_test() {
    platform.evaluate = [this](std::string_view script) {
      const bool received = script.find("corvane_received") != std::string_view::npos;
      return page_result(page_text(received ? "{received}" : state_));
    };
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
      if (page_answers) engine().finish_scripts();
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
  recording_desktop desktop_{lines_};
  std::optional<cv_screenshot> shot_;
};

const transcript taken = {"picture out.png"};

TEST_F(screenshot_test, waits_for_a_state_that_says_something) {
  start(wrapper());
  for (const char *state : {"loading", "undefined", "", "Live"}) {
    state_ = state;
    EXPECT_EQ(pass(3000), transcript{}) << state;
  }
  state_ = "live";
  EXPECT_EQ(pass(3000), taken);
  EXPECT_EQ(outcome(), "0 {received}|");
  platform.log.clear();
  EXPECT_EQ(pass(120000), transcript{}) << "and that is all, its limit included";
  EXPECT_EQ(outcome() + platform.take_log(), "0 {received}|");

  state_ = "unreachable";
  start(wrapper());
  EXPECT_EQ(pass(3000), taken);
  EXPECT_EQ(outcome(), std::to_string(CV_SCREENSHOT_UNREACHABLE) + " {received}|");
}

TEST_F(screenshot_test, gives_up_after_its_limit_and_not_before) {
  for (const bool answers : {true, false}) {
    start(wrapper());
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
  start(wrapper());
  EXPECT_EQ(pass(3000), taken);
  EXPECT_EQ(outcome(), failed + "out.png: No such folder");
}

}  // namespace
