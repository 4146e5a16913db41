// The main function of every test program, and what the sanitizers are told.

#include <gtest/gtest.h>
#include <stdio.h>

// Tests ask for impossible amounts of memory: a failed allocation answers null, as the C library's does.
extern "C" const char *__asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" const char *__tsan_default_options() {
  return "allocator_may_return_null=1";
}

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  // Only a shuffled run has a seed to repeat it with.
  if (GTEST_FLAG_GET(shuffle)) printf("random seed: %d\n", testing::UnitTest::GetInstance()->random_seed());
  return RUN_ALL_TESTS();
}
