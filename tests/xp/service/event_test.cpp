#include "xp/service/event.h"

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "tests/support/threads.h"
#include "xp/service/thread.h"
#include "xp/service/time.h"

#include <atomic>

namespace {

using xp::ref;

using event_test = leak_check;

TEST_F(event_test, one_setting_lets_one_waiter_through_or_all) {
  ref once = ref::adopt(xp_event_new(XP_EVENT_SET));  // settings do not add up
  expect({xp_event_set(once.get()), xp_event_wait(once.get(), -1), xp_event_wait(once.get(), 0)}, "0 1 0");
  ref manual = ref::adopt(xp_event_new(XP_EVENT_MANUAL));
  expect({xp_event_wait(manual.get(), 0), xp_event_set(manual.get()), xp_event_wait(manual.get(), 0),
          xp_event_wait(manual.get(), 1000), xp_event_reset(manual.get()), xp_event_wait(manual.get(), 0)},
         "0 0 1 1 0 0");
  expect({xp_event_set(nullptr), xp_event_reset(nullptr), xp_event_wait(nullptr, 0)}, "-1 -1 -1");
}

TEST_F(event_test, time_runs_out) {
  ref e = ref::adopt(xp_event_new(0));
  const int64_t start = xp_tick_now();
  EXPECT_EQ(xp_event_wait(e.get(), 30), 0);
  EXPECT_GE(xp_tick_since(start), 30 * XP_TICKS_PER_MS);
  EXPECT_LT(xp_tick_since(start), 10000 * XP_TICKS_PER_MS);
}

// Threads hand a plain number round: each waits for its own event and sets the next one's.
TEST_F(event_test, what_was_done_before_the_setting_is_seen) {
  constexpr int threads = 4;
  constexpr int rounds = 2000;
  ref events[threads];
  for (ref &e : events)
    e = ref::adopt(xp_event_new(0));
  int64_t number = 0;
  xp_event_set(events[0].get());
  run_on_threads(threads, [&](int index) {
    for (int i = 0; i < rounds; ++i) {
      ASSERT_EQ(xp_event_wait(events[index].get(), -1), 1);
      ++number;
      xp_event_set(events[(index + 1) % threads].get());
    }
  });
  EXPECT_EQ(number, threads * rounds);
}

TEST_F(event_test, a_manual_event_lets_all_waiters_through) {
  ref e = ref::adopt(xp_event_new(XP_EVENT_MANUAL));
  std::atomic<int> through = 0;
  run_on_threads(5, [&](int index) {
    if (index == 0) {
      xp_thr_sleep(10);
      xp_event_set(e.get());
    } else if (xp_event_wait(e.get(), 60000) == 1) {
      ++through;
    }
  });
  EXPECT_EQ(through, 4);
}

int64_t find_self(void * /*ignored*/, void *argument) {
  ref self = ref::adopt(xp_thr_self());
  auto **found = static_cast<xp_obj **>(argument);
  *found = self.get();
  xp_thr_yield();
  return 1;
}

TEST_F(event_test, a_thread_knows_itself_and_sleeps) {
  EXPECT_EQ(xp_thr_self(), nullptr);
  xp_obj *found = nullptr;
  ref thread = ref::adopt(xp_thr_new(find_self, &found));
  EXPECT_EQ(xp_thr_join(thread.get(), nullptr), 0);
  EXPECT_EQ(found, thread.get());
  const int64_t start = xp_tick_now();
  xp_thr_sleep(-1);
  xp_thr_sleep(0);
  EXPECT_LT(xp_tick_since(start), 1000 * XP_TICKS_PER_MS);
  xp_thr_sleep(20);
  EXPECT_GE(xp_tick_since(start), 20 * XP_TICKS_PER_MS);
}

}  // namespace
