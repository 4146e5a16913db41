#include "ipc/session.h"

#include "ipc/clock.h"
#include "ipc/framework.h"
#include "ipc/session_impl.h"
#include "tests/ipc/records.h"
#include "tests/support/objects.h"
#include "tests/support/temp_folder.h"
#include "tests/support/threads.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <atomic>

namespace {

// A root folder of its own, in which the helper can be put.
class session_test : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    setenv("CORVANE_ROOT", root_.path().c_str(), 1);
    ipc_session_forget();
  }
  void TearDown() override {
    unsetenv("CORVANE_ROOT");
    ipc_session_forget();
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
    leak_check::TearDown();
  }

  std::string helper(const std::string &script) const {
    const char *name = "Library/Corvane/Corvane.app/Contents/SharedSupport/quorn";
    const std::string path = root_.write(name, "#!/bin/sh\n" + script + "\n");
    chmod(path.c_str(), 0755);
    return path;
  }

  temp_folder root_;
};

TEST_F(session_test, parsing) {
  const std::string texts[] = {"100005", "0",          "12\n",       "",           "x1",
                               "-5",     "4294967294", "4294967295", "4294967296", "99999999999999999999"};
  std::string numbers;
  for (const std::string &text : texts)
    numbers += std::to_string(ipc_session_parse(text.data(), std::ssize(text))) + " ";
  EXPECT_EQ(numbers, "100005 0 12 0 0 0 4294967294 0 0 0 ");
  EXPECT_EQ(ipc_session_parse("123", 2), 12u);
  EXPECT_EQ(ipc_session_parse("123", -1), 0u);
  // Numbers that need no look-up.
  EXPECT_EQ(ipc_session_id(-1), 0u);
  EXPECT_EQ(ipc_session_id(-2), 0xFFFFFFFEu);
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
  EXPECT_EQ(std::filesystem::file_size(root_.path() / "runs"), 1u);
  ipc_session_forget();
  uint32_t login = ipc_session_id(-3);
  EXPECT_EQ(ipc_session_id(-4), login);
}

TEST_F(session_test, helpers) {
  constexpr int32_t far_away = 30000, met = 1500;
  const struct {
    const char *script;
    uint32_t number;
    int32_t limit;
  } cases[] = {
      {"printf '77\\n' >&3", 77, far_away},
      {"printf rubbish >&3", 0, far_away},
      {"printf 11111111111111111111111111111111111111111 >&3", 0, far_away},
      {"exit 3", 0, far_away},
      {"printf 5 >/dev/null", 0, far_away},
      {"test \"$#\" = 0 && test \"$(ls /proc/self/fd | wc -l)\" -le 5 && printf 8 >&3", 8, far_away},
      {"sleep 20", 0, met},
      // The number is there, but its helper does not end.
      {"printf 6 >&3; sleep 20 3>&-", 6, met},
  };
  const int inheritable = fcntl(2, F_DUPFD, 4);
  for (const auto &c : cases) {
    const std::string path = helper(c.script);
    const uint32_t start = ipc_time_msecs();
    EXPECT_EQ(ipc_session_helper(path.c_str(), c.limit), c.number) << c.script;
    const uint32_t took = ipc_time_diff(start, ipc_time_msecs());
    EXPECT_GE(took, c.limit == met ? uint32_t{met} : 0) << c.script;
    EXPECT_LT(took, 15000u) << c.script;
  }
  close(inheritable);
  EXPECT_EQ(ipc_session_helper((root_.path() / "none").c_str(), far_away), 0u);
}

TEST(clock_test, time_passes_and_differences_wrap) {
  EXPECT_EQ(ipc_time_diff(0xFFFFFFF0, 0x10), 32u);
  EXPECT_EQ(static_cast<int32_t>(ipc_time_diff(0x10, 0xFFFFFFF0)), -32);
  uint32_t start = ipc_time_msecs();
  ipc_sleep(-5);
  expect({ipc_time_expired(start, 20), ipc_time_expired(start, -1)}, "0 0");
  ipc_sleep(30);
  EXPECT_GE(ipc_time_diff(start, ipc_time_msecs()), 30u);
  expect({ipc_time_expired(start, 20), ipc_time_expired(start, -1), ipc_time_expired(start, -2)}, "1 0 1");
}

TEST_F(session_test, functions_of_frameworks) {
  // A framework whose code is that of a library that is there anyway.
  Dl_info library = {};
  ASSERT_NE(dladdr(reinterpret_cast<void *>(&getppid), &library), 0);
  root_.write("Library/Sum.framework/Info.plist", "");
  std::filesystem::create_symlink(std::filesystem::canonical(library.dli_fname),
                                  root_.path() / "Library/Sum.framework/Sum");
  void *function = GetFunctionFromFramework("/Library/Sum.framework", "getppid");
  ASSERT_NE(function, nullptr);
  EXPECT_EQ(reinterpret_cast<pid_t (*)()>(function)(), getppid());
  EXPECT_EQ(GetFunctionFromFramework("/Library/Sum.framework/Sum", "getppid"), function);
  EXPECT_EQ(GetFunctionFromFramework("/Library/Sum.framework", "no such function"), nullptr);
  for (const char *path :
       {"/Library/None.framework", "/Library/Sum.framework/Info.plist", "/Library", "", "Sum"})
    EXPECT_EQ(GetFunctionFromFramework(path, "getppid"), nullptr) << path;
  EXPECT_EQ(GetFunctionFromFramework(nullptr, "getppid"), nullptr);
}

}  // namespace
