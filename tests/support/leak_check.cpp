#include "tests/support/leak_check.h"

#include "tests/support/wait.h"
#include "xp/object/boolean.h"
#include "xp/object/number.h"
#include "xp/object/type.h"

#include <stdlib.h>

#include <filesystem>
#include <system_error>

namespace {

// The open descriptors with what they refer to, the one that reads the list left out.
std::map<int, std::string> open_descriptors() {
  std::map<int, std::string> found;
  std::error_code error;
  for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
    std::string target = std::filesystem::read_symlink(entry.path(), error).string();
    if (!error && !target.starts_with("/proc/")) found.emplace(atoi(entry.path().filename().c_str()), target);
  }
  return found;
}

}  // namespace

void leak_check::warm_up() {
  for (int64_t i = 0; i < 10; ++i)
    xp_release(xp_number_new(i));
  for (int64_t i = 0; i < 2; ++i)
    xp_release(xp_boolean_new(i));
}

void leak_check::SetUp() {
  warm_up();
  forgive();
}

void leak_check::forgive() {
  objects_ = xp::live_objects();
  descriptors_ = open_descriptors();
}

std::map<int, std::string> leak_check::leaked_descriptors() const {
  std::map<int, std::string> leaked = open_descriptors();
  std::erase_if(leaked, [this](const auto &entry) {
    auto before = descriptors_.find(entry.first);
    return before != descriptors_.end() && before->second == entry.second;
  });
  return leaked;
}

// Detached threads may hold their last object or descriptor for a moment after the test has its answer.
void leak_check::TearDown() {
  wait_until([this] { return xp::live_objects() == objects_ && leaked_descriptors().empty(); },
             std::chrono::seconds(10));
  EXPECT_EQ(xp::live_objects(), objects_) << "runtime objects outlive the test";
  for (const auto &[number, target] : leaked_descriptors()) {
    ADD_FAILURE() << "descriptor " << number << " (" << target << ") outlives the test";
  }
}
