// While one of these lives, the process has a second thread. The C++ library counts the references of a
// shared_ptr without atomic operations as long as there is only one; this system always has several.

#ifndef BENCH_BUSY_PROCESS_H
#define BENCH_BUSY_PROCESS_H

#include <atomic>
#include <thread>

namespace bench {

class busy_process {
public:
  busy_process() : thread_([this] { done_.wait(false); }) {}
  ~busy_process() {
    done_ = true;
    done_.notify_one();
    thread_.join();
  }

private:
  std::atomic<bool> done_ = false;
  std::thread thread_;
};

}  // namespace bench

#endif
