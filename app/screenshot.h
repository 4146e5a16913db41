// The screenshot run: waits until the page shows what it was told, has a picture of the window written and
// hands over what the page received. It decides; the desktop draws and the program that asked prints.
//
// Main thread only. The object must live until the loop has ended: timers and scripts may still answer after
// the result.

#ifndef APP_SCREENSHOT_H
#define APP_SCREENSHOT_H

#include "app/desktop.h"
#include "xp/object/object.h"

#include <functional>
#include <string>

// Exit statuses of a screenshot run.
enum : int {
  CV_SCREENSHOT_LIVE = 0,    // the page shows the client's answers
  CV_SCREENSHOT_FAILED = 1,  // no picture, or no page: `error` says why
  CV_SCREENSHOT_UNREACHABLE =
      3,  // the page says that the client does not answer; the picture is written all the same
};

struct cv_screenshot_result {
  int status = CV_SCREENSHOT_FAILED;
  std::string received;  // what each native method answered, by method name: JSON, indented
  std::string error;     // one line
};

class cv_screenshot {
public:
  using completion = std::function<void(const cv_screenshot_result &)>;

  // Desktop and view are borrowed. `done` is called once, unless the loop ends before.
  cv_screenshot(cv_desktop &desktop, xp_obj *webview, std::string path, completion done);
  cv_screenshot(const cv_screenshot &) = delete;
  cv_screenshot &operator=(const cv_screenshot &) = delete;

  void start();

private:
  using answered = void (cv_screenshot::*)(const std::string &text);

  void evaluate(const char *script, answered next);
  void poll();
  void take_state(const std::string &state);
  void take_received(const std::string &received);
  void finish(const cv_screenshot_result &result);

  cv_desktop &desktop_;
  xp_obj *webview_;
  std::string path_;
  completion done_;
  answered next_ = nullptr;
  int status_ = CV_SCREENSHOT_FAILED;
  bool finished_ = false;
};

#endif
