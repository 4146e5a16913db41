// Everything that may happen to a server and its clients, one thing after the other in random order, for half
// an hour at full size: nothing is lost and nothing grows. CORVANE_SOAK_SECONDS sets another length.

#include "ipc/clock.h"
#include "ipc/connection.h"
#include "ipc/errors.h"
#include "ipc/session.h"
#include "ipc/session_impl.h"
#include "ipc/socket_file.h"
#include "tests/ipc/faults.h"
#include "tests/ipc/records.h"
#include "tests/support/full_size.h"
#include "tests/support/temp_folder.h"
#include "tests/support/threads.h"
#include "tests/support/wait.h"

#include <malloc.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <random>
#include <vector>

namespace {

using steady = std::chrono::steady_clock;

constexpr uint32_t endpoint = xp_code("SOAK");
constexpr uint32_t seed = 21;

double resident_pages() {
  double all, pages = 0;
  std::ifstream("/proc/self/statm") >> all >> pages;
  return pages;
}

auto open_descriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// The middle value in a part of the samples, given in tenths.
double middle(const std::vector<double> &samples, size_t from, size_t to) {
  const auto at = [&](size_t tenth) {
    return samples.begin() + static_cast<ptrdiff_t>(samples.size() * tenth / 10);
  };
  std::vector<double> values(at(from), at(to));
  std::nth_element(values.begin(), values.begin() + std::ssize(values) / 2, values.end());
  return values[values.size() / 2];
}

class soak_test : public leak_check {
protected:
  void SetUp() override {
    // One heap: otherwise each new thread may open one more, which fills up in its own time.
    mallopt(M_ARENA_MAX, 1);
    leak_check::SetUp();
    session_ = new_session();
    helper_ = root_.write("quorn", "#!/bin/sh\nprintf 5 >&3\n");
    chmod(helper_.c_str(), 0755);
    serve();
  }
  void TearDown() override {
    mend();
    kept_ = server_ = nullptr;
    leak_check::TearDown();
  }

  size_t below(size_t limit) { return random_() % limit; }
  std::string bytes(size_t length) {
    std::string made(length, 0);
    std::generate(made.begin(), made.end(), [this] { return static_cast<char>(random_() >> 8); });
    return made;
  }

  void serve() {
    server_ = xp::ref::adopt(ipc_alloc(endpoint, session_));
    EXPECT_EQ(ipc_receive(server_.get(), echo, nullptr, IPC_MODE_THREAD, 2000), 0);
    kept_ = connected();
  }
  xp::ref connected(int32_t *code = nullptr) const {
    xp::ref c = xp::ref::adopt(ipc_alloc(7, session_));
    const int32_t result = ipc_connect(c.get(), endpoint, 0, 5000);
    if (code != nullptr) *code = result;
    ipc_settimeout(c.get(), 30000);
    return c;
  }
  static bool answers(const xp::ref &c, const std::string &question) { return ask(c, question) == question; }

  // A client of the server's that is no client of ours sends these bytes and goes.
  void stranger(const std::string &sent) const {
    sockaddr_un address;
    EXPECT_TRUE(ipcc_address_of(ipcc_path_of(endpoint, static_cast<uint32_t>(session_)).text, &address));
    const int wire = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(wire, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    send(wire, sent.data(), sent.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    close(wire);
  }
  // A call whose peer sends these bytes and goes, or stays.
  static int32_t called(const std::string &sent, bool goes) {
    socket_pair wire;
    const xp::ref c = xp::ref::adopt(ipc_alloc(0, IPC_SESSION_ZERO));
    EXPECT_EQ(ipc_connect_to(c.get(), wire.take(), 0, 0, goes ? 5000 : 3), 0);
    wire.write(sent);
    if (goes) shutdown(wire.peer(), SHUT_WR);
    const xp::ref request = request_of(xp_code("APIC")), reply = xp::ref::adopt(ipc_msg_alloc(0));
    return ipc_call(c.get(), request.get(), reply.get());
  }

  void step() {
    const std::string reply = reply_bytes(0);
    switch (below(11)) {
      case 0: EXPECT_TRUE(answers(kept_, bytes(below(260000)))); break;
      case 1: EXPECT_TRUE(answers(connected(), bytes(below(2000)))); break;
      case 2: EXPECT_EQ(called(reply.substr(0, below(reply.size())), false), IpcErrTimeout); break;
      case 3: EXPECT_EQ(called(reply.substr(0, below(reply.size() + 1)), true), 0); break;
      case 4: stranger(reply.substr(0, below(reply.size()))); break;
      case 5:
        stranger(lying("msgd", "data", 0xFFFFFFF4 + static_cast<uint32_t>(below(12)), bytes(40)));
        break;
      case 6: stranger(bytes(below(3000))); break;
      case 7: crowd(); break;
      case 8: interrupted(); break;
      case 9: refused(); break;
      default:
        EXPECT_EQ(ipc_session_helper(helper_.c_str(), 4000), 5u);
        serve();  // anew, which replaces the first one and its file
    }
  }
  void crowd() const {
    std::atomic<int> right = 0;
    run_on_threads(12, [&](int i) { right += answers(connected(), std::to_string(i)); });
    EXPECT_EQ(right, 12);
  }
  void interrupted() {
    for (const calls call : {calls::read, calls::select, calls::send, calls::poll, calls::accept})
      fail(call, EINTR, 3, static_cast<int>(below(3)));
    EXPECT_TRUE(answers(connected(), bytes(100000)));
  }
  void refused() {
    fail(calls::socket, EMFILE);
    int32_t code = 0;
    EXPECT_TRUE(answers(connected(&code), "again")) << "the next try has a descriptor";
    fail(calls::bind, below(2) == 0 ? ENOSPC : EROFS);
    const xp::ref second = xp::ref::adopt(ipc_alloc(xp_code("2nd!"), session_));
    EXPECT_EQ(ipc_receive(second.get(), echo, nullptr, IPC_MODE_POLL, 0), IpcErrSystem);
  }

  std::minstd_rand random_{seed};
  temp_folder root_;
  std::string helper_;
  int32_t session_ = 0;
  xp::ref server_, kept_;
};

TEST_F(soak_test, everything_mixed_for_long) {
  const char *wanted = getenv("CORVANE_SOAK_SECONDS");
  const int seconds = wanted != nullptr ? std::stoi(wanted) : at_full_size(1800, 4);
  const auto start = steady::now();
  EXPECT_TRUE(answers(kept_, "there"));
  const auto open_at_start = open_descriptors();
  std::vector<double> samples;
  samples.reserve(1000);
  int64_t steps = 0, lost = 0;
  // A machine that is busy with other things takes longer for the least number of steps.
  for (auto passed = steady::duration();
       (passed < std::chrono::seconds(seconds) || samples.size() < 50) && !HasFailure();
       passed = steady::now() - start) {
    const clock_t before = clock();
    step();
    mend();
    lost += answers(kept_, "still there") ? 0 : 1;
    ++steps;
    // The server closes what others have closed in its own time.
    EXPECT_TRUE(wait_until([&] { return open_descriptors() == open_at_start; })) << "seed " << seed;
    if (passed >= samples.size() * std::chrono::milliseconds(seconds)) samples.push_back(resident_pages());
    // Half of the processor is for others.
    ipc_sleep(static_cast<int32_t>((clock() - before) * 1000 / CLOCKS_PER_SEC));
  }
  ASSERT_FALSE(HasFailure());
  printf("%ld steps in %d s, %ld lost; resident MiB in each tenth of the time:", static_cast<long>(steps),
         seconds, static_cast<long>(lost));
  for (size_t tenth = 0; tenth < 10; ++tenth)
    printf(" %.2f", middle(samples, tenth, tenth + 1) / 256);
  printf("\n");
  EXPECT_EQ(lost, 0) << "seed " << seed;
  if (sanitized) return;
  // A short run has not touched all that it will.
  EXPECT_LT(middle(samples, 8, 10), middle(samples, 3, 5) * (seconds < 600 ? 1.2 : 1.02));
}

}  // namespace
