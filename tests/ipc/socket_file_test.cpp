#include "ipc/socket_file.h"

#include "ipc/channel.h"
#include "ipc/channel_impl.h"
#include "ipc/connection.h"
#include "ipc/errors.h"
#include "ipc/mbuf.h"
#include "ipc/session.h"
#include "tests/ipc/records.h"
#include "tests/support/temp_folder.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <random>

namespace {

constexpr uint32_t code = xp_code("HXca");

// A session of its own for each test.
class socket_file_test : public leak_check {
protected:
  void SetUp() override {
    plain_ = std::random_device()() | 0x80000000;
    session_ = static_cast<uint32_t>(ipc_session_explicit(plain_));
    path_ = ipcc_path_of(code, session_).text;
    leak_check::SetUp();
  }
  void TearDown() override {
    leak_check::TearDown();
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(path_)));
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  xp::ref bound() const {
    xp::ref c = xp::ref::adopt(ipc_com_alloc());
    EXPECT_EQ(ipc_com_bind(c.get(), code, session_), 0);
    return c;
  }
  int32_t connect() const {
    xp::ref c = xp::ref::adopt(ipc_com_alloc());
    return ipc_com_connect(c.get(), code, session_);
  }
  static mode_t mode_of(const std::string &path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }

  uint32_t plain_, session_;
  std::string path_;
};

TEST_F(socket_file_test, names) {
  const char *mine = ipcc_directory();
  ipcc_use_directory(nullptr);
  EXPECT_STREQ(ipcc_path_of(code, static_cast<uint32_t>(ipc_session_explicit(0x000186A5))).text,
               "/var/tmp/com.brindle.pipes/48586361-000186A5");
  EXPECT_STREQ(ipcc_path_of(xp_code("\x01z~!"), static_cast<uint32_t>(ipc_session_explicit(0xFFFFFFFF))).text,
               "/var/tmp/com.brindle.pipes/017A7E21-FFFFFFFF");
  ipcc_use_directory(mine);
  sockaddr_un address;
  EXPECT_TRUE(ipcc_address_of(std::string(IPCC_PATH_LIMIT, 'x').c_str(), &address));
  EXPECT_FALSE(ipcc_address_of(std::string(IPCC_PATH_LIMIT + 1, 'x').c_str(), &address));
}

TEST_F(socket_file_test, modes_under_a_wide_and_a_narrow_umask) {
  for (mode_t mask : {mode_t{0}, mode_t{0777}}) {
    mode_t old = umask(mask);
    xp::ref c = bound();
    EXPECT_EQ(umask(old), mask) << "the umask is left alone";
    EXPECT_EQ(mode_of(path_), geteuid() == 0 ? 0222u : 0200u);
    EXPECT_EQ(ipc_com_exists(code, session_), 0);
    EXPECT_EQ(connect(), 0);
  }
  EXPECT_EQ(ipc_com_exists(code, session_), -1);
  EXPECT_EQ(connect(), IpcErrSystem);
  if (geteuid() == 0) {
    EXPECT_EQ(mode_of(ipcc_directory()), 01733u);
  }
}

TEST_F(socket_file_test, binding_twice_replaces_the_file) {
  xp::ref first = bound();
  struct stat before, after;
  ASSERT_EQ(lstat(path_.c_str(), &before), 0);
  xp::ref second = bound();
  ASSERT_EQ(lstat(path_.c_str(), &after), 0);
  EXPECT_NE(before.st_ino, after.st_ino);
  // The first server's end leaves its successor's file alone.
  first = nullptr;
  EXPECT_EQ(connect(), 0);
}

TEST_F(socket_file_test, something_else_under_the_name) {
  { std::ofstream(path_) << "a file"; }
  EXPECT_EQ(ipc_com_exists(code, session_), -1);
  bound();
  ASSERT_EQ(mkdir(path_.c_str(), 0700), 0);
  xp::ref c = xp::ref::adopt(ipc_com_alloc());
  EXPECT_EQ(ipc_com_bind(c.get(), code, session_), IpcErrSystem);
  EXPECT_EQ(mode_of(path_), 0700u);
  std::filesystem::remove(path_);
  // A link is replaced itself, and what it points to keeps its mode.
  const temp_folder folder;
  const std::string target = folder.write("target", "precious");
  chmod(target.c_str(), 0600);
  ASSERT_EQ(symlink(target.c_str(), path_.c_str()), 0);
  bound();
  EXPECT_EQ(mode_of(target), 0600u);
}

TEST_F(socket_file_test, unlink_with_wildcards) {
  auto file = [&](uint32_t c, uint32_t s) { return std::string(ipcc_path_of(c, s).text); };
  auto other = static_cast<uint32_t>(ipc_session_explicit(plain_ ^ 1));
  const uint32_t second = std::random_device()() | 1;
  auto make_all = [&] {
    for (const std::string &path : {file(code, session_), file(second, session_), file(second, other)}) {
      std::ofstream(path) << "";
    }
  };
  auto left = [&] {
    return std::filesystem::exists(file(code, session_)) * 4 +
           std::filesystem::exists(file(second, session_)) * 2 +
           std::filesystem::exists(file(second, other)) * 1;
  };
  const uint32_t any = static_cast<uint32_t>(IPC_SESSION_ANY);
  const struct {
    uint32_t code, session;
    int left;
  } steps[] = {{code, session_, 3}, {0, session_, 1}, {second, any, 4}};
  for (const auto &step : steps) {
    make_all();
    EXPECT_EQ(ipc_com_unlink(step.code, step.session), 0);
    EXPECT_EQ(left(), step.left);
  }
  EXPECT_EQ(ipc_unlink(code, static_cast<int32_t>(session_)), 0);
  EXPECT_EQ(left(), 0);
}

TEST_F(socket_file_test, another_user_is_refused_by_a_users_server) {
  if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
  xp::ref c = bound();
  chmod(path_.c_str(), 0200);
  pid_t child = fork();
  if (child == 0) {
    bool refused = setuid(12345) == 0 && connect() == IpcErrPermission;
    _exit(refused ? 0 : 1);
  }
  int status;
  TEMP_FAILURE_RETRY(waitpid(child, &status, 0));
  EXPECT_EQ(status, 0);
}

TEST_F(socket_file_test, clients_come_and_go_in_one_group) {
  xp::ref server = bound();
  constexpr int count = 20;  // more than a short list holds
  xp::ref clients[count];
  xp::ref buffer = xp::ref::adopt(ipc_mbuf_alloc(100));
  auto recv = [&](xp_obj **from = nullptr) { return ipc_com_recv(server.get(), buffer.get(), from); };
  for (xp::ref &client : clients) {
    client = xp::ref::adopt(ipc_com_alloc());
    ASSERT_EQ(ipc_com_connect(client.get(), code, session_), 0);
    EXPECT_EQ(recv(), 0);
  }
  // Every client that has sent something is served once before any is served twice.
  xp::ref sent = xp::ref::adopt(ipc_mbuf_alloc(100));
  for (int round = 0; round < 2; ++round) {
    for (xp::ref &client : clients) {
      std::string bytes = lying("msgd", "data", 0);
      ipc_mbuf_set(sent.get(), bytes.data(), 12);
      EXPECT_EQ(ipc_com_send(client.get(), sent.get()), 12);
    }
  }
  xp_obj *order[2 * count];
  for (xp_obj *&from : order) {
    EXPECT_EQ(recv(&from), 12);
    xp_release(from);
  }
  EXPECT_TRUE(std::equal(order, order + count, order + count));
  std::sort(order, order + count);
  EXPECT_EQ(std::unique(order, order + count), order + count);
  uint32_t uid = 12345;
  EXPECT_EQ(ipc_com_peer(clients[0].get(), &uid), 0);
  EXPECT_EQ(uid, geteuid());
  clients[1] = nullptr;
  EXPECT_EQ(recv(), 0);
  EXPECT_EQ(recv(), IpcErrWouldBlock);
}

TEST_F(socket_file_test, without_descriptors_clients_are_turned_away_and_nothing_spins) {
  xp::ref server = bound();
  xp::ref client = xp::ref::adopt(ipc_com_alloc());
  ASSERT_EQ(ipc_com_connect(client.get(), code, session_), 0);
  int lowest = dup(0);
  close(lowest);
  rlimit limit = {};
  getrlimit(RLIMIT_NOFILE, &limit);
  rlimit none = {.rlim_cur = static_cast<rlim_t>(lowest), .rlim_max = limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  xp::ref buffer = xp::ref::adopt(ipc_mbuf_alloc(100));
  EXPECT_EQ(ipc_com_recv(server.get(), buffer.get(), nullptr), 0);
  EXPECT_EQ(ipc_com_recv(server.get(), buffer.get(), nullptr), IpcErrWouldBlock);
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(ipc_com_recv(client.get(), buffer.get(), nullptr), 0) << "the client was told";
  xp::ref next = xp::ref::adopt(ipc_com_alloc());
  EXPECT_EQ(ipc_com_connect(next.get(), code, session_), 0);
  EXPECT_EQ(ipc_com_recv(server.get(), buffer.get(), nullptr), 0);
}

}  // namespace
