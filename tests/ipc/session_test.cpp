#include "ipc/session.h"

#include "ipc/clock.h"
#include "ipc/session_impl.h"
#include "tests/ipc/records.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

namespace {

// A root folder of its own, in which the helper can be put.
class session_test : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    char folder[] = "/tmp/corvane-session-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    root_ = folder;
    setenv("CORVANE_ROOT", folder, 1);
    ipc_session_forget();
  }
  void TearDown() override {
    unsetenv("CORVANE_ROOT");
    ipc_session_forget();
    std::filesystem::remove_all(root_);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
    leak_check::TearDown();
  }

  std::string helper(const std::string &script) const {
    std::filesystem::path folder = root_ / "Library/Corvane/Corvane.app/Contents/SharedSupport";
    std::filesystem::create_directories(folder);
    std::string path = folder / "quorn";
    std::filesystem::remove(path);
    std::ofstream(path) << "#!/bin/sh\n" << script << "\n";
    chmod(path.c_str(), 0755);
    return path;
  }

  std::filesystem::path root_;
};

TEST_F(session_test, parsing) {
  struct {
    const char *text;
    uint32_t number;
  } const cases[] = {{"100005", 100005},
                     {"0", 0},
                     {"12\n", 12},
                     {"", 0},
                     {"x1", 0},
                     {"-5", 0},
                     {"4294967294", 0xFFFFFFFE},
                     {"4294967295", 0},
                     {"4294967296", 0},
                     {"99999999999999999999", 0}};
  for (const auto &c : cases) {
    EXPECT_EQ(ipc_session_parse(c.text, static_cast<int64_t>(strlen(c.text))), c.number) << c.text;
  }
  EXPECT_EQ(ipc_session_parse("123", 2), 12u);
  EXPECT_EQ(ipc_session_parse("123", -1), 0u);
}

TEST_F(session_test, specs_that_need_no_look_up) {
  EXPECT_EQ(ipc_session_id(-1), 0u);
  EXPECT_EQ(ipc_session_id(-2), 0xFFFFFFFEu);
  EXPECT_EQ(ipc_session_id(-10), 0xFFFFFFF6u);
  EXPECT_EQ(ipc_session_id(ipc_session_explicit(0x000186A5)), 0xA5860100u);
}

TEST_F(session_test, login_session_is_the_kernels) {
  std::ifstream file("/proc/self/sessionid");
  uint32_t number = 0;
  file >> number;
  if (number == 0xFFFFFFFF) number = 0;
  EXPECT_EQ(ipc_session(), __builtin_bswap32(number));
}

TEST_F(session_test, the_first_number_found_is_kept) {
  helper("echo >>\"$CORVANE_ROOT/runs\"; printf 100005 >&3");
  EXPECT_EQ(ipc_session_id(-4), 0xA5860100u);
  EXPECT_EQ(ipc_session_id(-4), 0xA5860100u);
  EXPECT_EQ(ipc_session_id(-3), 0xA5860100u);
  EXPECT_EQ(std::filesystem::file_size(root_ / "runs"), 1u);
  ipc_session_forget();
  uint32_t login = ipc_session_id(-3);
  EXPECT_EQ(ipc_session_id(-4), login);
}

TEST_F(session_test, helpers) {
  constexpr int32_t limit = 400;
  struct {
    const char *script;
    uint32_t number;
  } const cases[] = {
      {"printf '77\\n' >&3", 77},
      {"printf rubbish >&3", 0},
      {"printf 11111111111111111111111111111111111111111 >&3", 0},
      {"exit 3", 0},
      {"printf 5 >/dev/null", 0},
      {"sleep 20", 0},
      // The number is there, but its helper does not end.
      {"printf 6 >&3; sleep 20 3>&-", 6},
      {"test \"$#\" = 0 && test \"$(ls /proc/self/fd | wc -l)\" -le 5 && printf 8 >&3", 8},
  };
  for (const auto &c : cases) {
    std::string path = helper(c.script);
    uint32_t start = ipc_time_msecs();
    EXPECT_EQ(ipc_session_helper(path.c_str(), limit), c.number) << c.script;
    EXPECT_LT(ipc_time_diff(start, ipc_time_msecs()), 1500u) << c.script;
  }
  EXPECT_EQ(ipc_session_helper((root_ / "none").c_str(), limit), 0u);
}

TEST_F(session_test, first_use_by_several_threads) {
  helper("printf 9 >&3");
  std::vector<std::thread> threads;
  threads.reserve(8);
  std::atomic<int> right = 0;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      ipc_time_msecs();
      right += ipc_session_id(-4) == 0x09000000u;
    });
  }
  for (std::thread &t : threads)
    t.join();
  EXPECT_EQ(right, 8);
}

TEST(clock_test, differences_wrap) {
  EXPECT_EQ(ipc_time_diff(0xFFFFFFF0, 0x10), 32u);
  EXPECT_EQ(static_cast<int32_t>(ipc_time_diff(0x10, 0xFFFFFFF0)), -32);
}

TEST(clock_test, time_passes) {
  uint32_t start = ipc_time_msecs();
  ipc_sleep(-5);
  EXPECT_FALSE(ipc_time_expired(start, 20));
  EXPECT_FALSE(ipc_time_expired(start, -1));
  ipc_sleep(30);
  EXPECT_GE(ipc_time_diff(start, ipc_time_msecs()), 30u);
  EXPECT_TRUE(ipc_time_expired(start, 20));
  EXPECT_FALSE(ipc_time_expired(start, -1));
  EXPECT_TRUE(ipc_time_expired(start, -2));
}

}  // namespace
