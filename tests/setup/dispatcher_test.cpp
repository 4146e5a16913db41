#include "setup/dispatcher.h"

#include "tests/setup/call_method.h"
#include "tests/setup/scripted_daemon.h"
#include "tests/setup/scripted_vane.h"
#include "tests/support/wait.h"
#include "webview/webview.h"

#include <errno.h>
#include <pthread.h>

#include <atomic>
#include <latch>

// The test program is linked with pthread_create wrapped: threads can be made to fail.
namespace {
constexpr int unlimited = 1 << 30;
std::atomic<int> threads_left = unlimited;
}  // namespace
extern "C" {
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*entry)(void *),
                          void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*entry)(void *),
                          void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*entry)(void *),
                          void *argument) {
  return threads_left-- <= 0 ? EAGAIN : __real_pthread_create(thread, attributes, entry, argument);
}
}

namespace {

class dispatcher : public vane_fixture {
protected:
  dispatcher() { vane_.session = 1; }

  static int64_t raise(uint32_t event, xp_obj *argument) {
    return cv_setup_ui_callback(nullptr, event, argument, 0);
  }
  // Requests of these methods in turn, each handed to the dispatcher.
  static std::vector<xp::ref> raise_all(int count, const words &methods) {
    std::vector<xp::ref> requests;
    for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
      requests.push_back(tree(R"({"method":")" + methods[i % methods.size()] + R"(","id":1})"));
      EXPECT_EQ(raise(XP_WEBVIEW_REQUEST, requests.back().get()), 1);
    }
    return requests;
  }
  // The result of a request once its thread has let go of it.
  static std::string awaited(const xp::ref &request) {
    EXPECT_TRUE(wait_until([&] { return xp_refs(request.get()) == 1; }));
    return result_of(request.get());
  }
};

const std::string connected = R"({"connected":true})";

TEST_F(dispatcher, requests_run_at_the_same_time_on_threads_of_their_own) {
  scripted_daemon daemon;
  daemon.serve({}, {{0x4133, {.records = record("name", "text", "sample")}},
                    {0x4135, {.records = record("parm", "text", "[7]")}}});
  const std::vector<xp::ref> requests = raise_all(16, {"host-info", "script-list"});
  for (size_t i = 0; i < requests.size(); ++i)
    EXPECT_EQ(awaited(requests[i]), i % 2 == 0 ? R"({"computername":"sample"})" : "[7]");
  EXPECT_EQ(daemon.take_requests().size(), 16U);

  // Requests that wait for each other all end, and the callback waits for none of them.
  std::latch all(5);
  vane_.during_logon = [&] { all.arrive_and_wait(); };
  const std::vector<xp::ref> waiting = raise_all(4, {"ensure-logon"});
  for (const xp::ref &request : waiting)
    EXPECT_GT(xp_refs(request.get()), 1);
  all.arrive_and_wait();
  for (const xp::ref &request : waiting)
    EXPECT_EQ(awaited(request), connected);
}

TEST_F(dispatcher, a_thousand_requests_are_answered_by_ten_threads_and_inline) {
  threads_left = 10;
  const std::vector<xp::ref> requests = raise_all(1000, {"ensure-logon"});
  threads_left = unlimited;
  for (size_t i = 10; i < requests.size(); ++i)
    EXPECT_EQ(xp_refs(requests[i].get()), 1) << "answered before the callback returned";
  for (const xp::ref &request : requests)
    EXPECT_EQ(awaited(request), connected);
}

TEST_F(dispatcher, what_is_no_request_is_left_to_the_wrapper) {
  const xp::ref list = tree("[1]"), request = tree(R"({"method":"ensure-logon"})");
  EXPECT_EQ(raise(XP_WEBVIEW_REQUEST, nullptr), 0);
  EXPECT_EQ(raise(XP_WEBVIEW_REQUEST, list.get()), 0);
  for (const uint32_t event : {0U, 10U, 20U, 23U, 30U, 39U, 41U})
    EXPECT_EQ(raise(event, request.get()), 0) << event;
  EXPECT_EQ(vane_.calls.size(), 0U);
  EXPECT_EQ(cv_setup_native(nullptr, nullptr), 0);
}

}  // namespace
