// The whole way of a request, in one process with all the real pieces but the engine and the window: a
// message of the page goes in, crosses bridge, dispatcher, connection and a real daemon process, and comes
// out as a script for the page.

#include "ipc/session.h"
#include "setup/apic.h"
#include "setup/dispatcher.h"
#include "setup/resources.h"
#include "setup/vane.h"
#include "tests/standin/standin_process.h"
#include "tests/support/leak_check.h"
#include "tests/webview/recording_engine.h"
#include "webview/webview.h"
#include "xp/object/ref.h"
#include "xp/service/main_queue.h"
#include "xp/string/string.h"

#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

// No daemon is an answer after half a second here.
constexpr vane_apic_limits quick = {.lookup = 0, .present = 200, .absent = 200, .call = 5000};

class whole_path : public leak_check {
protected:
  static void SetUpTestSuite() {
    std::string name = (fs::temp_directory_path() / "corvane-path-XXXXXX").string();
    root_ = mkdtemp(name.data());
    ASSERT_GT(make_private_root(root_), 0);
    setenv("CORVANE_ROOT", root_.c_str(), 1);
    session_ = __builtin_bswap32(ipc_session_id(IPC_SESSION_HELPER));
  }
  static void TearDownTestSuite() {
    unsetenv("CORVANE_ROOT");
    fs::remove_all(root_);
  }

  void SetUp() override {
    leak_check::SetUp();
    ASSERT_NE(session_, 0U) << "the helper's number is ours alone";
    vane_apic_setlimits(&quick);
    no_framework_ = cv_setup_loadvane(nullptr);
    cv_setup_setvane(no_framework_.get());
    xp_webview_setplatform(&platform_);
    view_ = xp::ref::adopt(xp_webview_new(nullptr, 360, 720, cv_setup_ui_callback, 0));
    ASSERT_NE(platform_.engine, nullptr);
    platform_.engine->show_page("local://app/setup.html");
  }
  void TearDown() override {
    view_ = nullptr;
    xp_main_pump();
    xp_webview_setplatform(nullptr);
    cv_setup_setvane(nullptr);
    vane_apic_setlimits(nullptr);
    leak_check::TearDown();
  }

  static standin_arguments arguments() {
    return {"--root", root_.string(), "--session", std::to_string(session_)};
  }

  // Posts a request as the page does and returns the script that answers it.
  std::string ask(const std::string &method, const std::string &args = "{}") {
    const int number = ++last_number_;
    platform_.take_log();
    platform_.engine->post(number, R"({"method":")" + method + R"(","args":)" + args + R"(,"id":1})");
    for (int i = 0; i < 10000 && platform_.log.empty(); ++i) {
      std::this_thread::sleep_for(1ms);
      xp_main_pump();
    }
    platform_.engine->finish_scripts();
    const std::string head = "run xp_native.response(" + std::to_string(number) + ", ";
    const std::string line = platform_.last();
    EXPECT_EQ(platform_.log.size(), 1U);
    EXPECT_EQ(line.substr(0, head.size()), head);
    return line.substr(std::min(head.size(), line.size()));
  }

  static inline fs::path root_;
  static inline uint32_t session_ = 0;

  recording_platform platform_;
  std::unique_ptr<cv_setup_vane> no_framework_;
  xp::ref view_;
  int last_number_ = 0;
};

TEST_F(whole_path, the_daemons_data_reaches_the_page) {
  const standin_process daemon(arguments());
  ASSERT_TRUE(daemon.serves()) << daemon.errors();
  EXPECT_EQ(ask("conn-info"),
            R"({"audit":false,"computerid":"4F1C-90A2-77DE","connected":true,"server":"corvane.example.com",)"
            R"("serveraddress":"192.0.2.24:443","username":"robin.sample"});)");
  EXPECT_EQ(
      ask("Host-Info", "null"),
      R"({"computername":"sample-laptop","macaddress":"02:00:5e:10:20:30","serialnumber":"SMPL0042"});)");
  EXPECT_EQ(
      ask("capabilities"),
      R"({"ageMessages":false,"ageMessagesAllowed":false,"askForFeedback":true,"assets":false,"fda":false,)"
      R"("feedback":false,"info":false,"kcheck":false,"kv":false,"locked":true,"pauseDex":false,)"
      R"("pauseDexAllowed":false,"problem":false,"scripts":true,"showTrayMenu":true,"ticket":false});)");
  const std::string scripts = ask("script-list");
  EXPECT_EQ(scripts.find(R"([{"description":"Removes temporary files)"), 0U) << scripts;
  EXPECT_NE(scripts.find(R"("id":"restart-print")"), std::string::npos) << scripts;
  EXPECT_EQ(ask("dex-history", R"({"tag":"memu"})").find(R"([{"day":"2026-01-10","value":58})"), 0U);
  EXPECT_EQ(ask("dex-history", R"({"tag":"mem"})"), "{});") << "a tag that is too short";
  EXPECT_EQ(ask("logon", R"({"address":"server.example.com"})"), R"({"ok":false});)")
      << "the stand-in refuses";
}

TEST_F(whole_path, answers_stay_documented_while_the_daemon_is_gone) {
  standin_process first(arguments());
  ASSERT_TRUE(first.serves()) << first.errors();
  EXPECT_NE(ask("host-info"), "{});");
  EXPECT_EQ(first.end(SIGKILL), -SIGKILL);
  EXPECT_EQ(ask("conn-info"), "{});");
  EXPECT_EQ(ask("host-info"), "{});");
  EXPECT_EQ(ask("script-list"), "{});");
  EXPECT_EQ(ask("ticket", R"({"subject":"a"})"), R"({"failure":-55});)");

  const standin_process second(arguments());
  ASSERT_TRUE(second.serves()) << second.errors();
  EXPECT_NE(ask("host-info").find("sample-laptop"), std::string::npos);
}

TEST_F(whole_path, the_page_gets_its_own_files) {
  fs::create_directories(root_ / "Resources/app");
  fs::copy_file(CORVANE_SOURCE_DIR "/resources/app/setup.html", root_ / "Resources/app/setup.html");
  cv_setup_setbundle((root_ / "Resources").c_str());
  const recorded_reply page = platform_.engine->request("local://app/setup.html");
  EXPECT_EQ(page.head, "200 text/html Content-Type=text/html Cache-Control=no-store");
  EXPECT_EQ(page.bytes.size(), fs::file_size(root_ / "Resources/app/setup.html"));
  const recorded_reply missing = platform_.engine->request("local://app/none.css");
  EXPECT_EQ(missing.head, "200 text/css Content-Type=text/css Cache-Control=no-store");
  EXPECT_EQ(missing.bytes, "");
  cv_setup_setbundle(nullptr);
}

}  // namespace
