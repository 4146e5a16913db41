#include "setup/vane.h"
#include "tests/support/leak_check.h"
#include "xp/object/code.h"

#include <string.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

namespace {

class framework : public leak_check {};

TEST_F(framework, calls_the_library_and_answers_for_what_it_lacks) {
  const std::unique_ptr<cv_setup_vane> vane = cv_setup_loadvane(FAKE_VANE_PATH);
  forgive();  // a loaded library stays

  uint16_t version = 0;
  EXPECT_EQ(vane->VaneVersion(&version, 0), 0);
  EXPECT_EQ(version, 0x6213);
  uint32_t options = 0;
  uint32_t allowed = 0;
  EXPECT_EQ(vane->VaneGetOptions(0, &options, &allowed), 0);
  EXPECT_EQ(options, 0x800080U);
  EXPECT_EQ(allowed, 0x40000000U);
  char data[256];
  EXPECT_EQ(vane->VaneGetPrefData(0, xp_code("murl"), 0, sizeof data, data, 0), 0);
  EXPECT_STREQ(data, "murl");
  uint64_t status = 0;
  EXPECT_EQ(vane->VaneGetSessionStatus(0, 0, 0, &status), -300);
  EXPECT_EQ(status, 0x100000000U);

  EXPECT_EQ(vane->VaneSetOptions(0, 1, 1), CV_VANE_ABSENT);
  EXPECT_EQ(vane->VaneDisplayServerPage(0, xp_code("mine")), CV_VANE_ABSENT);
  EXPECT_EQ(vane->VaneLogon(0, 0, 0), CV_VANE_ABSENT);
  EXPECT_EQ(vane->VaneAuthenticate(0), CV_VANE_ABSENT);
}

TEST_F(framework, is_absent_without_a_library) {
  for (const char *path : {"/nowhere/Vane", "", static_cast<const char *>(nullptr)}) {
    const std::unique_ptr<cv_setup_vane> vane = cv_setup_loadvane(path);
    uint16_t version = 7;
    EXPECT_EQ(vane->VaneVersion(&version, 0), CV_VANE_ABSENT);
    EXPECT_EQ(version, 7);
    EXPECT_EQ(vane->VaneLogon(0, 0, 0), CV_VANE_ABSENT);
  }
}

// The installed framework is found below CORVANE_ROOT (see main environment) by whoever asks first.
TEST_F(framework, installed_one_is_loaded_once_from_any_thread) {
  std::atomic<int> right = 0;
  std::vector<std::thread> threads;
  std::vector<cv_setup_vane *> seen(8);
  for (cv_setup_vane *&slot : seen)
    threads.emplace_back([&] {
      slot = cv_setup_getvane();
      uint16_t version = 0;
      if (slot->VaneVersion(&version, 0) == 0 && version == 0x6213) ++right;
    });
  for (std::thread &thread : threads)
    thread.join();
  forgive();
  EXPECT_EQ(right, 8);
  for (cv_setup_vane *vane : seen)
    EXPECT_EQ(vane, seen[0]);
}

}  // namespace
