#include "ipc/connection.h"
#include "ipc/message.h"
#include "ipc/ntld.h"
#include "ipc/ntld_raw.h"
#include "ipc/session.h"
#include "tests/standin/standin_process.h"
#include "tests/support/leak_check.h"
#include "xp/object/ref.h"
#include "xp/plist/plist.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

constexpr uint32_t service = xp_code("HXca");

std::string read_text(const fs::path &file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return std::move(text).str();
}

// A connection of the test's own to the stand-in, and one call at a time on it.
class client {
public:
  explicit client(uint32_t session) : connection_(ipc_alloc(1, ipc_session_explicit(session))) {
    EXPECT_EQ(ipc_connect(connection_, service, 0, 2000), 0);
    ipc_settimeout(connection_, 5000);
  }
  ~client() { ipc_free(connection_); }
  client(const client &) = delete;
  client &operator=(const client &) = delete;

  [[nodiscard]] int32_t ping() const { return ipc_ping(connection_); }

  // "rslt name:text name=number ...", the records of the reply behind the result.
  std::string call(int32_t code, int32_t what = -1, const char *tag = nullptr, const char *type = "APIC") {
    xp_obj *const request = ipc_msg_alloc(code_of(type));
    xp_obj *const reply = ipc_msg_alloc(0);
    ipc_msg_start_params(request);
    if (code >= 0) ipc_msg_set_param_long(request, xp_code("code"), code);
    if (what >= 0) ipc_msg_set_param_long(request, xp_code("what"), what);
    if (tag != nullptr) ipc_msg_set_param(request, xp_code("targ"), xp_code("ctag"), tag, 4);
    ipc_msg_end_params(request);
    EXPECT_EQ(ipc_call(connection_, request, reply), 0);
    const std::string answer = describe(ipc_msg_get_content_ptr(reply));
    ipc_msg_free(request);
    ipc_msg_free(reply);
    return answer;
  }

private:
  static uint32_t code_of(const char *four) {
    uint32_t code = 0;
    memcpy(&code, four, sizeof code);
    return code;
  }

  static std::string describe(const uint8_t *block) {
    std::string result;
    std::string records;
    for (uint32_t i = 0; i < xp_ntld_raw_count(block); ++i) {
      const uint8_t *record = xp_ntld_raw_getbyindex(block, i);
      const uint32_t name = xp_ntld_raw_name(record);
      const std::string shown(reinterpret_cast<const char *>(&name), sizeof name);
      if (name == xp_code("rslt"))
        result = std::to_string(xp_ntld_raw_long(record));
      else if (xp_ntld_raw_type(record) == xp_code("long"))
        records += " " + shown + "=" + std::to_string(xp_ntld_raw_long(record));
      else
        records +=
            " " + shown + ":" +
            std::string(reinterpret_cast<const char *>(xp_ntld_raw_data(record)), xp_ntld_raw_length(record));
    }
    return result + records;
  }

  xp_obj *connection_;
};

class standin : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    std::string name = (fs::temp_directory_path() / "corvane-standin-XXXXXX").string();
    root_ = mkdtemp(name.data());
    session_ = make_private_root(root_);
    ASSERT_GT(session_, 0);
  }
  void TearDown() override {
    fs::remove_all(root_);
    leak_check::TearDown();
  }

  [[nodiscard]] fs::path socket() const {
    char name[18];
    snprintf(name, sizeof name, "48586361-%08X", static_cast<unsigned>(session_));
    return fs::path("/var/tmp/com.brindle.pipes") / name;
  }
  [[nodiscard]] standin_arguments below_root() const { return {"--root", root_.string()}; }
  [[nodiscard]] client connect() const { return client(static_cast<uint32_t>(session_)); }

  fs::path root_;
  int64_t session_ = 0;
};

TEST_F(standin, serves_its_data_until_it_is_stopped) {
  for (const int signal : {SIGTERM, SIGINT}) {
    standin_process process(below_root());
    ASSERT_TRUE(process.serves()) << process.errors();
    EXPECT_TRUE(fs::exists(socket()));
    {
      client daemon = connect();
      EXPECT_EQ(daemon.ping(), 0);
      EXPECT_EQ(
          daemon.call(0x4117),
          "0 host:corvane.example.com zone:192.0.2.24:443 user:robin.sample maid:4F1C-90A2-77DE stat=1");
      EXPECT_EQ(daemon.call(0x4124), "0 cook=0");
      EXPECT_EQ(daemon.call(0x4133), "0 name:sample-laptop madr:02:00:5e:10:20:30 oeid:SMPL0042");
    }
    EXPECT_EQ(process.end(signal), 0) << process.errors();
    EXPECT_FALSE(fs::exists(socket())) << "the socket file goes with the daemon";
  }
}

TEST_F(standin, tells_dex_data_as_json) {
  const standin_process process(below_root());
  ASSERT_TRUE(process.serves()) << process.errors();
  client daemon = connect();
  const struct {
    int32_t what;
    const char *tag;
    const char *path;
  } rows[] = {{0, nullptr, "/items/#4/tag"}, {1, "memu", "/#2/value"}, {2, nullptr, "/#2/name"}};
  for (const auto &row : rows) {
    const std::string answer = daemon.call(0x4135, row.what, row.tag);
    const std::string head = "0 parm:";
    ASSERT_EQ(answer.substr(0, head.size()), head) << answer;
    const std::string text = answer.substr(head.size());
    const xp::ref list =
        xp::ref::adopt(xp_plist_parse(text.data(), static_cast<int64_t>(text.size()), XP_PLIST_JSON));
    EXPECT_TRUE(xp::ref::adopt(xp_plist_get(list.get(), row.path))) << text;
  }
}

TEST_F(standin, refuses_everything_else) {
  const standin_process process(below_root());
  ASSERT_TRUE(process.serves()) << process.errors();
  client daemon = connect();
  for (const int32_t code : {0, 0x410e, 0x4116, 0x4118, 0x4137, 0x4138})
    EXPECT_EQ(daemon.call(code), "-51") << code;
  EXPECT_EQ(daemon.call(0x4135), "-50") << "without what";
  EXPECT_EQ(daemon.call(0x4135, 3), "-50");
  EXPECT_EQ(daemon.call(0x4135, 1), "-50") << "without a tag";
  EXPECT_EQ(daemon.call(0x4135, 1, "nope"), "-52");
  EXPECT_EQ(daemon.call(-1), "-50") << "without a code";
  EXPECT_EQ(daemon.call(0x4133, -1, nullptr, "OTHR"), "-50");
  EXPECT_EQ(daemon.call(0x4124), "0 cook=0") << "and goes on serving";
}

TEST_F(standin, reads_its_state_again_when_it_changes) {
  const fs::path state = root_ / "state" / "mine.json";
  const standin_process process({"--root", root_.string(), "--state", state.string()});
  ASSERT_TRUE(process.serves()) << process.errors();
  client daemon = connect();
  EXPECT_EQ(daemon.call(0x4124), "0 cook=0");
  // Replaced as editors do it, so that a reader meets one text or the other.
  const auto replace = [&](const char *text) {
    std::ofstream(state.string() + "~") << text;
    fs::rename(state.string() + "~", state);
  };
  replace(R"({"connection":{"audit":1,"server":"other.example.com"},"computer":{"name":7}})");
  EXPECT_EQ(daemon.call(0x4124), "0 cook=1");
  EXPECT_EQ(daemon.call(0x4117), "0 host:other.example.com stat=0") << "what the state lacks is left out";
  EXPECT_EQ(daemon.call(0x4133), "0 name:7");
  EXPECT_EQ(daemon.call(0x4135, 0), "-52");
  replace("{ half an edit");
  EXPECT_EQ(daemon.call(0x4124), "0 cook=1") << "the last good state stays";
}

TEST_F(standin, serves_the_session_it_is_told_and_never_displaces_a_daemon) {
  const auto other = std::to_string((session_ + 1) % 0x7fffffff);
  standin_process told({"--root", root_.string(), "--session", other});
  ASSERT_TRUE(told.serves()) << told.errors();
  EXPECT_FALSE(fs::exists(socket()));

  standin_process first(below_root());
  ASSERT_TRUE(first.serves()) << first.errors();
  std::string errors;
  EXPECT_EQ(run_standin(below_root(), &errors), 1);
  EXPECT_NE(errors.find("another daemon serves HXca"), std::string::npos) << errors;
  EXPECT_EQ(connect().ping(), 0);

  // A socket that a killed daemon left behind is taken over.
  EXPECT_EQ(first.end(SIGKILL), -SIGKILL);
  EXPECT_TRUE(fs::exists(socket()));
  standin_process second(below_root());
  EXPECT_TRUE(second.serves()) << second.errors();
  EXPECT_EQ(second.end(), 0);
}

TEST_F(standin, answers_wrong_arguments_with_one_line) {
  const struct {
    standin_arguments arguments;
    const char *line;
  } rows[] = {
      {{"--bogus"}, "unknown argument --bogus (see --help)"},
      {{"--root"}, "--root needs a value"},
      {{"--state", ""}, "--state needs a value"},
      {{"--session", "7x"}, "--session needs a number from 0 to 2147483647"},
      {{"--session", "-1"}, "--session needs a number from 0 to 2147483647"},
      {{"--session", "2147483648"}, "--session needs a number from 0 to 2147483647"},
      {{"--make-root"}, "--make-root needs a value"},
  };
  for (const auto &row : rows) {
    std::string errors;
    EXPECT_EQ(run_standin(row.arguments, &errors), 2);
    EXPECT_EQ(errors, std::string("corvane-standin: ") + row.line + "\n");
  }
  std::string help;
  EXPECT_EQ(run_standin({"--help"}, &help, STDOUT_FILENO), 0);
  for (const char *word : {"--root", "--state", "--session", "--make-root"})
    EXPECT_NE(help.find(word), std::string::npos);
  std::string errors;
  EXPECT_EQ(run_standin({"--session", "1", "--state", "/proc/no/state"}, &errors), 1);
  EXPECT_EQ(errors, "corvane-standin: cannot write /proc/no/state\n");
}

TEST_F(standin, makes_a_root_once_and_keeps_its_session) {
  const fs::path contents = root_ / "Library/Corvane/Corvane.app/Contents";
  EXPECT_NE(read_text(contents / "Info.plist").find("<string>com.brindle.Corvane</string>"),
            std::string::npos);
  EXPECT_EQ(make_private_root(root_), session_);
  std::ofstream(contents / "SharedSupport/session") << "100005\n";
  EXPECT_EQ(make_private_root(root_), 100005);

  // Without a number the helper tells none.
  for (const char *text : {"", "x", "-1", "12345678901"}) {
    std::ofstream(contents / "SharedSupport/session") << text;
    EXPECT_EQ(make_private_root(root_), -1) << text;
  }
  fs::remove(contents / "SharedSupport/session");
  EXPECT_GT(make_private_root(root_), 0) << "a missing number is made anew";
  EXPECT_EQ(make_private_root("/proc/no/root"), -1);
}

}  // namespace
