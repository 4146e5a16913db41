// Waiting for what another thread or process is about to do.

#ifndef TESTS_SUPPORT_WAIT_H
#define TESTS_SUPPORT_WAIT_H

#include <chrono>
#include <thread>

// Looks every millisecond whether the condition holds; false when it does not within the limit.
template <typename Condition>
bool wait_until(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(60)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

#endif
