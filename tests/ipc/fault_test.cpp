#include "ipc/channel.h"
#include "ipc/clock.h"
#include "ipc/connection.h"
#include "ipc/errors.h"
#include "ipc/mbuf.h"
#include "ipc/session.h"
#include "ipc/session_impl.h"
#include "ipc/socket_file.h"
#include "tests/ipc/faults.h"
#include "tests/ipc/records.h"
#include "tests/support/full_size.h"
#include "tests/support/temp_folder.h"
#include "tests/support/threads.h"
#include "tests/support/wait.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <atomic>
#include <functional>
#include <thread>
#include <tuple>
#include <vector>

namespace {

constexpr uint32_t endpoint = xp_code("FALT");

// Seconds on a clock that no test moves.
double now() {
  timespec time = {};
  clock_gettime(CLOCK_BOOTTIME, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

class fault_test : public leak_check {
protected:
  void SetUp() override {
    ipc_time_msecs();
    leak_check::SetUp();
    session_ = new_session();
    file_ = ipcc_path_of(endpoint, static_cast<uint32_t>(session_)).text;
    old_mask_ = umask(027);
    getrlimit(RLIMIT_NOFILE, &limit_);
  }
  void TearDown() override {
    mend();
    server_ = nullptr;
    setrlimit(RLIMIT_NOFILE, &limit_);
    EXPECT_EQ(umask(old_mask_), 027u);
    EXPECT_EQ(access(file_.c_str(), F_OK), -1) << "no file is left behind";
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
    leak_check::TearDown();
  }

  int32_t serve(uint32_t mode = IPC_MODE_THREAD, void *delay = nullptr) {
    server_ = xp::ref::adopt(ipc_alloc(endpoint, session_));
    return ipc_receive(server_.get(), echo, delay, mode, 5000);
  }
  int32_t connect(int32_t msecs = 3000) const {
    xp::ref c = xp::ref::adopt(ipc_alloc(7, session_));
    return ipc_connect(c.get(), endpoint, 0, msecs);
  }
  // The answer over a connection of its own, or the code.
  std::string ask(const std::string &text = "text", int32_t msecs = 3000, int32_t limit = 10000) const {
    xp::ref c = xp::ref::adopt(ipc_alloc(7, session_));
    int32_t code = ipc_connect(c.get(), endpoint, 0, msecs);
    return code == 0 ? ask(c, text, limit) : std::to_string(code);
  }
  static std::string ask(const xp::ref &c, const std::string &text, int32_t limit = 10000) {
    ipc_settimeout(c.get(), limit);
    return ::ask(c, text);
  }

  // Runs the body in a process of its own, which ends with its result.
  template <typename Body>
  static pid_t process(Body body) {
    pid_t child = fork();
    if (child != 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    _exit(body());
  }
  static int end_of(pid_t child) {
    int status = -1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
  }
  // A server in a process of its own.
  pid_t serve_elsewhere() {
    pid_t child = process([&] {
      int32_t error = serve(IPC_MODE_POLL);
      while (error == 0)
        ipc_poll(server_.get());
      return 1;
    });
    EXPECT_EQ(connect(), 0);
    return child;
  }
  // Leaves room for `more` new descriptors.
  void leave_descriptors(int more) const {
    int lowest = fcntl(0, F_DUPFD_CLOEXEC, 0);
    close(lowest);
    rlimit few = {.rlim_cur = static_cast<rlim_t>(lowest + more), .rlim_max = limit_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
  }
  std::string helper(const std::string &script) const {
    const std::string path = root_.write("Library/Corvane/Corvane.app/Contents/SharedSupport/quorn",
                                         "#!/bin/sh\n" + script + "\n");
    chmod(path.c_str(), 0755);
    return path;
  }
  std::string number(const std::string &path) const {
    return std::to_string(ipc_session_helper(path.c_str(), 4000));
  }

  int32_t session_ = 0;
  std::string file_;
  mode_t old_mask_ = 0;
  rlimit limit_ = {};
  temp_folder root_;
  xp::ref server_;
};

TEST_F(fault_test, what_passes_is_not_seen) {
  const std::string path = helper("printf 100005 >&3"), large(250000, 'x');
  const std::pair<calls, int> faults[] = {
      {calls::accept, EINTR},   {calls::connect, EINTR}, {calls::poll, EINTR},
      {calls::read, EINTR},     {calls::select, EINTR},  {calls::send, EINTR},
      {calls::waitpid, EINTR},  {calls::accept, EAGAIN}, {calls::read, EAGAIN},
      {calls::connect, EAGAIN}, {calls::send, EAGAIN},   {calls::nanosleep, EINTR},
      {calls::accept, EMFILE},  {calls::accept, ENOMEM}, {calls::accept, ECONNABORTED},
  };
  for (const auto &[call, error] : faults) {
    for (int spared : {0, 1}) {
      SCOPED_TRACE(testing::Message()
                   << static_cast<int>(call) << " fails with " << error << " after " << spared);
      fail(call, error, 3, spared);
      EXPECT_EQ(serve(), 0);
      // A client for whom there is no descriptor is turned away; its next try gets in.
      for (int i = 0; i < 3 && error == EMFILE; ++i)
        ask();
      ipc_sleep(1);
      EXPECT_TRUE(ask(large) == large);
      EXPECT_EQ(ask(), "text");
      EXPECT_EQ(number(path), "100005");
      const int met = mend();
      EXPECT_GT(met, spared == 0 ? 0 : -1);
    }
  }
}

TEST_F(fault_test, what_fails_has_its_code_and_leaves_nothing) {
  enum : int { to_bind, to_connect, to_call, to_answer };
  const struct {
    int what;
    calls call;
    int error;
    const char *code;
  } faults[] = {
      {to_bind, calls::socket, EMFILE, "-2566"},
      {to_bind, calls::socket, ENOMEM, "-2562"},
      {to_bind, calls::fchmod, EPERM, "-2566"},
      {to_bind, calls::bind, EAGAIN, "-2561"},
      {to_bind, calls::bind, ENOMEM, "-2562"},
      {to_bind, calls::bind, ENOSPC, "-2566"},
      {to_bind, calls::bind, EROFS, "-2566"},
      {to_bind, calls::bind, EACCES, "-2566"},
      {to_bind, calls::listen, ENOMEM, "-2562"},
      {to_bind, calls::listen, EADDRINUSE, "-2566"},
      {to_bind, calls::eventfd, EMFILE, "-2562"},
      {to_connect, calls::socket, EMFILE, "-2566"},
      {to_connect, calls::connect, ETIMEDOUT, "-2564"},
      {to_connect, calls::connect, EPERM, "-2569"},
      {to_connect, calls::connect, EACCES, "-2569"},
      {to_connect, calls::connect, ECONNREFUSED, "-2566"},
      {to_connect, calls::eventfd, ENFILE, "-2562"},
      {to_call, calls::send, EPIPE, "-2563"},
      {to_call, calls::send, ETIMEDOUT, "-2563"},
      {to_call, calls::send, ECONNRESET, "-2566"},
      {to_answer, calls::read, EPIPE, ""},
      {to_answer, calls::read, EIO, ""},
  };
  for (const auto &f : faults) {
    SCOPED_TRACE(testing::Message() << static_cast<int>(f.call) << " fails with " << f.error);
    if (f.what == to_bind) {
      fail(f.call, f.error);
      EXPECT_EQ(std::to_string(serve()), f.code);
      EXPECT_EQ(access(file_.c_str(), F_OK), -1);
    } else {
      EXPECT_EQ(serve(), 0);
      xp::ref c = xp::ref::adopt(ipc_alloc(7, session_));
      if (f.what == to_connect) {
        fail(f.call, f.error, 1000);
        EXPECT_EQ(ask("", 0), f.code);
      } else {
        EXPECT_EQ(ipc_connect(c.get(), endpoint, 0, 0), 0);
        // The answer's reader may be this client or the server: each drops the connection.
        fail(f.call, f.error);
        EXPECT_EQ(ask(c, "lost"), f.code);
      }
    }
    EXPECT_GT(mend(), 0) << "the fault was met";
    server_ = nullptr;
    EXPECT_EQ(serve(), 0);
    EXPECT_EQ(ask(), "text");
  }
}

TEST_F(fault_test, a_server_without_a_thread_is_polled_by_hand) {
  fail(calls::thread, EAGAIN);
  EXPECT_EQ(serve(), IpcErrNoThread);
  std::string answer;
  std::thread client([&] { answer = ask(); });
  while (ipc_poll(server_.get()) != 0 || ipc_poll(server_.get()) != 0) {
  }
  client.join();
  EXPECT_EQ(answer, "text");
}

TEST_F(fault_test, file_systems_that_refuse) {
  if (geteuid() != 0) GTEST_SKIP() << "needs to mount";
  const struct {
    unsigned long flags;
    const char *options;
    uid_t user;
  } cases[] = {{0, "nr_inodes=2", 0}, {MS_RDONLY, "", 0}, {0, "mode=0755", 12345}};
  for (const auto &c : cases) {
    pid_t child = process([&] {
      if (unshare(CLONE_NEWNS) != 0 || mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
          mount("none", root_.path().c_str(), "tmpfs", c.flags, c.options) != 0)
        return 77;
      const std::string directory = root_.path() / "pipes";
      ipcc_use_directory(directory.c_str());
      if (c.user != 0 && setuid(c.user) != 0) return 1;
      if (serve(IPC_MODE_POLL) != IpcErrSystem) return 2;
      if (ipc_exists(endpoint, session_) != -1 || umask(0) != 027) return 3;
      return 0;
    });
    const int status = end_of(child);
    if (status == 77 << 8) GTEST_SKIP() << "cannot mount here";
    EXPECT_EQ(status, 0) << c.options;
  }
}

// Nothing there is followed or changed; only a directory of another user's becomes root's own.
TEST_F(fault_test, something_else_in_the_directorys_place) {
  const char *mine = ipcc_directory();
  const std::string place = root_.path() / "pipes", other = root_.path() / "other";
  mkdir(other.c_str(), 0700);
  const uid_t owner = geteuid() == 0 ? 12345 : geteuid();
  ASSERT_EQ(chown(other.c_str(), owner, getegid()), 0);
  const auto look = [](const std::string &path) {
    struct stat s = {};
    EXPECT_EQ(lstat(path.c_str(), &s), 0);
    return std::tuple(s.st_ino, s.st_uid, s.st_mode & 07777, S_ISDIR(s.st_mode));
  };
  const std::function<void()> makers[] = {
      [&] { ASSERT_EQ(symlink(other.c_str(), place.c_str()), 0); },
      [&] { ASSERT_EQ(symlink("missing", place.c_str()), 0); },
      [&] { ASSERT_EQ(mkfifo(place.c_str(), 0600), 0); },
      [&] { ASSERT_EQ(mknod(place.c_str(), S_IFREG | 0600, 0), 0); },
      [&] { ASSERT_EQ(mknod(place.c_str(), S_IFSOCK | 0600, 0), 0); },
  };
  for (const auto &make : makers) {
    make();
    const auto before = look(place), others = look(other);
    ipcc_use_directory(place.c_str());
    EXPECT_EQ(serve(), IpcErrSystem);
    EXPECT_EQ(connect(0), IpcErrSystem);
    EXPECT_EQ(ipc_exists(endpoint, session_), -1);
    EXPECT_EQ(ipc_unlink(0, IPC_SESSION_ANY), 0);
    ipcc_use_directory(mine);
    EXPECT_EQ(look(place), before);
    EXPECT_EQ(look(other), others);
    EXPECT_TRUE(std::filesystem::is_empty(other));
    unlink(place.c_str());
  }
  const auto found = look(other);
  close(ipcc_directory_prepare(other.c_str()));
  const mode_t mode = owner == geteuid() ? 0700 : 01733;
  EXPECT_EQ(look(other), std::tuple(std::get<0>(found), geteuid(), mode, true));
}

TEST_F(fault_test, descriptors_run_out) {
  const std::string path = helper("printf 5 >&3");
  ASSERT_EQ(serve(), 0);
  for (int room = 0; room <= 8; ++room) {
    leave_descriptors(room);
    const double start = now();
    // Without a descriptor to take it with, the server leaves a client waiting until that gives up.
    const std::string answer = ask("text", 0, 1000);
    const uint32_t session = ipc_session_helper(path.c_str(), 4000);
    xp::ref second = xp::ref::adopt(ipc_alloc(xp_code("2nd!"), session_));
    const int32_t bound =
        second ? ipc_receive(second.get(), echo, nullptr, IPC_MODE_POLL, 0) : IpcErrNoMemory;
    second = nullptr;
    EXPECT_LT(now() - start, 10) << "nothing hangs: the helper's limit and the connect's";
    setrlimit(RLIMIT_NOFILE, &limit_);
    // Either it works, or there is a code; with a few descriptors it works, with all of them again.
    EXPECT_TRUE(answer == "text" || (room < 8 && (answer.empty() || answer[0] == '-'))) << room << answer;
    // The helper has the same limit, and a shell has its own way with that.
    EXPECT_TRUE(session == 5 || session == 0) << room;
    EXPECT_TRUE(bound == 0 || (bound < 0 && room < 8)) << room << " " << bound;
    EXPECT_EQ(ask(), "text") << room;
  }
}

// The pauses are for a full socket and half a message alone.
TEST_F(fault_test, an_ordinary_call_never_sleeps) {
  ASSERT_EQ(serve(), 0);
  xp::ref kept = xp::ref::adopt(ipc_alloc(7, session_));
  ASSERT_EQ(ipc_connect(kept.get(), endpoint, 0, 3000), 0);
  fail(calls::nanosleep, EINVAL, 1000000);
  fail(calls::poll, EINVAL, 1000000);
  const std::string text(200, 'x');
  for (int i = 0; i < 1000; ++i)
    ASSERT_EQ(ask(kept, text), text);
  for (int i = 0; i < 100; ++i)
    ASSERT_EQ(ask(text), text);
  EXPECT_EQ(mend(), 0);
}

// The tries are counted: how long they take is this machine's affair.
TEST_F(fault_test, a_full_queue_is_asked_again_soon_and_not_all_the_time) {
  ASSERT_EQ(serve(IPC_MODE_POLL), 0);
  std::vector<xp::ref> waiting;
  int32_t result = 0;
  while (result == 0 && waiting.size() < 20) {
    waiting.push_back(xp::ref::adopt(ipc_com_alloc()));
    result = ipc_com_connect(waiting.back().get(), endpoint, static_cast<uint32_t>(session_));
  }
  EXPECT_EQ(result, IpcErrSystem);
  EXPECT_EQ(waiting.size(), 7u) << "a backlog of 5 holds six, the seventh is refused";
  fail(calls::connect, EAGAIN, 1000000);
  EXPECT_EQ(connect(0), IpcErrSystem);
  const int tries = mend();
  EXPECT_GT(tries, 20) << "not each 200 ms";
  EXPECT_LT(tries, 100) << "not each millisecond";
}

// A client waits that cannot be accepted and not even be turned away.
TEST_F(fault_test, nothing_spins_while_descriptors_are_missing) {
  for (int error : {ENFILE, ENOMEM}) {
    ASSERT_EQ(serve(), 0);
    fail(calls::accept, error, 1000000);
    const int32_t session = session_;
    std::string answer;
    std::thread client([&] { answer = ask(); });
    rusage before = {}, after = {};
    getrusage(RUSAGE_SELF, &before);
    ipc_sleep(1000);
    getrusage(RUSAGE_SELF, &after);
    auto used = [](const timeval &a, const timeval &b) {
      return static_cast<double>(b.tv_sec - a.tv_sec) + static_cast<double>(b.tv_usec - a.tv_usec) / 1e6;
    };
    const double seconds = used(before.ru_utime, after.ru_utime) + used(before.ru_stime, after.ru_stime);
    EXPECT_LT(seconds, sanitized ? 0.3 : 0.05) << session;
    EXPECT_GT(mend(), 10);
    client.join();
    EXPECT_EQ(answer, "text") << "served when that is over";
  }
}

TEST_F(fault_test, descriptors_of_1024_and_above) {
  rlimit many = {.rlim_cur = 1200, .rlim_max = limit_.rlim_max};
  if (limit_.rlim_max < 1200) GTEST_SKIP() << "needs descriptors above 1024";
  setrlimit(RLIMIT_NOFILE, &many);
  ASSERT_EQ(serve(IPC_MODE_POLL), 0);
  socket_pair pair;
  const int last = fcntl(pair.peer(), F_DUPFD_CLOEXEC, 1023),
            above = fcntl(pair.peer(), F_DUPFD_CLOEXEC, 1024);
  xp::ref channel = xp::ref::adopt(ipc_com_alloc());
  EXPECT_EQ(ipc_com_connect_to(channel.get(), 0, 0, above), IpcErrSystem);
  close(above);
  channel = channel_over(last);
  EXPECT_EQ(ipc_com_recv(channel.get(), buffer_of("").get(), nullptr), IpcErrWouldBlock);
  std::vector<int> fillers;
  do {
    fillers.push_back(fcntl(0, F_DUPFD_CLOEXEC, 0));
  } while (fillers.back() >= 0 && fillers.back() < 1022);
  const double start = now();
  EXPECT_EQ(connect(20000), IpcErrSystem) << "at once";
  xp::ref second = xp::ref::adopt(ipc_alloc(xp_code("2nd!"), session_));
  EXPECT_EQ(ipc_receive(second.get(), echo, nullptr, IPC_MODE_THREAD, 0), IpcErrSystem);
  EXPECT_EQ(ipc_exists(xp_code("2nd!"), session_), -1);
  EXPECT_LT(now() - start, 3);
  // The one that tried to connect, then one that is connected: both are turned away.
  sockaddr_un address = {};
  ASSERT_TRUE(ipcc_address_of(file_.c_str(), &address));
  int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  EXPECT_GE(client, 1024);
  EXPECT_EQ(::connect(client, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
  EXPECT_EQ(ipc_poll(server_.get()), 0);
  char byte;
  EXPECT_EQ(read(client, &byte, 1), 0) << "closed at once";
  close(client);
  for (int filler : fillers)
    close(filler);
}

TEST_F(fault_test, stopped_and_continued) {
  int32_t delay = 300;
  ASSERT_EQ(serve(IPC_MODE_THREAD, &delay), 0);
  pid_t client = process([&] { return ask() == "text" ? 0 : 1; });
  ipc_sleep(100);
  kill(client, SIGSTOP);
  ipc_sleep(400);
  kill(client, SIGCONT);
  EXPECT_EQ(end_of(client), 0) << "the client that was stopped has its answer";
  server_ = nullptr;

  pid_t server = serve_elsewhere();
  kill(server, SIGSTOP);
  const double start = now();
  std::thread later([&] {
    ipc_sleep(300);
    kill(server, SIGCONT);
  });
  EXPECT_EQ(ask(), "text");
  EXPECT_GT(now() - start, 0.25);
  later.join();
  kill(server, SIGKILL);
  EXPECT_EQ(end_of(server), SIGKILL);
  EXPECT_EQ(ipc_unlink(endpoint, session_), 0);
}

TEST_F(fault_test, the_server_dies_and_comes_back) {
  // A socket file behind which nobody listens.
  ASSERT_EQ(mknod(file_.c_str(), S_IFSOCK | 0600, 0), 0);
  const double start = now();
  EXPECT_EQ(connect(100), IpcErrSystem);
  EXPECT_GE(now() - start, 0.3);
  EXPECT_LT(now() - start, 2);
  pid_t server = serve_elsewhere();
  xp::ref c = xp::ref::adopt(ipc_alloc(7, session_));
  ASSERT_EQ(ipc_connect(c.get(), endpoint, 0, 1000), 0);
  EXPECT_EQ(ask(c, "before"), "before");
  kill(server, SIGKILL);
  EXPECT_EQ(end_of(server), SIGKILL);
  EXPECT_EQ(ask(c, "after"), "-2563");
  EXPECT_EQ(ipc_exists(endpoint, session_), 0) << "a stale file";
  EXPECT_EQ(ipc_check(session_, endpoint, 0, 0), IpcErrSystem);
  ASSERT_EQ(serve(), 0) << "replaced";
  EXPECT_EQ(ask(), "text");
}

// Two seconds are two seconds, whatever the clocks do meanwhile. A plain sleep of as many tells how late this
// machine is.
TEST_F(fault_test, clocks_that_jump_do_not_move_deadlines) {
  constexpr int64_t hour = 3600000;
  constexpr int32_t limit = 2000, margin = 200;
  std::filesystem::create_directories(root_.path() / "run/com.brindle.services");
  setenv("CORVANE_ROOT", root_.path().c_str(), 1);
  const struct {
    int64_t wall;
    bool wraps;
  } cases[] = {{hour, false}, {-hour, true}, {-hour, false}, {hour, true}};
  for (int i = 0; i < at_full_size(4, 2); ++i) {
    const int64_t monotonic = cases[i].wraps ? int64_t{0xFFFFFFFF} - ipc_time_msecs() - 1000 : 0;
    move_clocks(0, monotonic);
    const uint32_t first = ipc_time_msecs();
    const xp::ref nobody[] = {xp::ref::adopt(ipc_alloc(7, session_)), xp::ref::adopt(ipc_alloc(7, session_))};
    socket_pair silent, deaf;
    const xp::ref c = xp::ref::adopt(ipc_alloc(7, session_)), channel = xp::ref::adopt(ipc_com_alloc()),
                  large = request_of(xp_code("LATE"), std::string(250000, 'x'));
    ASSERT_EQ(ipc_connect_to(c.get(), silent.take(), 0, 0, limit), 0);
    ASSERT_EQ(ipc_com_connect_to(channel.get(), 0, 0, deaf.take()), 0);
    ipc_msg_setcom(large.get(), channel.get());
    const std::function<void()> waits[] = {
        [&] { std::this_thread::sleep_for(std::chrono::milliseconds(limit)); },
        [&] { EXPECT_EQ(ask(c, "text", limit), std::to_string(IpcErrTimeout)); },
        [&] { EXPECT_EQ(ipc_msg_selfsend(large.get(), limit), IpcErrWouldBlock); },
        [&] { EXPECT_EQ(ipc_connect(nobody[0].get(), endpoint, 0, limit - margin), IpcErrSystem); },
        [&] { EXPECT_EQ(ipc_connect_mach(nobody[1].get(), 0, 0, limit - margin), IpcErrTimeout); },
        [&] {
          ipc_sleep(500);
          move_clocks(cases[i].wall, monotonic);
        }};
    double took[std::size(waits)];
    run_on_threads(std::size(waits), [&](int wait) {
      const double start = now();
      waits[wait]();
      took[wait] = now() - start;
    });
    for (size_t wait = 1; wait < std::size(waits) - 1; ++wait) {
      EXPECT_GE(took[wait], 2.0) << wait;
      EXPECT_LT(took[wait], 2.4 + (took[0] - 2.0)) << wait;
    }
    EXPECT_EQ(ipc_time_msecs() < first, cases[i].wraps) << "the wrap was met";
    mend();
  }
  unsetenv("CORVANE_ROOT");
}

TEST_F(fault_test, helpers_while_calls_run) {
  // What a child that knows nothing of this library finds open.
  const std::string list = root_.path() / "list";
  auto inherited = [&] {
    EXPECT_EQ(system(("ls /proc/self/fd >" + list).c_str()), 0);
    std::ifstream file(list);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  const std::string before = inherited();
  ASSERT_EQ(serve(), 0);
  std::atomic<bool> stop = false;
  std::atomic<int> right = 0, wrong = 0;
  std::thread callers([&] {
    run_on_threads(4, [&](int) {
      while (!stop)
        ++(ask() == "text" ? right : wrong);
    });
  });
  // The list's own descriptor is 4.
  const std::string path = helper("test \"$(echo $(ls /proc/self/fd))\" = '0 1 2 3 4' && printf 8 >&3");
  for (int i = 0; i < at_full_size(200, 20); ++i) {
    EXPECT_EQ(number(path), "8") << "nothing but 0 to 3 is passed on";
    if (i % 5 == 0) {
      EXPECT_EQ(inherited(), before) << "a stranger's child gets none of ours";
    }
  }
  struct sigaction ignored = {}, old = {};
  ignored.sa_handler = SIG_IGN;
  sigaction(SIGCHLD, &ignored, &old);
  EXPECT_EQ(number(path), "8") << "with children that nobody can wait for";
  sigaction(SIGCHLD, &old, nullptr);
  fail(calls::spawn, ENOMEM);
  EXPECT_EQ(number(path), "0");
  // The real limit, by the clock that keeps it.
  helper("exec sleep 20");
  setenv("CORVANE_ROOT", root_.path().c_str(), 1);
  ipc_session_forget();
  const uint32_t start = ipc_time_msecs();
  EXPECT_EQ(ipc_session_id(IPC_SESSION_HELPER), 0u);
  const uint32_t took = ipc_time_diff(start, ipc_time_msecs());
  EXPECT_GE(took, 4000u);
  EXPECT_LT(took, 4500u);
  ipc_session_forget();
  unsetenv("CORVANE_ROOT");
  stop = true;
  callers.join();
  EXPECT_GT(right, 20);
  EXPECT_EQ(wrong, 0);
}

}  // namespace
