// The client's daemon as the tests of setup see it, on the real socket of a session of the test program's
// own: one that answers as the test has set and writes down what it was asked, and one that speaks raw bytes.

#ifndef TESTS_SETUP_SCRIPTED_DAEMON_H
#define TESTS_SETUP_SCRIPTED_DAEMON_H

#include "ipc/connection.h"
#include "ipc/session.h"
#include "ipc/socket_file.h"
#include "tests/ipc/records.h"
#include "tests/standin/standin_process.h"

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

// The client's installation, with the session and a framework library: made before the first test runs, since
// a process keeps the session number it was told first.
class private_client final : public testing::Environment {
public:
  void SetUp() override {
    root_.emplace();
    const std::filesystem::path bundle =
        root_->path() + "/Library/Corvane/Corvane.app/Contents/Frameworks/Vane.framework";
    std::filesystem::create_directories(bundle);
    std::filesystem::create_symlink(FAKE_VANE_PATH, bundle / "Vane");
    setenv("CORVANE_ROOT", root_->path().c_str(), 1);
    ASSERT_EQ(__builtin_bswap32(ipc_session_id(IPC_SESSION_HELPER)), root_->session());
    close(ipcc_directory_prepare(ipcc_directory()));
  }
  void TearDown() override { root_.reset(); }

  static const private_root &root() { return *root_; }

private:
  static inline std::optional<private_root> root_;
};
inline const testing::Environment *const made_before_the_tests =
    testing::AddGlobalTestEnvironment(new private_client);

struct scripted_answer {
  std::optional<int32_t> result = 0;  // `rslt`; none: the reply lacks it
  std::string records = {};           // the others
  std::chrono::milliseconds delay{0};
};

class scripted_daemon {
public:
  scripted_daemon() = default;
  scripted_daemon(const scripted_daemon &) = delete;
  scripted_daemon &operator=(const scripted_daemon &) = delete;
  ~scripted_daemon() { stop(); }

  // Serves from now on, with one answer for all request codes but these.
  void serve(const scripted_answer &all, const std::map<int32_t, scripted_answer> &others = {}) {
    const std::lock_guard guard(lock_);
    all_ = all;
    others_ = others;
    if (connection_ != nullptr) return;
    connection_ = ipc_alloc(xp_code("HXca"), ipc_session_explicit(private_client::root().session()));
    EXPECT_EQ(ipc_receive(connection_, handle, this, IPC_MODE_THREAD, 5000), 0);
  }
  void stop() { ipc_free(std::exchange(connection_, nullptr)); }

  // What was asked since the last call, a line for each request: the code in hexadecimal, then its records
  // behind the four that tell the caller.
  words take_requests() {
    const std::lock_guard guard(lock_);
    return std::exchange(requests_, {});
  }

private:
  static int32_t handle(xp_obj *request, xp_obj *reply, uint32_t, uint32_t, void *context) {
    auto *self = static_cast<scripted_daemon *>(context);
    uint32_t type = 0;
    int32_t code = 0;
    EXPECT_EQ(ipc_msg_get_name(request, &type), 0);
    EXPECT_EQ(type, xp_code("APIC"));
    EXPECT_EQ(ipc_msg_get_param_long(request, xp_code("code"), &code), 0);
    const std::string line = described(ipc_msg_get_content_ptr(request));
    const std::string caller = " whon!HXrf whov=25088 code=" + std::to_string(code) + " sess=0";
    EXPECT_TRUE(line.starts_with(caller)) << line;
    char number[16];
    snprintf(number, sizeof number, "%x", static_cast<unsigned>(code));
    scripted_answer answer;
    {
      const std::lock_guard guard(self->lock_);
      self->requests_.push_back(number + line.substr(std::min(line.size(), caller.size())));
      const auto found = self->others_.find(code);
      answer = found == self->others_.end() ? self->all_ : found->second;
    }
    std::this_thread::sleep_for(answer.delay);
    if (answer.result) answer.records += record("rslt", "long", be32(static_cast<uint32_t>(*answer.result)));
    ipc_msg_set_content(reply, answer.records.data(), static_cast<uint32_t>(answer.records.size()));
    return 0;
  }

  xp_obj *connection_ = nullptr;
  std::mutex lock_;
  scripted_answer all_;
  std::map<int32_t, scripted_answer> others_;
  words requests_;
};

// Binds the daemon's socket file, replacing what is there, and listens; -1 when that fails.
inline int listen_as_daemon() {
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address;
  ipcc_address_of(private_client::root().socket().c_str(), &address);
  unlink(address.sun_path);
  if (bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
      listen(listener, 5) == 0)
    return listener;
  close(listener);
  return -1;
}

// Accepts connections one after the other and hands each to `serve`, until it is destroyed.
class raw_daemon {
public:
  explicit raw_daemon(std::function<void(int)> serve) : listener_(listen_as_daemon()) {
    EXPECT_GE(listener_, 0);
    thread_ = std::thread([listener = listener_, serve = std::move(serve)] {
      for (int client; (client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(client))
        serve(client);
    });
  }
  raw_daemon(const raw_daemon &) = delete;
  raw_daemon &operator=(const raw_daemon &) = delete;
  ~raw_daemon() {
    shutdown(listener_, SHUT_RDWR);  // ends the accept
    thread_.join();
    close(listener_);
    unlink(private_client::root().socket().c_str());
  }

private:
  int listener_;
  std::thread thread_;
};

#endif
