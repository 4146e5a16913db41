#include "ipc/connection.h"
#include "ipc/message_port.h"
#include "ipc/service_socket.h"
#include "ipc/session.h"
#include "standin/service.h"
#include "tests/ipc/records.h"
#include "tests/standin/standin_process.h"
#include "tests/support/objects.h"
#include "tests/support/threads.h"
#include "xp/service/file_descriptor.h"

#include <fcntl.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr uint32_t apic = xp_code("APIC");

// The ways to the daemon.
using way = int32_t (*)(xp_obj *, uint32_t, uint32_t, int32_t);
constexpr way ways[] = {ipc_connect, ipc_connect_mach};

constexpr int32_t limit = 60000;  // ms, for a daemon that hangs

// One connection to the stand-in of a session.
class client {
public:
  explicit client(uint32_t session, way connect = ipc_connect)
      : connection_(xp::ref::adopt(ipc_alloc(1, ipc_session_explicit(session)))) {
    EXPECT_EQ(connect(connection_.get(), xp_code("HXca"), 0, limit), 0);
    ipc_settimeout(connection_.get(), limit);
  }

  [[nodiscard]] int32_t ping() const { return ipc_ping(connection_.get()); }

  // The records of the reply to a request of these records, the result last.
  std::string call(const std::string &records, uint32_t type = apic) const {
    const xp::ref request = xp::ref::adopt(ipc_msg_alloc(type));
    const xp::ref reply = xp::ref::adopt(ipc_msg_alloc(0));
    ipc_msg_set_content(request.get(), records.data(), static_cast<uint32_t>(records.size()));
    EXPECT_EQ(ipc_call(connection_.get(), request.get(), reply.get()), 0);
    return described(ipc_msg_get_content_ptr(reply.get()));
  }

private:
  xp::ref connection_;
};

std::string code(uint32_t number) {
  return record("code", "long", be32(number));
}

std::string dex(uint32_t what, const std::string &more = "") {
  return code(0x4135) + record("what", "long", be32(what)) + more;
}

class standin : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    setenv("CORVANE_ROOT", root_.path().c_str(), 1);
  }
  void TearDown() override {
    unsetenv("CORVANE_ROOT");
    leak_check::TearDown();
  }

  // The socket file of the daemon's message service, and a socket connected to it.
  [[nodiscard]] fs::path service() const {
    char name[IPC_PORT_NAME_LIMIT];
    ipc_port_service_name(__builtin_bswap32(root_.session()), name);
    return fs::path(root_.path()) / "run/com.brindle.services" / name;
  }
  [[nodiscard]] std::unique_ptr<xp::descriptor> raw_client() const {
    auto raw = std::make_unique<xp::descriptor>(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const xp::descriptor folder(open(service().parent_path().c_str(), O_PATH | O_CLOEXEC));
    const sockaddr_un address = ipc_service_address(folder.get(), service().filename().c_str());
    EXPECT_EQ(connect(raw->get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    return raw;
  }

  private_root root_;
};

std::string packet(const std::string &message, uint32_t kind) {
  return be32(kind) + be32(static_cast<uint32_t>(28 + message.size())) + std::string(20, 0) + message;
}

TEST_F(standin, serves_its_data_until_it_is_stopped) {
  for (const int signal : {SIGTERM, SIGINT}) {
    standin_process process(root_);
    ASSERT_TRUE(process.serves()) << process.errors();
    for (const way each : ways) {
      const client daemon(root_.session(), each);
      EXPECT_EQ(daemon.call(code(0x4117)),
                " host:corvane.example.com zone:192.0.2.24:443 user:robin.sample "
                "maid:4F1C-90A2-77DE stat=1 rslt=0");
      EXPECT_EQ(daemon.call(code(0x4133)), " name:sample-laptop madr:02:00:5e:10:20:30 oeid:SMPL0042 rslt=0");
      EXPECT_EQ(daemon.ping(), 0);
    }
    EXPECT_EQ(process.end(signal), 0) << process.errors();
    EXPECT_FALSE(fs::exists(root_.socket())) << "the socket file goes with the daemon";
    EXPECT_FALSE(fs::exists(service().parent_path().parent_path())) << "and the service with its folders";
  }
}

// Each client asks and gets the answer to its own question, whatever others send meanwhile.
TEST_F(standin, many_clients_beside_silent_ones_and_a_flood) {
  const standin_process process(root_);
  ASSERT_TRUE(process.serves()) << process.errors();
  const auto ask = [&] { return client(root_.session(), ipc_connect_mach).call(code(0x4124)); };
  std::atomic<bool> stop = false;
  std::thread flood([&] {
    const std::string request = packet(record("msgd", "data", ""), 0x1513);
    for (std::unique_ptr<xp::descriptor> raw; !stop;)
      if (!raw || send(raw->get(), request.data(), request.size(), MSG_NOSIGNAL) < 0) raw = raw_client();
  });
  std::vector<std::unique_ptr<xp::descriptor>> silent;
  for (size_t i = 0; i < STANDIN_CLIENT_LIMIT + 50; ++i) {
    silent.push_back(raw_client());
    if (i % 16 == 0) {
      EXPECT_EQ(ask(), " cook=0 rslt=0");
    }
  }
  run_on_threads(8, [&](int) {
    for (int i = 0; i < 50; ++i)
      EXPECT_EQ(ask(), " cook=0 rslt=0");
  });
  stop = true;
  flood.join();
}

TEST_F(standin, tells_dex_data_as_json_and_refuses_everything_else) {
  const standin_process process(root_);
  const client daemon(root_.session());
  const std::pair<std::string, const char *> told[] = {
      {dex(0), "/items/#4/tag"}, {dex(1, record("targ", "ctag", "memu")), "/#2/value"}, {dex(2), "/#2/name"}};
  for (const auto &[request, path] : told) {
    const std::string answer = daemon.call(request);
    ASSERT_TRUE(answer.starts_with(" parm:") && answer.ends_with(" rslt=0")) << answer;
    EXPECT_TRUE(tree(answer.substr(6, answer.size() - 13), path)) << answer;
  }
  for (const uint32_t other : {0U, 0x410eU, 0x4116U, 0x4118U, 0x4137U, 0x4138U})
    EXPECT_EQ(daemon.call(code(other)), " rslt=-51") << other;
  for (const std::string &senseless : {code(0x4135), dex(3), dex(1), std::string()})
    EXPECT_EQ(daemon.call(senseless), " rslt=-50");
  EXPECT_EQ(daemon.call(dex(1, record("targ", "ctag", "nope"))), " rslt=-52");
  EXPECT_EQ(daemon.call(code(0x4133), xp_code("OTHR")), " rslt=-50");
  EXPECT_EQ(daemon.call(code(0x4124)), " cook=0 rslt=0") << "and goes on serving";
}

TEST_F(standin, reads_its_state_again_when_it_changes) {
  const fs::path state = fs::path(root_.path()) / "state/mine.json";
  const standin_process process({"--root", root_.path(), "--state", state});
  const client daemon(root_.session());
  EXPECT_EQ(daemon.call(code(0x4124)), " cook=0 rslt=0");
  // Replaced as editors do it, so that a reader meets one text or the other.
  const auto replace = [&](const char *text) {
    std::ofstream(state.string() + "~") << text;
    fs::rename(state.string() + "~", state);
  };
  replace(R"({"connection":{"audit":1,"server":"other.example.com"},"computer":{"name":7}})");
  EXPECT_EQ(daemon.call(code(0x4117)), " host:other.example.com stat=0 rslt=0")
      << "what it lacks is left out";
  EXPECT_EQ(daemon.call(code(0x4133)), " name:7 rslt=0");
  EXPECT_EQ(daemon.call(dex(0)), " rslt=-52");
  replace("{ half an edit");
  EXPECT_EQ(daemon.call(code(0x4124)), " cook=1 rslt=0") << "the last good state stays";
}

TEST_F(standin, serves_the_session_it_is_told_and_never_displaces_a_daemon) {
  const auto other = std::to_string((root_.session() + 1) % 0x7fffffff);
  const standin_process told({"--root", root_.path(), "--session", other});
  ASSERT_TRUE(told.serves()) << told.errors();
  EXPECT_FALSE(fs::exists(root_.socket()));

  standin_process first(root_);
  const standin_process refused(root_);
  EXPECT_FALSE(refused.serves());
  EXPECT_NE(refused.errors().find("another daemon serves HXca"), std::string::npos) << refused.errors();
  EXPECT_EQ(client(root_.session()).call(code(0x4124)), " cook=0 rslt=0");

  // A socket that a killed daemon left behind is taken over.
  EXPECT_EQ(first.end(SIGKILL), -SIGKILL);
  EXPECT_TRUE(fs::exists(root_.socket()));
  const standin_process second(root_);
  EXPECT_TRUE(second.serves()) << second.errors();
  EXPECT_EQ(client(root_.session(), ipc_connect_mach).call(code(0x4124)), " cook=0 rslt=0");
}

TEST_F(standin, answers_wrong_arguments_with_one_line) {
  const std::string range = "--session needs a number from 0 to 2147483647";
  const std::pair<words, std::string> rows[] = {{{"--bogus"}, "unknown argument --bogus (see --help)"},
                                                {{"--root"}, "--root needs a value"},
                                                {{"--state", ""}, "--state needs a value"},
                                                {{"--session", "7x"}, range},
                                                {{"--session", "-1"}, range},
                                                {{"--session", "2147483648"}, range}};
  for (const auto &[arguments, line] : rows) {
    const program_result result = run_standin(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "corvane-standin: " + line + "\n");
  }
  EXPECT_EQ(run_standin({"--help"}).out.find("Usage: corvane-standin [--root DIR]"), 0U);
  const program_result result = run_standin({"--session", "1", "--state", "/proc/no/state"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "corvane-standin: cannot write /proc/no/state\n");
}

TEST_F(standin, makes_a_root_once_and_keeps_its_session) {
  const fs::path session =
      fs::path(root_.path()) / "Library/Corvane/Corvane.app/Contents/SharedSupport/session";
  EXPECT_EQ(make_private_root(root_.path()), root_.session());
  // Without a number the helper tells none.
  const std::pair<const char *, int64_t> texts[] = {
      {"100005\n", 100005}, {"", -1}, {"x", -1}, {"-1", -1}, {"12345678901", -1}};
  for (const auto &[text, number] : texts) {
    std::ofstream(session) << text;
    EXPECT_EQ(make_private_root(root_.path()), number) << text;
  }
  fs::remove(session);
  EXPECT_GT(make_private_root(root_.path()), 0) << "a missing number is made anew";
  EXPECT_EQ(make_private_root("/proc/no/root"), -1);
}

}  // namespace
