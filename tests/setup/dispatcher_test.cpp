#include "setup/dispatcher.h"

#include "ipc/session.h"
#include "setup/apic.h"
#include "tests/setup/call_method.h"
#include "tests/setup/scripted_daemon.h"
#include "tests/setup/scripted_vane.h"
#include "tests/support/leak_check.h"
#include "webview/webview.h"

#include <errno.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <string>
#include <thread>
#include <vector>

// The test program is linked with pthread_create wrapped: threads can be made to fail.
namespace {
std::atomic<bool> no_threads = false;
}
extern "C" {
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*entry)(void *),
                          void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*entry)(void *),
                          void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*entry)(void *),
                          void *argument) {
  return no_threads ? EAGAIN : __real_pthread_create(thread, attributes, entry, argument);
}
}

namespace {

using namespace std::chrono_literals;

class dispatcher : public leak_check {
protected:
  void SetUp() override {
    ipc_session_id(IPC_SESSION_HELPER);  // asked once for the process
    leak_check::SetUp();
    cv_setup_setvane(&vane_);
  }
  void TearDown() override {
    cv_setup_setvane(nullptr);
    leak_check::TearDown();
  }

  static int64_t raise(uint32_t event, xp_obj *argument) {
    return cv_setup_ui_callback(nullptr, event, argument, 0);
  }

  // Waits until the request's thread has let go of it.
  static void wait_for(xp_obj *request) {
    for (int i = 0; i < 10000 && xp_refs(request) > 1; ++i)
      std::this_thread::sleep_for(1ms);
    EXPECT_EQ(xp_refs(request), 1);
  }

  static std::string result_of(xp_obj *request) {
    return json_text(xp::ref::adopt(xp_dict_fetch(request, "result", -1)).get());
  }

  scripted_vane vane_;
};

TEST_F(dispatcher, requests_run_at_the_same_time_on_threads_of_their_own) {
  scripted_daemon daemon;
  daemon.answers[0x4133].records = {{xp_code("name"), {}, "sample"}};
  daemon.answers[0x4135].records = {{xp_code("parm"), {}, "[7]"}};
  daemon.start();
  std::vector<xp::ref> requests;
  for (int i = 0; i < 16; ++i) {
    requests.push_back(
        parse_json(i % 2 == 0 ? R"({"method":"host-info","id":1})" : R"({"method":"script-list"})"));
    EXPECT_EQ(raise(XP_WEBVIEW_REQUEST, requests.back().get()), 1);
  }
  for (size_t i = 0; i < requests.size(); ++i) {
    wait_for(requests[i].get());
    EXPECT_EQ(result_of(requests[i].get()), i % 2 == 0 ? R"({"computername":"sample"})" : "[7]");
  }
  EXPECT_EQ(daemon.take_requests().size(), 16U);
}

// Requests that wait for each other all end, and the callback waits for none of them.
TEST_F(dispatcher, no_request_waits_for_another) {
  constexpr int count = 4;
  std::latch all(count + 1);
  vane_.session = 1;
  vane_.during_logon = [&] { all.arrive_and_wait(); };
  std::vector<xp::ref> requests;
  for (int i = 0; i < count; ++i) {
    requests.push_back(parse_json(R"({"method":"ensure-logon"})"));
    EXPECT_EQ(raise(XP_WEBVIEW_REQUEST, requests.back().get()), 1);
  }
  for (const xp::ref &request : requests)
    EXPECT_GT(xp_refs(request.get()), 1);
  all.arrive_and_wait();
  for (const xp::ref &request : requests) {
    wait_for(request.get());
    EXPECT_EQ(result_of(request.get()), R"({"connected":true})");
  }
}

TEST_F(dispatcher, a_request_runs_inline_when_no_thread_can_be_made) {
  const xp::ref request = parse_json(R"({"method":"ensure-logon"})");
  vane_.session = 1;
  no_threads = true;
  EXPECT_EQ(raise(XP_WEBVIEW_REQUEST, request.get()), 1);
  no_threads = false;
  EXPECT_EQ(xp_refs(request.get()), 1) << "answered before the callback returned";
  EXPECT_EQ(result_of(request.get()), R"({"connected":true})");
}

TEST_F(dispatcher, what_is_no_request_is_left_to_the_wrapper) {
  const xp::ref list = parse_json("[1]");
  const xp::ref request = parse_json(R"({"method":"ensure-logon"})");
  EXPECT_EQ(raise(XP_WEBVIEW_REQUEST, nullptr), 0);
  EXPECT_EQ(raise(XP_WEBVIEW_REQUEST, list.get()), 0);
  for (const uint32_t event : {0U, 10U, 20U, 21U, 22U, 23U, 24U, 30U, 39U, 41U, 42U})
    EXPECT_EQ(raise(event, request.get()), 0) << event;
  EXPECT_EQ(vane_.calls.size(), 0U);
  EXPECT_EQ(cv_setup_native(nullptr, nullptr), 0);
}

}  // namespace
