// One thread for a whole fuzzing run, which does one thing after the other.

#ifndef FUZZ_BACKGROUND_H
#define FUZZ_BACKGROUND_H

#include <functional>
#include <semaphore>
#include <thread>
#include <utility>

class background {
public:
  background() = default;
  background(const background &) = delete;
  background &operator=(const background &) = delete;
  ~background() {
    start(nullptr);
    thread_.join();
  }

  // To be followed by a join before the next start.
  void start(std::function<void()> work) {
    work_ = std::move(work);
    busy_ = true;
    begin_.release();
  }
  void join() {
    if (std::exchange(busy_, false)) done_.acquire();
  }

private:
  void run() {
    for (begin_.acquire(); work_; begin_.acquire()) {
      work_();
      done_.release();
    }
  }

  std::function<void()> work_;
  bool busy_ = false;
  std::binary_semaphore begin_{0}, done_{0};
  std::thread thread_{[this] { run(); }};
};

#endif
