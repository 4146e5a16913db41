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
      if (script.find("corvane_received") != std::string_view::npos)
        return page_result(page_text("{received}"));
      ++asked_;
      return page_result(page_text(state_));
    };
    const auto nothing = [](xp_obj *, uint32_t, xp_obj *, uint64_t) -> int64_t { return 0; };
    view_ = xp::ref::adopt(xp_webview_new(&desktop_, 360, 720, nothing, 0));
    ASSERT_TRUE(view_);
  }
  void TearDown() override {
    view_ = nullptr;
    xp_main_pump();
    xp_webview_setplatform(nullptr);
    leak_check::TearDown();
  }

  // Lets time pass on the desktop and in the page.
  void pass(int64_t milliseconds) {
    for (; milliseconds > 0; milliseconds -= 1) {
      desktop_.pass(1);
      if (page_answers_) platform_.engine->finish_scripts();
    }
  }

  void start() {
    shot_.emplace(desktop_, view_.get(), "out.png", [this](const cv_screenshot_result &result) {
      ++finished_;
      finished_at_ = desktop_.now();
      result_ = result;
    });
    shot_->start();
  }

  bool page_answers_ = true;
  std::string state_ = "loading";
  int asked_ = 0;
  int finished_ = 0;
  int64_t finished_at_ = 0;
  cv_screenshot_result result_;
  transcript lines_;  // of the desktop alone
  recording_platform platform_;
  recording_desktop desktop_{lines_};
  xp::ref view_;
  std::optional<cv_screenshot> shot_;
};

TEST_F(screenshot_test, waits_for_a_state_that_says_something) {
  start();
  for (const char *state : {"loading", "undefined", "", "Live"}) {
    state_ = state;
    pass(3000);
    EXPECT_EQ(finished_, 0) << state;
  }
  EXPECT_GT(asked_, 50);
  EXPECT_EQ(lines_, transcript{}) << "a picture before its time";

  state_ = "live";
  pass(3000);
  EXPECT_EQ(finished_, 1);
  EXPECT_EQ(result_.status, CV_SCREENSHOT_LIVE);
  EXPECT_EQ(result_.received, "{received}");
  EXPECT_EQ(result_.error, "");
  EXPECT_EQ(lines_, transcript{"picture out.png"});

  const int asked = asked_;
  pass(120000);
  EXPECT_EQ(finished_, 1);
  EXPECT_EQ(asked_, asked);
}

TEST_F(screenshot_test, takes_the_picture_of_a_client_that_does_not_answer) {
  state_ = "unreachable";
  start();
  pass(3000);
  EXPECT_EQ(finished_, 1);
  EXPECT_EQ(result_.status, CV_SCREENSHOT_UNREACHABLE);
  EXPECT_EQ(result_.received, "{received}");
  EXPECT_EQ(lines_, transcript{"picture out.png"});
}

TEST_F(screenshot_test, gives_up_after_its_limit_and_not_before) {
  for (const bool answers : {true, false}) {
    finished_ = 0;
    page_answers_ = answers;
    const int64_t started = desktop_.now();
    start();
    pass(59999);
    EXPECT_EQ(finished_, 0);
    pass(1);
    EXPECT_EQ(finished_, 1);
    EXPECT_EQ(finished_at_, started + 60000);
    EXPECT_EQ(result_.status, CV_SCREENSHOT_FAILED);
    EXPECT_EQ(result_.error, "the page was not ready within 60 s");
    EXPECT_EQ(lines_, transcript{});
    pass(1000);
  }
}

TEST_F(screenshot_test, reports_a_picture_that_cannot_be_written) {
  state_ = "live";
  desktop_.picture_error = "No such folder";
  start();
  pass(3000);
  EXPECT_EQ(finished_, 1);
  EXPECT_EQ(result_.status, CV_SCREENSHOT_FAILED);
  EXPECT_EQ(result_.error, "out.png: No such folder");
  EXPECT_EQ(result_.received, "");
}

TEST_F(screenshot_test, reports_a_page_that_is_not_there) {
  cv_screenshot shot(desktop_, nullptr, "out.png", [this](const cv_screenshot_result &result) {
    ++finished_;
    result_ = result;
  });
  shot.start();
  EXPECT_EQ(finished_, 1);
  EXPECT_EQ(result_.error, "there is no page");
}

}  // namespace
