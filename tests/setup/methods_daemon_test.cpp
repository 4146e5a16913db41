#include "ipc/session.h"
#include "setup/apic.h"
#include "tests/setup/call_method.h"
#include "tests/setup/scripted_daemon.h"
#include "tests/setup/scripted_vane.h"
#include "tests/support/leak_check.h"

#include <sys/socket.h>

#include <string>
#include <vector>

namespace {

using lines = std::vector<std::string>;

constexpr vane_apic_limits quick = {.lookup = 0, .present = 100, .absent = 0, .call = 2000};

scripted_record text(const char (&name)[5], std::string bytes) {
  uint32_t code;
  memcpy(&code, name, sizeof code);
  return {code, {}, std::move(bytes)};
}

scripted_record number(const char (&name)[5], int32_t value) {
  uint32_t code;
  memcpy(&code, name, sizeof code);
  return {code, value, {}};
}

class methods_daemon : public leak_check {
protected:
  void SetUp() override {
    ipc_session_id(IPC_SESSION_HELPER);  // asked once for the process
    leak_check::SetUp();
    vane_apic_setlimits(&quick);
    cv_setup_setvane(&vane_);
  }
  void TearDown() override {
    daemon_.stop();
    vane_apic_setlimits(nullptr);
    cv_setup_setvane(nullptr);
    leak_check::TearDown();
  }

  // Restarts the daemon with one answer for every code of the table.
  void answer(const scripted_answer &answer) {
    daemon_.stop();
    for (const uint32_t code : {0x410eU, 0x4117U, 0x4124U, 0x4133U, 0x4135U, 0x4137U, 0x4138U})
      daemon_.answers[code] = answer;
    daemon_.start();
  }

  scripted_daemon daemon_;
  scripted_vane vane_;
};

TEST_F(methods_daemon, conn_info_joins_two_replies) {
  daemon_.answers[0x4117].records = {text("host", "server.example.com"), text("zone", "192.0.2.1"),
                                     text("user", "robin"), text("maid", "4F-1C"),
                                     number("stat", 0x7FFFFFFD)};
  daemon_.answers[0x4124].records = {number("cook", -1)};
  daemon_.start();
  EXPECT_EQ(call_method("conn-info"),
            R"({"audit":true,"computerid":"4F-1C","connected":true,"server":"server.example.com",)"
            R"("serveraddress":"192.0.2.1","username":"robin"})");
  EXPECT_EQ(daemon_.take_requests(), (lines{"4117 indx=0", "4124"}));

  // Each call that fails leaves its own keys out, and strings that are missing or empty are left out too.
  daemon_.stop();
  daemon_.answers[0x4117].records = {number("stat", 3), text("host", ""), number("user", 7)};
  daemon_.answers[0x4124].result = 1;
  daemon_.start();
  EXPECT_EQ(call_method("conn-info"), R"({"connected":false,"username":"    "})");
  daemon_.stop();
  daemon_.answers[0x4117].result = -1;
  daemon_.answers[0x4124] = {.records = {text("cook", "\1\1\1\1")}};
  daemon_.start();
  EXPECT_EQ(call_method("conn-info"), R"({"audit":false})");
}

TEST_F(methods_daemon, host_info_names_the_computer) {
  daemon_.answers[0x4133].records = {text("oeid", std::string("S\0N", 3)), text("name", "M\xc3\xbcller"),
                                     text("madr", "02:00:5e:00:00:01")};
  daemon_.start();
  EXPECT_EQ(call_method("HOST-info", "null"),
            R"({"computername":"Müller","macaddress":"02:00:5e:00:00:01","serialnumber":"S N"})");
  EXPECT_EQ(daemon_.take_requests(), lines{"4133"});
}

TEST_F(methods_daemon, dex_methods_return_the_tree_in_the_reply) {
  const struct {
    const char *parm;
    const char *result;
  } rows[] = {
      {R"({"a":[1,2.5,"x"]})", R"({"a":[1,2.5,"x"]})"},
      {"[1]", "[1]"},
      {R"({"a":)", "none"},
      {"<plist><dict/></plist>", "none"},
      {"{} {}", "none"},
      {"", "none"},
  };
  for (const auto &row : rows) {
    answer({.records = {text("parm", row.parm)}});
    EXPECT_EQ(call_method("dex-stats"), row.result) << row.parm;
    EXPECT_EQ(call_method("script-list"), row.result) << row.parm;
    EXPECT_EQ(call_method("dex-history", R"({"tag":"cpul"})"), row.result) << row.parm;
    EXPECT_EQ(daemon_.take_requests(), (lines{"4135 what=0", "4135 what=2", "4135 what=1 targ!cpul"}));
  }
  answer({.records = {number("rest", 1)}});
  EXPECT_EQ(call_method("dex-stats"), "none");
}

TEST_F(methods_daemon, dex_history_wants_four_bytes_of_tag) {
  answer({.records = {text("parm", "[]")}});
  const struct {
    const char *args;
    lines requests;
  } rows[] = {
      {R"({"tag":"cpu"})", {}},
      {R"({"tag":"cpul"})", {"4135 what=1 targ!cpul"}},
      {R"({"tag":"cpuload"})", {"4135 what=1 targ!cpul"}},
      {R"({"tag":"éé"})", {"4135 what=1 targ!éé"}},
      {R"({"tag":1234})", {}},
      {R"({"tag":["cpul"]})", {}},
      {"{}", {}},
      {"null", {}},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(call_method("dex-history", row.args), row.requests.empty() ? "none" : "[]") << row.args;
    EXPECT_EQ(daemon_.take_requests(), row.requests) << row.args;
  }
}

TEST_F(methods_daemon, run_scripts_hands_the_text_over_and_forgets) {
  answer({});
  EXPECT_EQ(call_method("run-scripts", R"({"remediation":"clear caches"})"), "none");
  EXPECT_EQ(daemon_.take_requests(), lines{"4137 what:clear caches"});
  for (const char *args : {R"({"remediation":""})", R"({"remediation":true})", "{}", "[]"})
    EXPECT_EQ(call_method("run-scripts", args), "none");
  EXPECT_EQ(daemon_.take_requests(), lines{});
}

TEST_F(methods_daemon, logon_sets_the_server_before_it_authenticates) {
  answer({});
  EXPECT_EQ(call_method("logon", R"({"address":"server.example.com"})"), R"({"ok":true})");
  EXPECT_EQ(call_method("logon", R"({"address":""})"), R"({"ok":true})");
  EXPECT_EQ(daemon_.take_requests(), (lines{"410e trns=1 host:server.example.com", "410e trns=1 host:"}));
  EXPECT_EQ(vane_.calls, (lines{"authenticate 0", "authenticate 0"}));
  vane_.calls.clear();
  for (const char *args : {R"({"address":7})", "{}", "null"})
    EXPECT_EQ(call_method("logon", args), R"({"ok":false})");
  EXPECT_EQ(daemon_.take_requests(), lines{});
  answer({.result = 5});
  EXPECT_EQ(call_method("logon", R"({"address":"server.example.com"})"), R"({"ok":false})");
  EXPECT_EQ(vane_.calls, lines{});
}

TEST_F(methods_daemon, ticket_travels_with_what_the_page_filled_in) {
  answer({.records = {text("tokn", "T-1")}});
  EXPECT_EQ(call_method("ticket", R"({"subject":"a","description":"b","username":"c","urgency":"high"})"),
            R"({"token":"T-1"})");
  EXPECT_EQ(call_method("ticket", R"({"subject":"a","description":"","username":7,"urgency":0})"),
            R"({"token":"T-1"})");
  EXPECT_EQ(daemon_.take_requests(), (lines{"4138 what:a desc:b name:c prio=1", "4138 what:a desc: prio=0"}));
  for (const char *args : {R"({"subject":""})", R"({"subject":1})", R"({"description":"b"})"})
    EXPECT_EQ(call_method("ticket", args), "none");
  EXPECT_EQ(daemon_.take_requests(), lines{});

  answer({.records = {number("resn", -3), text("tokn", "")}});
  EXPECT_EQ(call_method("ticket", R"({"subject":"a"})"), R"({"failure":-3})");
  answer({.records = {number("resn", 0)}});
  EXPECT_EQ(call_method("ticket", R"({"subject":"a"})"), "{}");
  answer({.result = 9, .records = {number("resn", 2), text("tokn", "T")}});
  EXPECT_EQ(call_method("ticket", R"({"subject":"a"})"), R"({"failure":-55})");
}

// The block holds 266,168 bytes less what surrounds it: an argument that does not fit fails the method.
TEST_F(methods_daemon, nothing_is_sent_without_an_argument_that_does_not_fit) {
  answer({});
  const std::string huge(300000, 'x');
  EXPECT_EQ(call_method("logon", R"({"address":")" + huge + R"("})"), R"({"ok":false})");
  EXPECT_EQ(call_method("run-scripts", R"({"remediation":")" + huge + R"("})"), "none");
  EXPECT_EQ(call_method("ticket", R"({"subject":"a","description":")" + huge + R"("})"),
            R"({"failure":-55})");
  EXPECT_EQ(daemon_.take_requests(), lines{});
  EXPECT_EQ(vane_.calls, lines{});
  EXPECT_EQ(call_method("run-scripts", R"({"remediation":")" + huge.substr(0, 260000) + R"("})"), "none");
  EXPECT_EQ(daemon_.take_requests().size(), 1U);
}

// Every way in which a daemon can fail to answer gives the same documented answer.
class methods_without_a_daemon : public methods_daemon {
protected:
  static void expect_documented_answers(const char *how) {
    const struct {
      const char *method;
      const char *args;
      const char *result;
    } rows[] = {
        {"conn-info", "{}", "{}"},
        {"host-info", "{}", "{}"},
        {"dex-stats", "{}", "none"},
        {"dex-history", R"({"tag":"cpul"})", "none"},
        {"script-list", "{}", "none"},
        {"run-scripts", R"({"remediation":"a"})", "none"},
        {"logon", R"({"address":"a"})", R"({"ok":false})"},
        {"ticket", R"({"subject":"a"})", R"({"failure":-55})"},
    };
    for (const auto &row : rows)
      EXPECT_EQ(call_method(row.method, row.args), row.result) << how << ": " << row.method;
  }
};

TEST_F(methods_without_a_daemon, answers_are_the_documented_ones) {
  expect_documented_answers("no daemon");
  answer({.result = -7, .records = {text("parm", "[]"), text("host", "a")}});
  expect_documented_answers("refusal");
  answer({.result = {}, .records = {text("parm", "[]"), text("host", "a")}});
  expect_documented_answers("reply without result");
  daemon_.stop();
  {
    const raw_daemon dying([](int client) {
      char request[4096];
      recv(client, request, sizeof request, 0);
    });
    expect_documented_answers("dying daemon");
  }
  const raw_daemon truncating([](int client) {
    char request[4096];
    recv(client, request, sizeof request, 0);
    send(client, "msgddata\0\0\1\0calllong\0\0\0\4@!*%ipcpdata", 36, MSG_NOSIGNAL);
  });
  expect_documented_answers("truncated reply");
}

}  // namespace
