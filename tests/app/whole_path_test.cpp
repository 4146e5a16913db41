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
#include "tests/support/wait.h"
#include "tests/webview/recording_engine.h"
#include "webview/webview.h"
#include "xp/object/ref.h"
#include "xp/service/main_queue.h"

#include <optional>

namespace {

// No daemon is an answer after half a second here.
constexpr vane_apic_limits quick = {.lookup = 0, .present = 200, .absent = 200, .call = 5000};

class whole_path : public leak_check {
protected:
  static void SetUpTestSuite() {
    root_.emplace();
    setenv("CORVANE_ROOT", root_->path().c_str(), 1);
    ASSERT_EQ(__builtin_bswap32(ipc_session_id(IPC_SESSION_HELPER)), root_->session()) << "ours alone";
  }
  static void TearDownTestSuite() {
    unsetenv("CORVANE_ROOT");
    root_.reset();
  }

  void SetUp() override {
    leak_check::SetUp();
    vane_apic_setlimits(&quick);
    cv_setup_setvane(no_framework_.get());
    xp_webview_setplatform(&platform_);
    view_ = xp::ref::adopt(xp_webview_new(nullptr, 360, 720, cv_setup_ui_callback, 0));
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

  // Posts a request as the page does and returns the script that answers it.
  std::string ask(const std::string &method, const std::string &args = "{}") {
    platform_.log.clear();
    platform_.engine->post(++number_, R"({"method":")" + method + R"(","args":)" + args + R"(,"id":1})");
    EXPECT_TRUE(wait_until([] { return xp_main_pump() > 0; }));
    platform_.engine->finish_scripts();
    EXPECT_EQ(platform_.log.size(), 1U);
    const std::string head = "run xp_native.response(" + std::to_string(number_) + ", ";
    EXPECT_TRUE(platform_.last().starts_with(head)) << platform_.last();
    return platform_.last().substr(std::min(head.size(), platform_.last().size()));
  }

  static inline std::optional<private_root> root_;
  std::unique_ptr<cv_setup_vane> no_framework_ = cv_setup_loadvane(nullptr);
  recording_platform platform_;
  xp::ref view_;
  int number_ = 0;
};

TEST_F(whole_path, the_daemons_data_reaches_the_page) {
  const standin_process daemon(*root_);
  ASSERT_TRUE(daemon.serves()) << daemon.errors();
  EXPECT_EQ(ask("conn-info"),
            R"({"audit":false,"computerid":"4F1C-90A2-77DE","connected":true,"server":"corvane.example.com",)"
            R"("serveraddress":"192.0.2.24:443","username":"robin.sample"});)");
  EXPECT_EQ(
      ask("Host-Info", "null"),
      R"({"computername":"sample-laptop","macaddress":"02:00:5e:10:20:30","serialnumber":"SMPL0042"});)");
  const std::string scripts = ask("script-list");
  EXPECT_TRUE(scripts.starts_with(R"([{"description":"Removes temporary files)")) << scripts;
  EXPECT_NE(scripts.find(R"("id":"restart-print")"), std::string::npos) << scripts;
  EXPECT_TRUE(ask("dex-history", R"({"tag":"memu"})").starts_with(R"([{"day":"2026-01-10","value":58})"));
  EXPECT_EQ(ask("logon", R"({"address":"server.example.com"})"), R"({"ok":false});)") << "it refuses";
}

TEST_F(whole_path, answers_stay_documented_while_the_daemon_is_gone) {
  standin_process first(*root_);
  EXPECT_NE(ask("host-info"), "{});");
  EXPECT_EQ(first.end(SIGKILL), -SIGKILL);
  EXPECT_EQ(ask("conn-info"), "{});");
  EXPECT_EQ(ask("script-list"), "{});");
  EXPECT_EQ(ask("ticket", R"({"subject":"a"})"), R"({"failure":-55});)");
  const standin_process second(*root_);
  EXPECT_NE(ask("host-info").find("sample-laptop"), std::string::npos);
}

TEST_F(whole_path, the_page_gets_its_own_files) {
  cv_setup_setbundle(CORVANE_SOURCE_DIR "/resources");
  const recorded_reply page = platform_.engine->request("local://app/setup.html");
  EXPECT_EQ(page.head, "200 text/html Content-Type=text/html Cache-Control=no-store");
  EXPECT_EQ(page.bytes.size(), std::filesystem::file_size(CORVANE_SOURCE_DIR "/resources/app/setup.html"));
  const recorded_reply missing = platform_.engine->request("local://app/none.css");
  EXPECT_EQ(missing.head + missing.bytes, "200 text/css Content-Type=text/css Cache-Control=no-store");
  cv_setup_setbundle(nullptr);
}

}  // namespace
