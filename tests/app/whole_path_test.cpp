// The whole way of a request, in one process with all the real pieces but the engine and the window: a
// message of the page goes in, crosses bridge, dispatcher, connection and a real daemon process, and comes
// out as a script for the page.

#include "ipc/session.h"
#include "setup/apic.h"
#include "setup/dispatcher.h"
#include "setup/vane.h"
#include "tests/standin/standin_process.h"
#include "tests/support/wait.h"
#include "tests/webview/webview_fixture.h"

#include <optional>

namespace {

// A daemon that has gone is not waited for.
constexpr vane_apic_limits quick = {.lookup = 0, .present = 200, .absent = 200, .call = 5000};

class whole_path : public webview_fixture {
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
    webview_fixture::SetUp();
    cv_setup_setvane(no_framework_.get());
    answer = [this](uint32_t event, xp_obj *argument) {
      return cv_setup_ui_callback(wrapper(), event, argument, 0);
    };
    engine().show_page("local://app/setup.html");
  }
  void TearDown() override {
    cv_setup_setvane(nullptr);
    vane_apic_setlimits(nullptr);
    webview_fixture::TearDown();
  }

  // Posts a request as the page does and returns the script that answers it.
  std::string ask(const std::string &method, const std::string &args = "{}") {
    platform.log.clear();
    engine().post(++number_, R"({"method":")" + method + R"(","args":)" + args + R"(,"id":1})");
    EXPECT_TRUE(wait_until([] { return xp_main_pump() > 0; }));
    engine().finish_scripts();
    EXPECT_EQ(platform.log.size(), 1U);
    const std::string head = "run xp_native.response(" + std::to_string(number_) + ", ";
    EXPECT_TRUE(platform.last().starts_with(head)) << platform.last();
    return platform.last().substr(std::min(head.size(), platform.last().size()));
  }

  static inline std::optional<private_root> root_;
  std::unique_ptr<cv_setup_vane> no_framework_ = cv_setup_loadvane(nullptr);
  int number_ = 0;
};

TEST_F(whole_path, a_request_comes_back_with_what_the_daemon_told_or_that_it_is_gone) {
  standin_process first(*root_);
  ASSERT_TRUE(first.serves()) << first.errors();
  EXPECT_EQ(ask("conn-info"),
            R"({"audit":false,"computerid":"4F1C-90A2-77DE","connected":true,"server":"corvane.example.com",)"
            R"("serveraddress":"192.0.2.24:443","username":"robin.sample"});)");
  const std::string host =
      R"({"computername":"sample-laptop","macaddress":"02:00:5e:10:20:30","serialnumber":"SMPL0042"});)";
  EXPECT_EQ(ask("Host-Info", "null"), host);
  EXPECT_TRUE(ask("dex-history", R"({"tag":"memu"})").starts_with(R"([{"day":"2026-01-10","value":58})"));
  EXPECT_EQ(ask("logon", R"({"address":"server.example.com"})"), R"({"ok":false});)") << "it refuses";

  EXPECT_EQ(first.end(SIGKILL), -SIGKILL);
  vane_apic_setlimits(&quick);
  EXPECT_EQ(ask("conn-info"), "{});");
  EXPECT_EQ(ask("ticket", R"({"subject":"a"})"), R"({"failure":-55});)");
  const standin_process second(*root_);
  vane_apic_setlimits(nullptr);
  EXPECT_EQ(ask("host-info"), host);
}

}  // namespace
