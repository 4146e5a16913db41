#include "setup/apic.h"

#include "ipc/errors.h"
#include "ipc/ntld.h"
#include "ipc/ntld_raw.h"
#include "ipc/session.h"
#include "setup/daemon_request.h"
#include "tests/setup/scripted_daemon.h"
#include "tests/support/leak_check.h"
#include "xp/object/ref.h"
#include "xp/string/string.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;
using lines = std::vector<std::string>;

constexpr vane_apic_limits quick = {.lookup = 0, .present = 100, .absent = 1000, .call = 700};

class apic : public leak_check {
protected:
  void SetUp() override {
    ipc_session_id(IPC_SESSION_HELPER);  // asked once for the process
    leak_check::SetUp();
    vane_apic_setlimits(&quick);
  }
  void TearDown() override {
    vane_apic_setlimits(nullptr);
    leak_check::TearDown();
  }

  static int32_t call(uint32_t code) { return vane_apic_call(vane_apic_start(code, 0), nullptr); }

  static std::chrono::milliseconds time_of_call(uint32_t code, int32_t expected) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(call(code), expected);
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  }
};

TEST_F(apic, sends_records_and_hands_the_reply_out) {
  scripted_daemon daemon;
  daemon.answers[0x4117].records = {
      {xp_code("host"), {}, "server"}, {xp_code("stat"), 5, {}}, {xp_code("void"), {}, ""}};
  daemon.start();
  xp_obj *request = vane_apic_start(0x4117, 0);
  {
    const xp::ref records = xp::ref::adopt(vane_apic_getntld(request));
    xp_ntld_add_number(records.get(), xp_code("indx"), -2);
    xp_ntld_add_string(records.get(), xp_code("text"), "abc");
  }
  xp_obj *reply = nullptr;
  ASSERT_EQ(vane_apic_call(request, &reply), 0);
  EXPECT_EQ(daemon.take_requests(), lines{"4117 indx=-2 text:abc"});
  const uint8_t *block = vane_apic_getdata(reply);
  EXPECT_EQ(xp_ntld_raw_long(xp_ntld_raw_getbyname(block, xp_code("stat"))), 5);
  const xp::ref host = xp::ref::adopt(cv_setup_ntld_getstr(block, xp_code("host")));
  EXPECT_EQ(xp_str_cmpq(host.get(), "server", -1), 0);
  EXPECT_EQ(cv_setup_ntld_getstr(block, xp_code("void")), nullptr);
  EXPECT_EQ(cv_setup_ntld_getstr(block, xp_code("gone")), nullptr);
  EXPECT_EQ(cv_setup_ntld_getstr(nullptr, xp_code("host")), nullptr);
  vane_apic_stop(reply);
  EXPECT_EQ(call(0x4117), 0) << "a reply that is not wanted ends here";
}

TEST_F(apic, a_refusal_is_passed_on_without_a_reply) {
  scripted_daemon daemon;
  daemon.answers[1].result = -7;
  daemon.answers[2].result = 12;
  daemon.answers[3].result.reset();
  daemon.start();
  for (const auto &[code, expected] : {std::pair(1U, -7), {2U, 12}, {3U, int32_t(IpcErrBadMessage)}}) {
    xp_obj *reply = nullptr;
    EXPECT_EQ(vane_apic_call(vane_apic_start(code, 0), &reply), expected);
    EXPECT_EQ(reply, nullptr);
  }
}

// What a daemon that dies, or is none, leaves behind in the place of a reply.
TEST_F(apic, bad_replies_are_errors_of_the_ipc_library) {
  const auto send_bytes = [](int client, std::string_view bytes) {
    char request[4096];
    EXPECT_GT(recv(client, request, sizeof request, 0), 0);
    send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  };
  const std::string huge("msgddata\xff\xff\xff\xff", 12);
  const std::string half(
      "msgddata\0\0\0\x40"
      "calllong\0\0\0\4@!*%",
      28);
  const std::string empty("msgddata\0\0\0\0", 12);
  const struct {
    std::function<void(int)> serve;
    int32_t expected;
  } rows[] = {
      {[](int) {}, IpcErrBadMessage},
      {[&](int client) { send_bytes(client, ""); }, IpcErrBadMessage},
      {[&](int client) { send_bytes(client, half); }, IpcErrBadMessage},
      {[&](int client) { send_bytes(client, huge); }, IpcErrBadMessage},
      {[&](int client) {
         send_bytes(client, empty);
         char more;
         EXPECT_EQ(recv(client, &more, 1, 0), 0) << "the caller hangs up";
       },
       IpcErrTimeout},
  };
  for (const auto &row : rows) {
    const raw_daemon daemon(row.serve);
    xp_obj *reply = nullptr;
    const int32_t got = vane_apic_call(vane_apic_start(0x4133, 0), &reply);
    // Hanging up without reading may also break the caller's send.
    if (&row != rows || got != IpcErrNotConnected) {
      EXPECT_EQ(got, row.expected) << &row - rows;
    }
    EXPECT_EQ(reply, nullptr);
  }
}

TEST_F(apic, waits_longer_for_a_daemon_that_is_not_there_yet) {
  const auto absent = time_of_call(0x4133, VANE_APIC_NO_DAEMON);
  EXPECT_GE(absent, 1000ms);

  make_socket_folder();
  close(listen_as_daemon());  // the file stays behind
  const auto present = time_of_call(0x4133, VANE_APIC_NO_DAEMON);
  EXPECT_GE(present, 100ms);
  EXPECT_LT(present, absent);
  unlink(daemon_socket().c_str());

  scripted_daemon daemon;
  daemon.answers[0x4133] = {};
  std::thread late([&] {
    std::this_thread::sleep_for(250ms);
    daemon.start();
  });
  EXPECT_EQ(call(0x4133), 0);
  late.join();
}

TEST_F(apic, gives_up_on_a_silent_daemon) {
  scripted_daemon daemon;
  daemon.answers[1].delay = 1200ms;
  daemon.start();
  EXPECT_EQ(call(1), IpcErrTimeout);
}

// A server of another user gets no byte of the request, and counts as absent.
TEST_F(apic, sends_nothing_to_another_users_server) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be another user";
  make_socket_folder();
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const mode_t mode = 01777;  // the stranger must be able to make the name
  const std::filesystem::path folder = daemon_socket().parent_path();
  struct stat before {};
  stat(folder.c_str(), &before);
  chmod(folder.c_str(), mode);
  const pid_t stranger = fork();
  if (stranger == 0) {
    if (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0) _exit(100);
    const int own = listen_as_daemon();
    if (own < 0 || write(ready[1], "r", 1) != 1) _exit(101);
    const int client = accept(own, nullptr, nullptr);
    char byte;
    _exit(client < 0 ? 102 : recv(client, &byte, 1, 0) == 0 ? 0 : 1);
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  EXPECT_EQ(call(0x4133), VANE_APIC_NO_DAEMON);
  int status = -1;
  EXPECT_EQ(waitpid(stranger, &status, 0), stranger);
  EXPECT_EQ(status, 0) << "the stranger saw a byte, or could not serve";
  chmod(folder.c_str(), before.st_mode & 07777);
  close(ready[0]);
  close(ready[1]);
  unlink(daemon_socket().c_str());
}

}  // namespace
