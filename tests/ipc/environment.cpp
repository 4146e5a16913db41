// What surrounds the tests of this folder: a directory of their own for socket files and, when
// CORVANE_TEST_SIGNALS is set, a signal to every thread each millisecond, which interrupts whatever waits.

#include "ipc/socket_file.h"
#include "tests/support/temp_folder.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

namespace {

class surroundings : public testing::Environment {
public:
  void SetUp() override {
    folder_.emplace();
    chmod(folder_->path().c_str(), 0711);  // other users may connect
    directory_ = folder_->path() / "pipes";
    ASSERT_LE(directory_.size() + 1 + IPCC_NAME_LENGTH, IPCC_PATH_KEPT);
    ipcc_use_directory(directory_.c_str());
    int prepared = ipcc_directory_prepare(directory_.c_str());
    ASSERT_GE(prepared, 0);
    close(prepared);
    if (getenv("CORVANE_TEST_SIGNALS") == nullptr) return;
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    tasks_ = opendir("/proc/self/task");
    interrupter_ = std::thread([this] { interrupt_all(); });
  }
  void TearDown() override {
    stop_ = true;
    if (interrupter_.joinable()) interrupter_.join();
    if (tasks_ != nullptr) closedir(tasks_);
    ipcc_use_directory(nullptr);
    folder_.reset();
  }

private:
  void interrupt_all() {
    const pid_t mine = gettid();
    for (; !stop_; std::this_thread::sleep_for(std::chrono::milliseconds(1))) {
      rewinddir(tasks_);
      while (const dirent *task = readdir(tasks_)) {
        const pid_t thread = atoi(task->d_name);
        if (thread > 0 && thread != mine) tgkill(getpid(), thread, SIGALRM);
      }
    }
  }

  std::optional<temp_folder> folder_;
  std::string directory_;
  DIR *tasks_ = nullptr;
  std::thread interrupter_;
  std::atomic<bool> stop_ = false;
};

[[maybe_unused]] const testing::Environment *const registered =
    testing::AddGlobalTestEnvironment(new surroundings);

}  // namespace
