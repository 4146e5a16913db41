// The fixture that finds leaks must find them: here it runs by hand around code that leaks.

#include "tests/support/leak_check.h"

#include "xp/object/type.h"

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <unistd.h>

namespace {

class by_hand : public leak_check {
public:
  void TestBody() override {}
  using leak_check::SetUp;
  using leak_check::TearDown;
};

by_hand *fixture;  // the failure macros reach nothing local

TEST(leak_check_test, finds_objects_and_descriptors_that_outlive_the_test) {
  by_hand local;
  fixture = &local;

  local.SetUp();
  int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  EXPECT_NONFATAL_FAILURE(fixture->TearDown(), "(/dev/null) outlives the test");
  close(descriptor);
  local.TearDown();

  if (xp::live_objects() < 0) GTEST_SKIP() << "this build does not track objects";
  local.SetUp();
  xp_obj *obj = xp_new(xp_code("smpl"), 0);
  EXPECT_NONFATAL_FAILURE(fixture->TearDown(), "runtime objects outlive the test");
  xp_release(obj);
  local.TearDown();
}

}  // namespace
