// Threads, the events they wait for, and the queue of the main one.

#include "xp/service/thread.h"

#include "tests/support/objects.h"
#include "tests/support/threads.h"
#include "xp/service/event.h"
#include "xp/service/main_queue.h"
#include "xp/service/time.h"

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <functional>
#include <semaphore>
#include <vector>

namespace {

using xp::ref;

using thread_test = leak_check;
using event_test = leak_check;
using main_queue_test = leak_check;

// What a thread is to run, with whatever it needs at hand.
using body = std::function<int64_t()>;

ref thread_of(body &run) {
  const auto call = [](void *ignored, void *argument) -> int64_t {
    return ignored == nullptr ? (*static_cast<body *>(argument))() : -1;
  };
  return ref::adopt(xp_thr_new(call, &run));
}

TEST_F(thread_test, a_detached_thread_outlives_its_object) {
  // These outlive the threads, whose end nobody here sees.
  static std::counting_semaphore<> go(0);
  static body wait = []() -> int64_t {
    go.acquire();
    return 0;
  };
  ref detached = thread_of(wait);
  expect({xp_thr_detach(detached.get()), xp_thr_detach(detached.get()), xp_thr_join(detached.get(), nullptr)},
         "0 -1 -1");
  // Neither detached nor joined: the release detaches.
  ref forgotten = thread_of(wait);
  detached = nullptr;
  forgotten = nullptr;
  go.release(2);
}

TEST_F(thread_test, a_thread_that_joins_itself_is_detached) {
  std::atomic<xp_obj *> self = nullptr;
  std::binary_semaphore done{0};
  body join_myself = [&]() -> int64_t {
    while (self == nullptr)
      sched_yield();
    expect({xp_thr_join(self, nullptr), xp_thr_join(self, nullptr)}, "0 -1");
    done.release();
    return 0;
  };
  ref thread = thread_of(join_myself);
  self = thread.get();
  done.acquire();
  EXPECT_EQ(xp_thr_join(thread.get(), nullptr), -1);
  while (xp_refs(thread.get()) > 1)
    sched_yield();
}

TEST_F(thread_test, one_of_many_joiners_wins_and_gets_the_result) {
  for (int round = 0; round < 50; ++round) {
    body answer = [round] { return round; };
    ref thread = thread_of(answer);
    std::atomic<int> won = 0;
    run_on_threads(4, [&](int index) {
      int64_t result = -1;
      if (index == 0) {
        won += xp_thr_detach(thread.get()) == 0;
      } else if (xp_thr_join(thread.get(), &result) == 0) {
        EXPECT_EQ(result, round);
        ++won;
      }
    });
    expect({won.load(), xp_thr_join(thread.get(), nullptr), xp_thr_detach(thread.get())}, "1 -1 -1");
    // A detached thread may still read its argument.
    while (xp_refs(thread.get()) > 1)
      sched_yield();
  }
}

TEST_F(thread_test, a_thread_knows_itself_and_has_a_stack_of_one_mebibyte) {
  ref self;
  size_t size = 0;
  body look = [&]() -> int64_t {
    self = ref::adopt(xp_thr_self());
    xp_thr_yield();
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &size);
    return 42 + pthread_attr_destroy(&attributes);
  };
  ref thread = thread_of(look);
  int64_t result = 0;
  expect({xp_thr_join(thread.get(), &result), result, xp_thr_self()}, "0 42 null");
  EXPECT_EQ(self.get(), thread.get());
  // The C library may set a little aside for thread-local memory.
  EXPECT_GE(size, size_t{1} << 20);
  EXPECT_LT(size, (size_t{1} << 20) + 65536);
  expect({xp_thr_new(nullptr, nullptr), xp_thr_join(nullptr, nullptr), xp_thr_detach(nullptr)}, "null -1 -1");
}

TEST_F(thread_test, sleeping_and_waiting_take_their_time) {
  const int64_t start = xp_tick_now();
  xp_thr_sleep(-1);
  xp_thr_sleep(0);
  EXPECT_LT(xp_tick_since(start), 1000 * XP_TICKS_PER_MS);
  xp_thr_sleep(20);
  EXPECT_GE(xp_tick_since(start), 20 * XP_TICKS_PER_MS);
  EXPECT_EQ(xp_event_wait(ref::adopt(xp_event_new(0)).get(), 30), 0);
  EXPECT_GE(xp_tick_since(start), 50 * XP_TICKS_PER_MS);
  EXPECT_LT(xp_tick_since(start), 10000 * XP_TICKS_PER_MS);
}

TEST_F(event_test, one_setting_lets_one_waiter_through_or_all) {
  ref once = ref::adopt(xp_event_new(XP_EVENT_SET));  // settings do not add up
  expect({xp_event_set(once.get()), xp_event_wait(once.get(), -1), xp_event_wait(once.get(), 0)}, "0 1 0");
  ref manual = ref::adopt(xp_event_new(XP_EVENT_MANUAL));
  expect({xp_event_wait(manual.get(), 0), xp_event_set(manual.get()), xp_event_wait(manual.get(), 0),
          xp_event_wait(manual.get(), 1000), xp_event_reset(manual.get()), xp_event_wait(manual.get(), 0)},
         "0 0 1 1 0 0");
  expect({xp_event_set(nullptr), xp_event_reset(nullptr), xp_event_wait(nullptr, 0)}, "-1 -1 -1");

  const int64_t start = xp_tick_now();
  std::atomic<int> through = 0;
  run_on_threads(5, [&](int index) {
    if (index == 0) {
      xp_thr_sleep(10);
      xp_event_set(manual.get());
    } else {
      through += xp_event_wait(manual.get(), 60000);
    }
  });
  EXPECT_EQ(through, 4);
  EXPECT_LT(xp_tick_since(start), 30000 * XP_TICKS_PER_MS) << "one was woken by its limit";
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

// What the posted work wrote, in the order in which it ran.
std::vector<int> ran;

int32_t post(xp_work work, int value) {
  return xp_main_post(work, reinterpret_cast<void *>(static_cast<intptr_t>(value)));
}

void note(void *argument) {
  ran.push_back(static_cast<int>(reinterpret_cast<intptr_t>(argument)));
}

TEST_F(main_queue_test, work_runs_in_order_and_new_work_waits_for_the_next_pump) {
  const auto note_and_post = [](void *argument) {
    note(argument);
    post(note, 100);
  };
  ran.clear();
  expect({xp_main_pump(), post(note_and_post, 1), post(note, 2), xp_main_pump(), ran.size(), xp_main_pump(),
          xp_main_post(nullptr, nullptr)},
         "0 0 0 2 2 1 -1");
  EXPECT_EQ(ran, (std::vector<int>{1, 2, 100}));

  // Work that pumps keeps the order.
  const auto note_and_pump = [](void *argument) {
    note(argument);
    EXPECT_EQ(xp_main_pump(), 2);
  };
  ran.clear();
  expect({post(note_and_pump, 1), post(note, 2), post(note, 3), xp_main_pump(), xp_main_pump()}, "0 0 0 1 0");
  EXPECT_EQ(ran, (std::vector<int>{1, 2, 3}));
}

TEST_F(main_queue_test, each_threads_work_runs_in_its_order) {
  constexpr int each = 2000;
  ran.clear();
  std::atomic<int> running = 4;
  std::thread posters([&running] {
    run_on_threads(4, [&running](int index) {
      for (int i = 0; i < each; ++i)
        post(note, index * each + i);
      --running;
    });
  });
  while (running > 0)
    xp_main_pump();
  posters.join();
  xp_main_pump();
  ASSERT_EQ(ran.size(), 4u * each);
  std::vector<int> next = {0, each, 2 * each, 3 * each};
  for (int value : ran)
    ASSERT_EQ(value, next[static_cast<size_t>(value / each)]++);
}

int32_t poster_result = 0;

TEST_F(main_queue_test, a_poster_takes_the_work_over) {
  ran.clear();
  poster_result = 0;
  xp_main_setposter([](xp_work work, void *argument) -> int32_t {
    if (poster_result == 0) work(argument);
    return poster_result;
  });
  EXPECT_EQ(post(note, 5), poster_result);
  poster_result = -1;
  EXPECT_EQ(post(note, 6), poster_result);
  xp_main_setposter(nullptr);
  EXPECT_EQ(xp_main_pump(), 0);
  EXPECT_EQ(ran, std::vector<int>{5});
}

}  // namespace
