#include "xp/service/thread.h"

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "tests/support/threads.h"
#include "xp/service/main_queue.h"

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <semaphore>
#include <vector>

namespace {

using xp::ref;

using thread_test = leak_check;
using main_queue_test = leak_check;

int64_t wait_for_semaphore(void * /*ignored*/, void *argument) {
  static_cast<std::counting_semaphore<> *>(argument)->acquire();
  return 0;
}

int64_t answer(void *ignored, void *argument) {
  return ignored == nullptr ? *static_cast<int64_t *>(argument) * 2 : -1;
}

TEST_F(thread_test, joining_gives_what_the_thread_returned) {
  int64_t argument = 21;
  ref thread = ref::adopt(xp_thr_new(answer, &argument));
  ASSERT_TRUE(thread);
  int64_t result = 0;
  expect({xp_thr_join(thread.get(), &result), result, xp_thr_join(thread.get(), &result),
          xp_thr_detach(thread.get())},
         "0 42 -1 -1");
}

TEST_F(thread_test, a_detached_thread_outlives_its_object) {
  static std::counting_semaphore<> go(0);  // outlives the threads, whose end nobody here sees
  ref detached = ref::adopt(xp_thr_new(wait_for_semaphore, &go));
  EXPECT_EQ(xp_thr_detach(detached.get()), 0);
  EXPECT_EQ(xp_thr_detach(detached.get()), -1);
  EXPECT_EQ(xp_thr_join(detached.get(), nullptr), -1);
  // Neither detached nor joined: the release detaches.
  ref forgotten = ref::adopt(xp_thr_new(wait_for_semaphore, &go));
  detached = nullptr;
  forgotten = nullptr;
  go.release(2);
}

struct self_join {
  std::atomic<xp_obj *> thread = nullptr;
  int32_t result = 7;
  int32_t second = 7;
  std::binary_semaphore done{0};
};

int64_t join_myself(void * /*ignored*/, void *argument) {
  auto *test = static_cast<self_join *>(argument);
  while (test->thread == nullptr)
    sched_yield();
  test->result = xp_thr_join(test->thread, nullptr);
  test->second = xp_thr_join(test->thread, nullptr);
  test->done.release();
  return 0;
}

TEST_F(thread_test, a_thread_that_joins_itself_is_detached) {
  self_join test;
  ref thread = ref::adopt(xp_thr_new(join_myself, &test));
  test.thread = thread.get();
  test.done.acquire();
  EXPECT_EQ(test.result, 0);
  EXPECT_EQ(test.second, -1);
  EXPECT_EQ(xp_thr_join(thread.get(), nullptr), -1);
  while (xp_refs(thread.get()) > 1)
    sched_yield();
}

TEST_F(thread_test, one_of_many_joiners_wins) {
  for (int round = 0; round < 50; ++round) {
    int64_t argument = round;
    ref thread = ref::adopt(xp_thr_new(answer, &argument));
    std::atomic<int> won = 0;
    run_on_threads(4, [&](int index) {
      int64_t result = -1;
      if (index == 0 ? xp_thr_detach(thread.get()) == 0 : xp_thr_join(thread.get(), &result) == 0)
        won.fetch_add(1);
    });
    EXPECT_EQ(won, 1);
    // A detached thread may still read its argument.
    while (xp_refs(thread.get()) > 1)
      sched_yield();
  }
}

int64_t stack_room(void * /*ignored*/, void *argument) {
  pthread_attr_t attributes;
  pthread_getattr_np(pthread_self(), &attributes);
  size_t size = 0;
  pthread_attr_getstacksize(&attributes, &size);
  pthread_attr_destroy(&attributes);
  *static_cast<size_t *>(argument) = size;
  return 0;
}

TEST_F(thread_test, the_stack_is_one_mebibyte) {
  size_t size = 0;
  ref thread = ref::adopt(xp_thr_new(stack_room, &size));
  EXPECT_EQ(xp_thr_join(thread.get(), nullptr), 0);
  // The C library may set a little aside for thread-local memory.
  EXPECT_GE(size, size_t{1} << 20);
  EXPECT_LT(size, (size_t{1} << 20) + 65536);
  expect({xp_thr_new(nullptr, nullptr), xp_thr_join(nullptr, nullptr), xp_thr_detach(nullptr)}, "null -1 -1");
}

// What the posted work wrote, in the order in which it ran.
std::vector<int> ran;

void note(void *argument) {
  ran.push_back(static_cast<int>(reinterpret_cast<intptr_t>(argument)));
}

void *number(int value) {
  return reinterpret_cast<void *>(static_cast<intptr_t>(value));
}

void note_and_post(void *argument) {
  note(argument);
  xp_main_post(note, number(100));
}

void note_and_pump(void *argument) {
  note(argument);
  EXPECT_EQ(xp_main_pump(), 2);
}

TEST_F(main_queue_test, work_runs_in_order_and_new_work_waits_for_the_next_pump) {
  ran.clear();
  expect({xp_main_pump(), xp_main_post(note_and_post, number(1)), xp_main_post(note, number(2)),
          xp_main_pump(), ran.size(), xp_main_pump(), xp_main_post(nullptr, nullptr)},
         "0 0 0 2 2 1 -1");
  EXPECT_EQ(ran, (std::vector<int>{1, 2, 100}));

  // Work that pumps keeps the order.
  ran.clear();
  xp_main_post(note_and_pump, number(1));
  xp_main_post(note, number(2));
  xp_main_post(note, number(3));
  expect({xp_main_pump(), xp_main_pump()}, "1 0");
  EXPECT_EQ(ran, (std::vector<int>{1, 2, 3}));
}

TEST_F(main_queue_test, each_threads_work_runs_in_its_order) {
  constexpr int each = 2000;
  ran.clear();
  std::atomic<int> running = 4;
  std::thread posters([&running] {
    run_on_threads(4, [&running](int index) {
      for (int i = 0; i < each; ++i)
        xp_main_post(note, number(index * each + i));
      running.fetch_sub(1);
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

int32_t post_at_once(xp_work work, void *argument) {
  if (poster_result == 0) work(argument);
  return poster_result;
}

TEST_F(main_queue_test, a_poster_takes_the_work_over) {
  ran.clear();
  xp_main_setposter(post_at_once);
  poster_result = 0;
  EXPECT_EQ(xp_main_post(note, number(5)), 0);
  poster_result = -1;
  EXPECT_EQ(xp_main_post(note, number(6)), -1);
  xp_main_setposter(nullptr);
  EXPECT_EQ(xp_main_pump(), 0);
  EXPECT_EQ(ran, std::vector<int>{5});
}

}  // namespace
