// One server process, its clients on threads of several processes, each waiting for its answer before it asks
// again. CORVANE_LOAD_CALLS sets the number of calls (script/test --load: 1,000,000).

#include "ipc/connection.h"
#include "ipc/errors.h"
#include "ipc/message.h"
#include "ipc/session.h"
#include "tests/ipc/records.h"
#include "tests/support/full_size.h"
#include "tests/support/threads.h"
#include "tests/support/wait.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <fstream>
#include <vector>

namespace {

constexpr uint32_t endpoint = xp_code("LOAD");
constexpr uint32_t ask_name = xp_code("ASK?"), stop_name = xp_code("STOP");
constexpr int processes = 3;  // a client has two descriptors, and none may be 1024 or above
constexpr int32_t limit = 120000;

// What an answer must be to belong to its question: every byte of that counts.
uint64_t proof_of(std::string_view question) {
  uint64_t hash = 0xCBF29CE484222325;
  for (char byte : question)
    hash = (hash ^ static_cast<uint8_t>(byte)) * 0x100000001B3;
  return hash;
}

std::string question_of(int client, int64_t call) {
  std::string text = std::to_string(client) + "/" + std::to_string(call) + "/";
  uint64_t size = proof_of(text) % 400;
  return text.append(size, static_cast<char>('a' + size % 26));
}

bool stopped;

int32_t answer(xp_obj *request, xp_obj *reply, uint32_t, uint32_t, void *) {
  uint32_t name = 0;
  ipc_msg_get_name(request, &name);
  stopped = name == stop_name;
  uint64_t proof = proof_of(text_in(request));
  ipc_msg_start_params(reply);
  ipc_msg_set_param(reply, xp_code("text"), xp_code("text"), &proof, sizeof proof);
  return 0;
}

// Serves in a process that has nothing open but the standard descriptors, until it is told to stop.
[[noreturn]] void serve(int32_t session) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  close_range(3, ~0U, 0);
  rlimit many = {.rlim_cur = 1200, .rlim_max = 1200};
  setrlimit(RLIMIT_NOFILE, &many);
  xp_obj *server = ipc_alloc(endpoint, session);
  int32_t error = ipc_receive(server, answer, nullptr, IPC_MODE_POLL, limit);
  while (error == 0 && !stopped)
    ipc_poll(server);
  ipc_free(server);
  _exit(error == 0 ? 0 : 1);
}

// What the processes see of each other.
struct board {
  std::atomic<int> connected, finished, phase;
  std::atomic<int64_t> right, wrong, refused, lost;
};

// One call: counted as right, wrong (another answer), refused (turned away when it came) or lost.
void call(board *b, const xp::ref &c, int client, int64_t number) {
  const std::string question = question_of(client, number);
  xp::ref request = request_of(ask_name, question);
  xp::ref reply = xp::ref::adopt(ipc_msg_alloc(0));
  const int32_t code = ipc_call(c.get(), request.get(), reply.get());
  const std::string text = text_in(reply.get());
  const uint64_t proof = proof_of(question);
  if (code == 0 && text == std::string_view(reinterpret_cast<const char *>(&proof), sizeof proof)) {
    ++b->right;
  } else if (number == 0 && text.empty() && code != IpcErrTimeout) {
    ++b->refused;
  } else {
    ++(text.empty() ? b->lost : b->wrong);
  }
}

struct figures {
  double start, connected, idle, end, seconds;  // resident size of the server in MiB
  int64_t right, wrong, refused, lost;
};

class load_test : public testing::Test {
protected:
  void SetUp() override {
    session_ = new_session();
    void *memory = mmap(nullptr, sizeof(board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    board_ = new (memory) board{};
    server_ = fork();
    if (server_ == 0) serve(session_);
    ASSERT_TRUE(wait_until([&] { return ipc_exists(endpoint, session_) == 0; }));
  }
  void TearDown() override {
    // A server that is full turns the first one away, and has room when it has seen the others go.
    int status = -1;
    EXPECT_TRUE(wait_until([&] {
      xp::ref c = connected(), request = request_of(stop_name), reply = xp::ref::adopt(ipc_msg_alloc(0));
      ipc_call(c.get(), request.get(), reply.get());
      return waitpid(server_, &status, text_in(reply.get()).empty() ? WNOHANG : 0) == server_;
    }));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ipc_exists(endpoint, session_), -1);
    munmap(board_, sizeof(board));
  }

  // Every client makes one call when all are connected, waits for the others, and makes the rest.
  figures run(int clients, int64_t calls) {
    new (board_) board{};
    figures f = {};
    f.start = resident();
    std::vector<pid_t> children;
    for (int p = 0; p < processes; ++p) {
      children.push_back(fork());
      if (children.back() == 0) be_clients(p, clients, calls);
    }
    EXPECT_TRUE(wait_until([&] { return board_->connected == clients; }, std::chrono::minutes(2)));
    f.connected = resident();
    board_->phase = 1;
    EXPECT_TRUE(wait_until([&] { return board_->finished == clients; }, std::chrono::minutes(2)));
    f.idle = resident();
    const auto start = std::chrono::steady_clock::now();
    board_->phase = 2;
    EXPECT_TRUE(wait_until([&] { return board_->finished == 2 * clients; }, std::chrono::minutes(15)));
    f.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    f.end = resident();
    board_->phase = 3;
    for (pid_t child : children)
      EXPECT_EQ(status_of(child), 0);
    f.right = board_->right, f.wrong = board_->wrong, f.refused = board_->refused, f.lost = board_->lost;
    return f;
  }

private:
  [[noreturn]] void be_clients(int process, int clients, int64_t calls) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int mine = clients / processes + (process < clients % processes);
    run_on_threads(mine, [&](int t) {
      const int client = t * processes + process;
      xp::ref c = connected();
      if (c) ++board_->connected;
      wait_for(1);
      call(board_, c, client, 0);
      ++board_->finished;
      wait_for(2);
      for (int64_t i = 1; i < calls / clients + (client < calls % clients); ++i)
        call(board_, c, client, i);
      ++board_->finished;
      wait_for(3);
    });
    _exit(0);
  }

  xp::ref connected() const {
    xp::ref c = xp::ref::adopt(ipc_alloc(7, session_));
    return ipc_connect(c.get(), endpoint, 0, limit) == 0 ? std::move(c) : xp::ref();
  }

  void wait_for(int phase) const {
    while (board_->phase < phase)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }

  double resident() const {
    std::ifstream file("/proc/" + std::to_string(server_) + "/statm");
    double all = 0, pages = 0;
    file >> all >> pages;
    return pages * 4 / 1024;
  }

  static int status_of(pid_t child) {
    int status = -1;
    waitpid(child, &status, 0);
    return status;
  }

  int32_t session_ = 0;
  board *board_ = nullptr;
  pid_t server_ = -1;
};

TEST_F(load_test, nine_hundred_clients_at_once) {
  constexpr int clients = 900;
  const char *wanted = getenv("CORVANE_LOAD_CALLS");
  const int64_t calls = wanted != nullptr ? std::stoll(wanted) : sanitized ? 20000 : 100000;
  const figures f = run(clients, calls);
  printf(
      "%ld calls by %d clients: %.0f a second, %ld lost, %ld wrong; resident size of the server in MiB: "
      "%.1f at the start, %.1f with all connected, %.1f after one call each, %.1f at the end\n",
      static_cast<long>(calls), clients, static_cast<double>(calls - clients) / f.seconds,
      static_cast<long>(f.lost), static_cast<long>(f.wrong), f.start, f.connected, f.idle, f.end);
  EXPECT_EQ(f.right, calls);
  if (sanitized) return;
  // A client that has nothing to say costs two pages: of its 65 only what was touched.
  EXPECT_LT(f.idle - f.start, clients * 2 * 4096 / 1048576.0);
  EXPECT_LT(f.end - f.idle, 1);
}

// Six descriptors are the server's own, so 1018 clients are all that polls can reach.
TEST_F(load_test, as_many_as_polls_can_reach) {
  for (int clients : {100, 1000, 1018}) {
    if (sanitized && clients < 1018) continue;
    EXPECT_EQ(run(clients, clients * 2).right, clients * 2) << clients;
  }
}

TEST_F(load_test, more_than_polls_can_reach) {
  const figures f = run(1100, 1100);
  EXPECT_EQ(f.right, 1018);
  EXPECT_EQ(f.refused, 82) << "each is told at once";
  EXPECT_EQ(f.lost + f.wrong, 0);
}

}  // namespace
