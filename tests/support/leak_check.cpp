#include "tests/support/leak_check.h"

#include "xp/object/boolean.h"
#include "xp/object/number.h"
#include "xp/object/type.h"

#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

namespace {

// The open descriptors with what they refer to, the one that reads the list left out.
std::map<int, std::string> open_descriptors() {
  std::map<int, std::string> found;
  std::error_code error;
  for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
    std::string target = std::filesystem::read_symlink(entry.path(), error).string();
    if (!error && target.find("/proc/") != 0) found.emplace(atoi(entry.path().filename().c_str()), target);
  }
  return found;
}

void warm_up_shared_objects() {
  for (int64_t i = 0; i < 10; ++i)
    xp_release(xp_number_new(i));
  for (int64_t i = 0; i < 2; ++i)
    xp_release(xp_boolean_new(i));
}

// Detached threads may still hold their last object for a moment after the test has its answer.
int64_t settled_objects(int64_t wanted) {
  constexpr timespec pause = {.tv_sec = 0, .tv_nsec = 1000000};
  int64_t count = xp::live_objects();
  for (int i = 0; i < 1000 && count != wanted; ++i) {
    nanosleep(&pause, nullptr);
    count = xp::live_objects();
  }
  return count;
}

}  // namespace

void leak_check::SetUp() {
  warm_up_shared_objects();
  forgive();
}

void leak_check::forgive() {
  objects_ = xp::live_objects();
  descriptors_ = open_descriptors();
}

void leak_check::TearDown() {
  EXPECT_EQ(settled_objects(objects_), objects_) << "runtime objects outlive the test";
  for (const auto &[number, target] : open_descriptors()) {
    auto before = descriptors_.find(number);
    bool known = before != descriptors_.end() && before->second == target;
    EXPECT_TRUE(known) << "descriptor " << number << " (" << target << ") outlives the test";
  }
}
