#include "setup/apic.h"

#include "ipc/errors.h"
#include "setup/daemon_request.h"
#include "tests/setup/scripted_daemon.h"
#include "tests/support/objects.h"

#include <sys/stat.h>
#include <sys/wait.h>

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

// Limits that are to be met are short, the others far away.
constexpr int32_t far_away = 60000;
constexpr vane_apic_limits nobody = {.lookup = 0, .present = 100, .absent = 700, .call = far_away};
constexpr vane_apic_limits late = {.lookup = 0, .present = far_away, .absent = far_away, .call = far_away};
constexpr vane_apic_limits silent = {.lookup = 0, .present = far_away, .absent = far_away, .call = 300};

class apic : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    vane_apic_setlimits(&nobody);
  }
  void TearDown() override {
    vane_apic_setlimits(nullptr);
    leak_check::TearDown();
  }

  // A call's result; only one of 0 has a reply.
  static int32_t call(uint32_t code) {
    xp_obj *reply = nullptr;
    const int32_t result = vane_apic_call(vane_apic_start(code, 0), &reply);
    EXPECT_EQ(reply != nullptr, result == 0);
    vane_apic_stop(reply);
    return result;
  }
};

TEST_F(apic, sends_records_and_hands_the_reply_out) {
  scripted_daemon daemon;
  daemon.serve({.records = record("host", "text", "server") + record("void", "text", "")},
               {{1, {.result = -7}}, {2, {.result = 12}}, {3, {.result = {}}}});
  xp_obj *request = vane_apic_start(0x4117, 0);
  {
    const xp::ref records = xp::ref::adopt(vane_apic_getntld(request));
    xp_ntld_add_number(records.get(), xp_code("indx"), -2);
  }
  xp_obj *reply = nullptr;
  ASSERT_EQ(vane_apic_call(request, &reply), 0);
  EXPECT_EQ(daemon.take_requests(), words{"4117 indx=-2"});
  const uint8_t *block = vane_apic_getdata(reply);
  EXPECT_EQ(described(block), " host:server void: rslt=0");
  expect({cv_setup_ntld_getstr(block, xp_code("host")), cv_setup_ntld_getstr(block, xp_code("void")),
          cv_setup_ntld_getstr(nullptr, xp_code("host"))},
         "server null null");
  vane_apic_stop(reply);
  EXPECT_EQ(vane_apic_call(vane_apic_start(0x4117, 0), nullptr), 0) << "a reply that is not wanted ends here";
  for (const auto &[code, expected] : {std::pair(1U, -7), {2U, 12}, {3U, int32_t(IpcErrBadMessage)}})
    EXPECT_EQ(call(code), expected);
}

// What a daemon that dies, or is none, leaves behind in the place of a reply.
TEST_F(apic, bad_replies_are_errors_of_the_ipc_library) {
  const std::pair<std::string, int32_t> rows[] = {
      {"", IpcErrBadMessage},
      {lying("msgd", "data", 0x40, record("call", "long", "@!*%")), IpcErrBadMessage},
      {lying("msgd", "data", 0xFFFFFFFF), IpcErrBadMessage},
      {lying("msgd", "data", 0), IpcErrTimeout},
  };
  for (const auto &[bytes, expected] : rows) {
    vane_apic_setlimits(expected == IpcErrTimeout ? &silent : &late);
    const raw_daemon daemon([&bytes = bytes, waits = expected == IpcErrTimeout](int client) {
      char request[4096];
      EXPECT_GT(recv(client, request, sizeof request, 0), 0);
      send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (waits) {
        EXPECT_EQ(recv(client, request, 1, 0), 0) << "the caller hangs up";
      }
    });
    EXPECT_EQ(call(0x4133), expected) << bytes;
  }
  // Hanging up without reading may also break the caller's send.
  const raw_daemon daemon([](int) {});
  const int32_t result = call(0x4133);
  EXPECT_TRUE(result == IpcErrBadMessage || result == IpcErrNotConnected) << result;
}

TEST_F(apic, waits_longer_for_a_daemon_that_is_not_there_yet) {
  const auto start = steady_clock::now();
  EXPECT_EQ(call(0x4133), VANE_APIC_NO_DAEMON);
  const auto absent = steady_clock::now();
  EXPECT_GE(absent - start, 700ms);
  close(listen_as_daemon());  // the file stays behind
  EXPECT_EQ(call(0x4133), VANE_APIC_NO_DAEMON);
  const auto present = steady_clock::now() - absent;
  EXPECT_GE(present, 100ms);
  EXPECT_LT(present, absent - start);
  unlink(private_client::root().socket().c_str());

  vane_apic_setlimits(&late);
  scripted_daemon daemon;
  std::thread starter([&] {
    std::this_thread::sleep_for(150ms);
    daemon.serve({.delay = 0ms}, {{1, {.delay = 500ms}}});
  });
  EXPECT_EQ(call(0x4133), 0);
  starter.join();
  vane_apic_setlimits(&silent);
  EXPECT_EQ(call(1), IpcErrTimeout) << "a silent daemon";
}

// The service comes first; the socket is for where there is none.
TEST_F(apic, reaches_the_daemon_both_ways) {
  const auto told = [] {
    xp_obj *reply = nullptr;
    EXPECT_EQ(vane_apic_call(vane_apic_start(0x4124, 0), &reply), 0);
    const std::string line = described(vane_apic_getdata(reply));
    vane_apic_stop(reply);
    return line;
  };
  const standin_process daemon(private_client::root());
  ASSERT_TRUE(daemon.serves()) << daemon.errors();
  const std::filesystem::path socket = private_client::root().socket(), aside = socket.string() + "~";
  std::filesystem::rename(socket, aside);
  EXPECT_EQ(told(), " cook=0 rslt=0") << "by the service alone";
  std::filesystem::rename(aside, socket);
  std::filesystem::remove_all(private_client::root().path() + "/run");
  EXPECT_EQ(told(), " cook=0 rslt=0") << "by the socket alone";
}

// A server of another user gets no byte of the request, and counts as absent.
TEST_F(apic, sends_nothing_to_another_users_server) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be another user";
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const std::filesystem::path folder = private_client::root().socket().parent_path();
  struct stat before {};
  stat(folder.c_str(), &before);
  chmod(folder.c_str(), 01777);  // the stranger must be able to make the name
  const pid_t stranger = fork();
  if (stranger == 0) {
    if (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0) _exit(100);
    const int own = listen_as_daemon();
    if (own < 0 || write(ready[1], "r", 1) != 1) _exit(101);
    const int client = accept(own, nullptr, nullptr);
    char byte;
    _exit(client < 0 ? 102 : recv(client, &byte, 1, 0) == 0 ? 0 : 1);
  }
  close(ready[1]);
  char byte = 0;
  EXPECT_EQ(read(ready[0], &byte, 1), 1);
  EXPECT_EQ(call(0x4133), VANE_APIC_NO_DAEMON);
  int status = -1;
  EXPECT_EQ(waitpid(stranger, &status, 0), stranger);
  EXPECT_EQ(status, 0) << "the stranger saw a byte, or could not serve";
  chmod(folder.c_str(), before.st_mode & 07777);
  close(ready[0]);
  unlink(private_client::root().socket().c_str());
}

}  // namespace
