// A desktop that writes down what it is asked for, line by line, and a clock that the test moves by hand.

#ifndef TESTS_APP_RECORDING_DESKTOP_H
#define TESTS_APP_RECORDING_DESKTOP_H

#include "app/desktop.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

using transcript = std::vector<std::string>;

class recording_desktop : public cv_desktop {
public:
  explicit recording_desktop(transcript &lines) : lines_(lines) {}

  // What the desktop answers.
  cv_rect screen{.x = 1920, .y = 0, .width = 1280, .height = 800};
  cv_rect content{.x = 0, .y = 0, .width = 720.9, .height = 360.9};
  int version = 13;
  bool can_make_window = true;
  std::optional<std::string> picture_error;

  int os_major_version() override { return version; }
  cv_rect main_screen() override { return screen; }
  void *make_window(const cv_rect &at, const std::string &title) override {
    say("window \"" + title + "\" " + number(at.width) + "x" + number(at.height) + " at " + number(at.x) +
        "," + number(at.y));
    return can_make_window ? this : nullptr;
  }
  cv_rect content_rect() override { return content; }
  uint32_t window_colour() override { return 0x123456; }
  void bring_to_front() override { say("bring to front"); }
  void close_window() override { say("close window"); }
  bool open_uri(const std::string &uri) override {
    say("open " + uri);
    return false;
  }
  bool open_bundle(const std::string &path) override {
    say("open bundle " + path);
    return false;
  }
  void alert(const std::string &message, const std::string &button) override {
    say("alert [" + button + "] " + message);
  }
  void terminate() override { say("terminate"); }
  void log(const std::string &line) override { say("log " + line); }
  void after(int64_t delay, std::function<void()> work) override {
    timers_.emplace(now_ + delay, std::move(work));
  }
  void write_picture(const std::string &path, std::function<void(std::optional<std::string>)> done) override {
    say("picture " + path);
    done(picture_error);
  }

  // Lets time pass, with the timers that fall into it.
  void pass(int64_t milliseconds) {
    const int64_t end = now_ + milliseconds;
    while (!timers_.empty() && timers_.begin()->first <= end) {
      auto due = timers_.extract(timers_.begin());
      now_ = due.key();
      due.mapped()();
    }
    now_ = end;
  }
  int64_t now() const { return now_; }

private:
  void say(std::string line) { lines_.push_back(std::move(line)); }
  static std::string number(double value) { return std::to_string(static_cast<int>(value)); }

  transcript &lines_;
  std::multimap<int64_t, std::function<void()>> timers_;
  int64_t now_ = 0;
};

#endif
