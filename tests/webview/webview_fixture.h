// A wrapper over the recording engine, with a callback that writes every event down.

#ifndef TESTS_WEBVIEW_WEBVIEW_FIXTURE_H
#define TESTS_WEBVIEW_WEBVIEW_FIXTURE_H

#include "tests/support/objects.h"
#include "tests/webview/recording_engine.h"
#include "webview/webview.h"
#include "xp/dict/dict.h"
#include "xp/service/main_queue.h"

class webview_fixture : public leak_check {
public:
  recording_platform platform;
  std::string events;  // a line for each event: its number and its argument
  // What the callback does with an event; without it every event is answered by 0.
  std::function<int64_t(uint32_t event, xp_obj *argument)> answer;

protected:
  void SetUp() override {
    leak_check::SetUp();
    xp_webview_setplatform(&platform);
  }

  void TearDown() override {
    wrapper_ = nullptr;
    xp_main_pump();
    EXPECT_EQ(platform.engine, nullptr) << "the engine outlives its wrapper";
    xp_webview_setplatform(nullptr);
    leak_check::TearDown();
  }

  // The wrapper, made on first use, its log line for the making taken out.
  xp_obj *wrapper() {
    if (!wrapper_) {
      wrapper_ = xp::ref::adopt(xp_webview_new(this, 360, 720, record, reinterpret_cast<uint64_t>(this)));
      platform.log.clear();
    }
    return wrapper_.get();
  }
  recording_engine &engine() {
    wrapper();
    return *platform.engine;
  }
  void drop_wrapper() { wrapper_ = nullptr; }
  xp::ref take_wrapper() { return std::move(wrapper_); }

  std::string take_events() { return std::exchange(events, {}); }

private:
  static int64_t record(xp_obj * /*wrapper*/, uint32_t event, xp_obj *argument, uint64_t context) {
    auto &self = *reinterpret_cast<webview_fixture *>(context);
    self.events += std::to_string(event) + " " + text_of(argument) + "\n";
    return self.answer ? self.answer(event, argument) : 0;
  }

  xp::ref wrapper_;
};

#endif
