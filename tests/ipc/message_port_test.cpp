#include "ipc/message_port.h"

#include "ipc/clock.h"
#include "ipc/connection.h"
#include "ipc/errors.h"
#include "ipc/session.h"
#include "tests/ipc/records.h"
#include "tests/support/temp_folder.h"
#include "tests/support/wait.h"
#include "tests/xp/sweep/sweep.h"
#include "xp/object/record.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int32_t one_try = -199;  // a limit that the pause after the first try goes beyond

// Bytes of a packet that carries a message.
std::string packet(const std::string &message, uint32_t kind = 0x12) {
  const std::string padded = message + std::string((4 - message.size() % 4) % 4, 0);
  return be32(kind) + be32(static_cast<uint32_t>(28 + padded.size())) + std::string(20, 0) + padded;
}

int bound_socket(const fs::path &file, int type = SOCK_SEQPACKET) {
  const int bound = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  EXPECT_LT(file.string().copy(address.sun_path, sizeof address.sun_path), sizeof address.sun_path);
  EXPECT_EQ(bind(bound, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0) << file;
  return bound;
}

// Serves one client after the other: sends what `answer` makes of each packet; nothing: hangs up.
class service {
public:
  using answers = std::function<std::vector<std::string>(const std::string &)>;

  service(const fs::path &file, answers answer) : file_(file), listener_(bound_socket(file)) {
    EXPECT_EQ(listen(listener_, 1), 0);
    thread_ = std::thread([this, answer = std::move(answer)] {
      // The client is to bear interruptions; this side knows nothing of them.
      sigset_t interruption;
      sigemptyset(&interruption);
      sigaddset(&interruption, SIGALRM);
      pthread_sigmask(SIG_BLOCK, &interruption, nullptr);
      for (int client; (client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(client))
        serve(client, answer);
    });
  }
  // How many packets were answered, with everything there was to send.
  int served() const { return served_; }
  ~service() {
    shutdown(listener_, SHUT_RDWR);  // ends the accept
    thread_.join();
    close(listener_);
    fs::remove(file_);
  }

private:
  void serve(int client, const answers &answer) {
    std::string bytes(300000, 0);
    for (ssize_t count; (count = recv(client, bytes.data(), bytes.size(), 0)) > 0;) {
      const std::vector<std::string> replies = answer(bytes.substr(0, static_cast<size_t>(count)));
      for (const std::string &reply : replies)
        send(client, reply.data(), reply.size(), MSG_NOSIGNAL);
      ++served_;
      if (replies.empty()) return;
    }
  }

  const fs::path file_;
  int listener_;
  std::atomic<int> served_ = 0;
  std::thread thread_;
};

class message_port : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    root_.emplace();
    setenv("CORVANE_ROOT", root_->path().c_str(), 1);
    c_ = xp::ref::adopt(ipc_alloc(7, ipc_session_explicit(0x00012345)));
    reply_ = xp::ref::adopt(ipc_msg_alloc(0));
  }
  void TearDown() override {
    unsetenv("CORVANE_ROOT");
    ipc_port_use(nullptr);
    c_ = reply_ = nullptr;
    root_.reset();
    leak_check::TearDown();
  }

  // The folder, made now, and the file of the session's service in it.
  fs::path folder() const {
    const fs::path path = root_->path() / "run/com.brindle.services";
    fs::create_directories(path);
    chmod(path.c_str(), 0755);
    return path;
  }
  fs::path file() const { return folder() / "com.brindle.hxapi.ipc-00012345"; }

  // Connects anew; milliseconds it took in `took`.
  int32_t connect(int32_t msecs, uint32_t *took = nullptr) {
    ipc_close(c_.get());
    const uint32_t start = ipc_time_msecs();
    const int32_t result = ipc_connect_mach(c_.get(), xp_code("HXca"), 0, msecs);
    if (took != nullptr) *took = ipc_time_diff(start, ipc_time_msecs());
    return result;
  }
  int32_t call(const std::string &text = "") {
    const xp::ref request = request_of(xp_code("APIC"), text);
    const int32_t code = ipc_call(c_.get(), request.get(), reply_.get());
    sent_ = bytes_of(request.get());
    return code;
  }

  // The connection's own socket.
  int own_socket() const {
    for (int fd = 3; fd < 1024; ++fd) {
      sockaddr_un peer{};
      socklen_t size = sizeof peer;
      if (getpeername(fd, reinterpret_cast<sockaddr *>(&peer), &size) == 0 && file() == peer.sun_path)
        return fd;
    }
    return -1;
  }

  std::optional<temp_folder> root_;
  xp::ref c_, reply_;
  std::string sent_;  // the last request
};

const service::answers hang_up = [](const std::string &) { return std::vector<std::string>(); };

TEST_F(message_port, waits_for_a_service_and_only_where_one_may_come) {
  uint32_t took = 0;
  EXPECT_EQ(connect(5000, &took), IpcErrBadState) << "no folder";
  EXPECT_LT(took, 2000u);
  const fs::path name = file();
  EXPECT_EQ(connect(150, &took), IpcErrTimeout);
  EXPECT_GE(took, 350u) << "the limit and its margin";
  EXPECT_LT(took, 1500u);
  std::optional<service> late;
  std::thread starter([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    late.emplace(name, hang_up);
  });
  EXPECT_EQ(connect(60000, &took), 0);
  EXPECT_LT(took, 30000u) << "found when it comes";
  starter.join();
  EXPECT_EQ(ipc_connect_mach(c_.get(), 0, 0, 0), IpcErrBadState) << "connected already";
  ipc_close(c_.get());

  // Descriptors are at their limit.
  std::vector<int> fill;
  for (int next = 0; next < 1023 && (next = dup(2)) >= 0;)
    fill.push_back(next);
  EXPECT_EQ(connect(5000), IpcErrBadState);
  for (const int used : fill)
    close(used);
  EXPECT_EQ(connect(0), 0);
  ipc_close(c_.get());
}

TEST_F(message_port, what_anybody_could_have_put_there_is_no_service) {
  const fs::path name = file(), real = root_->path() / "real", run = folder();
  {
    const service good(name, hang_up);
    EXPECT_EQ(connect(0), 0);
    ipc_close(c_.get());
    for (const mode_t mode : {0775U, 0757U, 01777U}) {
      chmod(run.c_str(), mode);
      EXPECT_EQ(connect(one_try), IpcErrTimeout) << mode;
    }
    chmod(run.c_str(), 0755);
    fs::rename(name, run / "other");
    fs::create_symlink("other", name);
    EXPECT_EQ(connect(one_try), IpcErrTimeout) << "a link to a service";
    fs::rename(run / "other", name);
    fs::rename(run, real);
    fs::create_directory_symlink(real, run);
    EXPECT_EQ(connect(one_try), IpcErrTimeout) << "a link to the folder";
    fs::remove(run);
    fs::rename(real, run);
  }
  close(bound_socket(name));
  EXPECT_EQ(connect(one_try), IpcErrTimeout) << "nobody listens any more";
  fs::remove(name);
  std::ofstream(name) << "x";
  EXPECT_EQ(connect(one_try), IpcErrTimeout) << "no socket";
  fs::remove(name);
  const int stream = bound_socket(name, SOCK_STREAM);
  EXPECT_EQ(listen(stream, 1), 0);
  EXPECT_EQ(connect(5000), IpcErrBadState) << "a socket of another kind";
  close(stream);
}

TEST_F(message_port, another_users_service_is_unknown) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be another user";
  constexpr uid_t stranger = 65534;
  const fs::path name = file();
  {
    const service good(name, hang_up);
    ASSERT_EQ(chown(folder().c_str(), stranger, stranger), 0);
    EXPECT_EQ(connect(one_try), IpcErrTimeout) << "the stranger's folder";
    ASSERT_EQ(chown(folder().c_str(), 0, 0), 0);
    EXPECT_EQ(connect(0), 0);
    ipc_close(c_.get());
  }
  // The kernel notes the user who calls listen.
  const int bound = bound_socket(name);
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    const bool listens = setresuid(stranger, stranger, stranger) == 0 && listen(bound, 5) == 0;
    if (write(ready[1], listens ? "y" : "n", 1) == 1) pause();
    _exit(1);
  }
  char answer = 0;
  EXPECT_EQ(TEMP_FAILURE_RETRY(read(ready[0], &answer, 1)), 1);
  EXPECT_EQ(answer, 'y');
  EXPECT_EQ(connect(one_try), IpcErrTimeout);
  kill(child, SIGKILL);
  TEMP_FAILURE_RETRY(waitpid(child, nullptr, 0));
  for (const int used : {bound, ready[0], ready[1]})
    close(used);
}

TEST_F(message_port, one_packet_out_one_packet_back) {
  std::string seen;
  std::vector<std::string> answer;
  const service peer(file(), [&](const std::string &request) {
    seen = request;
    return answer;
  });
  uint32_t number = 0;
  const auto calls = [&](const std::vector<std::string> &replies, const std::string &text = "ab") {
    answer = replies;
    const int before = peer.served();
    const int32_t code = call(text);
    EXPECT_TRUE(wait_until([&] { return peer.served() > before; }));
    EXPECT_EQ(seen, packet(sent_, 0x1513));
    ++number;
    return code;
  };
  const auto good = [&](size_t filler = 0) {
    return reply_bytes(number, record("text", "text", std::string(filler, 'x')));
  };
  ASSERT_EQ(connect(0), 0);
  EXPECT_EQ(calls({packet(good(5))}), 0);
  EXPECT_EQ(text_in(reply_.get()), "xxxxx");
  // Whatever comes in a reply's place, the next call is whole.
  const size_t around = packet(good()).size();
  EXPECT_EQ(calls({packet(good(65536 - around)), "", packet(good())}), 0);
  const std::string lie = lying("msgd", "data", 0xFFFFFFF4, "abcdefgh");
  const std::pair<std::string, int32_t> rows[] = {{packet(good(65540 - around)), IpcErrTimeout},
                                                  {packet(good(), 0x1513), IpcErrTimeout},
                                                  {std::string(27, 0), IpcErrTimeout},
                                                  {packet(lie), IpcErrBadState}};
  for (const auto &[bytes, expected] : rows) {
    EXPECT_EQ(calls({bytes}), expected) << &bytes - &rows[0].first;
    EXPECT_EQ(calls({packet(good())}), 0);
  }
  // The largest request a message can hold: 266,168 bytes less the records around the text and the header's.
  EXPECT_EQ(calls({packet(good())}, std::string(266168 - 12 - 16 - 12 - 12 - 64, 'x')), 0);
  EXPECT_EQ(seen.size(), 266196u);
  // A peer that is gone, after the request and before the next one.
  EXPECT_EQ(calls({}), IpcErrTimeout);
  EXPECT_EQ(call(), IpcErrTimeout);
  EXPECT_EQ(ipc_close(c_.get()), 0);
  EXPECT_EQ(call(), IpcErrBadState);
  EXPECT_EQ(ipc_ping(c_.get()), IpcErrNotConnected);
}

// The limit is for handing over; then the reply is waited for.
TEST_F(message_port, limits_the_send_and_not_the_reply) {
  std::atomic<bool> stuck = false, reads_no_more = false;
  const service peer(file(), [&](const std::string &) {
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    for (; stuck; reads_no_more = true)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return std::vector{packet(reply_bytes(0))};
  });
  ASSERT_EQ(connect(0), 0);
  const int own = own_socket();
  ASSERT_GE(own, 0);
  ipc_settimeout(c_.get(), 50);
  const uint32_t start = ipc_time_msecs();
  EXPECT_EQ(call(), 0);
  EXPECT_GE(ipc_time_diff(start, ipc_time_msecs()), 150u);
  // The service does not read any more, and its queue is full.
  stuck = true;
  const std::string big(60000, 0);
  EXPECT_GT(send(own, big.data(), big.size(), 0), 0);
  EXPECT_TRUE(wait_until([&] { return reads_no_more.load(); }));
  while (send(own, big.data(), big.size(), MSG_DONTWAIT) > 0 || errno == EINTR) {
  }
  for (const int32_t limit : {0, 120}) {
    ipc_settimeout(c_.get(), limit);
    const uint32_t again = ipc_time_msecs();
    EXPECT_EQ(call(std::string(60000, 'x')), IpcErrTimeout);
    const uint32_t took = ipc_time_diff(again, ipc_time_msecs());
    EXPECT_GE(took, static_cast<uint32_t>(limit));
    EXPECT_LT(took, 1000u);
  }
  ipc_close(c_.get());
  stuck = false;
}

// Without memory a service is not found or not called; nothing stays behind.
void find_and_call(sweep::story &told) {
  const auto ends = [&](int32_t code) {
    const bool listed = code == IpcErrNoMemory || code == IpcErrBadState || code == IpcErrNotConnected;
    told.gave(code, listed ? code : 0);
  };
  const xp::ref c = xp::ref::adopt(ipc_alloc(7, ipc_session_explicit(0x00012345))),
                request = request_of(xp_code("APIC"), "question"), reply = xp::ref::adopt(ipc_msg_alloc(0));
  ends(ipc_connect_mach(c.get(), 0, 0, one_try));
  ends(ipc_call(c.get(), request.get(), reply.get()));
  told.wrote(text_in(reply.get()));
  ends(ipc_ping(c.get()));
}

TEST_F(message_port, without_memory) {
  const service peer(file(), [](const std::string &request) {
    const auto *number = reinterpret_cast<const uint8_t *>(request.data()) + request.find("msgnlong") + 12;
    return std::vector{packet(reply_bytes(xp::load_be32(number), record("text", "text", "answer")))};
  });
  sweep::run(find_and_call);
}

// A port that fails on demand.
struct {
  ipc_port_found found;
  int busy;
  int32_t exchanged, msecs;
} script;

ipc_port_found look_up(const char *, uint32_t *port) {
  *port = 5;
  return script.busy-- > 0 ? IPC_PORT_BUSY : script.found;
}
int32_t exchange(uint32_t, uint8_t *, uint32_t, int32_t msecs) {
  script.msecs = msecs;
  return script.exchanged;
}
constexpr ipc_message_port scripted = {
    .look_up = look_up, .exchange = exchange, .close = [](uint32_t port) { EXPECT_EQ(port, 5u); }};

TEST_F(message_port, whatever_fails_in_a_port) {
  ipc_port_use(&scripted);
  script = {.found = IPC_PORT_FAILED, .busy = 0, .exchanged = 0, .msecs = 0};
  EXPECT_EQ(connect(100), IpcErrBadState);
  script = {.found = IPC_PORT_FOUND, .busy = 3, .exchanged = 0, .msecs = 0};
  uint32_t took = 0;
  EXPECT_EQ(connect(100, &took), 0);
  EXPECT_LT(took, 500u) << "a busy service is asked again soon";
  ipc_settimeout(c_.get(), 321);
  for (const int32_t error : {int32_t{IpcErrNoMemory}, int32_t{IpcErrSystem}, 35}) {
    script.exchanged = error;
    EXPECT_EQ(call(), IpcErrTimeout);
    EXPECT_EQ(script.msecs, 321);
  }
  ipc_close(c_.get());
}

}  // namespace
