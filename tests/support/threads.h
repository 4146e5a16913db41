// Runs one function on several threads at once.

#ifndef TESTS_SUPPORT_THREADS_H
#define TESTS_SUPPORT_THREADS_H

#include <barrier>
#include <thread>
#include <vector>

// Calls body(i) for i in 0 to count - 1, each on a thread of its own; all start together, and the call
// returns when the last one has ended.
template <typename Body>
void run_on_threads(int count, Body body) {
  std::barrier start(count);
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&start, &body, i] {
      start.arrive_and_wait();
      body(i);
    });
  }
  for (auto &thread : threads)
    thread.join();
}

#endif
