#include "setup/apic.h"
#include "tests/setup/call_method.h"
#include "tests/setup/scripted_daemon.h"
#include "tests/setup/scripted_vane.h"

namespace {

std::string text(const char *name, const std::string &bytes) {
  return record(name, "text", bytes);
}
std::string number(const char *name, int32_t value) {
  return record(name, "long", be32(static_cast<uint32_t>(value)));
}

class methods_daemon : public vane_fixture {
protected:
  void TearDown() override {
    daemon_.stop();
    vane_fixture::TearDown();
  }

  // What daemon and framework were asked since the last call, a line for each.
  std::string asked() {
    std::string lines;
    for (const words &each : {daemon_.take_requests(), take_calls()}) {
      for (const std::string &line : each)
        lines += line + "\n";
    }
    return lines;
  }

  scripted_daemon daemon_;
};

TEST_F(methods_daemon, conn_info_joins_two_replies) {
  const std::string whole = text("host", "server.example.com") + text("zone", "192.0.2.1") +
                            text("user", "robin") + text("maid", "4F-1C") + number("stat", 0x7FFFFFFD);
  const std::string told = R"("computerid":"4F-1C","connected":true,"server":"server.example.com",)"
                           R"("serveraddress":"192.0.2.1","username":"robin")";
  // Each call that fails leaves its own keys out, and strings that are missing or empty are left out too.
  const struct {
    scripted_answer connection, audit;
    std::string result;
  } rows[] = {
      {{.records = whole}, {.records = number("cook", -1)}, "{\"audit\":true," + told + "}"},
      {{.records = whole}, {.result = 1}, "{" + told + "}"},
      {{.records = number("stat", 3) + text("host", "") + number("user", 0x41424344)},
       {.result = 1},
       R"({"connected":false,"username":"ABCD"})"},
      {{.result = -1, .records = whole}, {.records = text("cook", "\1\1\1\1")}, R"({"audit":false})"},
  };
  for (const auto &row : rows) {
    daemon_.serve({}, {{0x4117, row.connection}, {0x4124, row.audit}});
    EXPECT_EQ(call_method("conn-info"), row.result);
    EXPECT_EQ(asked(), "4117 indx=0\n4124\n");
  }
}

TEST_F(methods_daemon, one_call_one_answer) {
  const std::string ok = R"({"ok":true})", not_ok = R"({"ok":false})", token = R"({"token":"T-1"})";
  const std::string dict = R"({"a":[1,2.5,"x"]})", list = text("parm", "[]");
  const struct {
    const char *method;
    std::string args, records, result;
    const char *asked;
  } rows[] = {
      {"HOST-info", "null", text("oeid", "S\0N"s) + text("name", "M\xc3\xbcller") + text("madr", "02:00"),
       R"({"computername":"Müller","macaddress":"02:00","serialnumber":"S N"})", "4133\n"},
      // Only JSON text is a tree.
      {"dex-stats", "{}", text("parm", dict), dict, "4135 what=0\n"},
      {"script-list", "{}", text("parm", "[1]"), "[1]", "4135 what=2\n"},
      {"dex-stats", "{}", text("parm", R"({"a":)"), "none", "4135 what=0\n"},
      {"dex-stats", "{}", text("parm", "<plist><dict/></plist>"), "none", "4135 what=0\n"},
      {"dex-stats", "{}", text("parm", "{} {}"), "none", "4135 what=0\n"},
      {"dex-stats", "{}", text("parm", ""), "none", "4135 what=0\n"},
      {"dex-stats", "{}", number("rest", 1), "none", "4135 what=0\n"},
      // Four bytes of tag, no fewer.
      {"dex-history", R"({"tag":"cpul"})", list, "[]", "4135 what=1 targ!cpul\n"},
      {"dex-history", R"({"tag":"éé"})", list, "[]", "4135 what=1 targ!éé\n"},
      {"dex-history", R"({"tag":"cpuload"})", list, "[]", "4135 what=1 targ!cpul\n"},
      {"dex-history", R"({"tag":"cpu"})", list, "none", ""},
      {"dex-history", R"({"tag":["cpul"]})", list, "none", ""},
      {"dex-history", "null", list, "none", ""},
      {"run-scripts", R"({"remediation":"clear caches"})", "", "none", "4137 what:clear caches\n"},
      {"run-scripts", R"({"remediation":""})", "", "none", ""},
      {"run-scripts", R"({"remediation":true})", "", "none", ""},
      {"run-scripts", "[]", "", "none", ""},
      // The server is set before the user is authenticated.
      {"logon", R"({"address":"a.example"})", "", ok, "410e trns=1 host:a.example\nauthenticate 0\n"},
      {"logon", R"({"address":""})", "", ok, "410e trns=1 host:\nauthenticate 0\n"},
      {"logon", R"({"address":7})", "", not_ok, ""},
      {"ticket", R"({"subject":"a","description":"b","username":"c","urgency":"high"})", text("tokn", "T-1"),
       token, "4138 what:a desc:b name:c prio=1\n"},
      {"ticket", R"({"subject":"a","description":"","username":7,"urgency":0})", text("tokn", "T-1"), token,
       "4138 what:a desc: prio=0\n"},
      {"ticket", R"({"subject":""})", "", "none", ""},
      {"ticket", R"({"description":"b"})", "", "none", ""},
      {"ticket", R"({"subject":"a"})", number("resn", -3) + text("tokn", ""), R"({"failure":-3})",
       "4138 what:a prio=0\n"},
      {"ticket", R"({"subject":"a"})", number("resn", 0), "{}", "4138 what:a prio=0\n"},
  };
  for (const auto &row : rows) {
    daemon_.serve({.records = row.records});
    EXPECT_EQ(call_method(row.method, row.args), row.result) << row.method << row.args << row.records;
    EXPECT_EQ(asked(), row.asked) << row.method << row.args;
  }
}

TEST_F(methods_daemon, a_call_that_fails_has_a_documented_answer) {
  const std::pair<const char *, std::pair<const char *, const char *>> rows[] = {
      {"conn-info", {"{}", "{}"}},
      {"host-info", {"{}", "{}"}},
      {"dex-stats", {"{}", "none"}},
      {"dex-history", {R"({"tag":"cpul"})", "none"}},
      {"script-list", {"{}", "none"}},
      {"run-scripts", {R"({"remediation":"a"})", "none"}},
      {"logon", {R"({"address":"a"})", R"({"ok":false})"}},
      {"ticket", {R"({"subject":"a"})", R"({"failure":-55})"}},
  };
  const std::string ignored = text("parm", "[]") + text("host", "a") + number("resn", 2) + text("tokn", "T");
  for (const std::optional<int32_t> result :
       {std::optional(-7), std::optional(5), std::optional<int32_t>()}) {
    daemon_.serve({.result = result, .records = ignored});
    for (const auto &[method, with] : rows)
      EXPECT_EQ(call_method(method, with.first), with.second) << method;
  }
  EXPECT_EQ(vane_.calls, words{});
}

// The block holds 266,168 bytes less what surrounds it: an argument that does not fit fails the method.
TEST_F(methods_daemon, nothing_is_sent_without_an_argument_that_does_not_fit) {
  daemon_.serve({});
  const std::string huge(300000, 'x');
  EXPECT_EQ(call_method("logon", R"({"address":")" + huge + R"("})"), R"({"ok":false})");
  EXPECT_EQ(call_method("ticket", R"({"subject":"a","username":")" + huge + R"("})"), R"({"failure":-55})");
  EXPECT_EQ(asked(), "");
  EXPECT_EQ(call_method("run-scripts", R"({"remediation":")" + huge.substr(0, 260000) + R"("})"), "none");
  EXPECT_TRUE(asked().starts_with("4137 what:"));
}

}  // namespace
