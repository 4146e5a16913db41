#include "setup/host.h"
#include "tests/setup/call_method.h"
#include "tests/setup/scripted_vane.h"
#include "tests/support/leak_check.h"
#include "xp/service/main_queue.h"

#include <string>
#include <vector>

namespace {

using lines = std::vector<std::string>;

class recording_host final : public cv_setup_host {
public:
  lines calls;
  cv_setup_capabilities now;

  cv_setup_capabilities capabilities() override { return now; }
  void openFullDiskAccess() override { calls.emplace_back("fda"); }
  void openExternalApp(std::string_view name) override { calls.push_back("app " + std::string(name)); }
};

class methods_framework : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    cv_setup_setvane(&vane_);
  }
  void TearDown() override {
    cv_setup_setvane(nullptr);
    cv_setup_sethost(nullptr);
    leak_check::TearDown();
  }

  lines take_calls() { return std::exchange(vane_.calls, {}); }

  scripted_vane vane_;
  recording_host host_;
};

TEST_F(methods_framework, capabilities_ask_in_order) {
  vane_.version = 0x62F3;
  vane_.options = 0x2000000 | 0x800000;
  vane_.allowed = 0x80;
  vane_.preferences = {{"murl", "https://a.example"}, {"hurl", "x"}, {"ttcl", std::string("\0\0\0\1", 4)}};
  EXPECT_EQ(
      call_method("capabilities"),
      R"({"ageMessages":false,"ageMessagesAllowed":true,"askForFeedback":false,"assets":true,"fda":false,)"
      R"("feedback":false,"info":false,"kcheck":false,"kv":false,"locked":true,"pauseDex":true,)"
      R"("pauseDexAllowed":false,"problem":true,"scripts":true,"showTrayMenu":true,"ticket":true,)"
      R"("version":"6.2.15.3"})");
  EXPECT_EQ(take_calls(), (lines{"version 0", "options 0", "pref 0 murl 0 256 0", "pref 0 iurl 0 256 0",
                                 "pref 0 durl 0 256 0", "pref 0 hurl 0 256 0", "pref 0 ttcl 0 256 0"}));
}

TEST_F(methods_framework, capabilities_of_a_failing_framework) {
  vane_.version_status = vane_.options_status = -1;
  vane_.options = vane_.allowed = 0xffffffff;
  for (const char *code : {"murl", "iurl", "durl", "hurl", "ttcl"}) {
    vane_.preferences[code] = "data";
    vane_.preference_status[code] = -1;
  }
  const std::string failing = call_method("capabilities");
  EXPECT_EQ(
      failing,
      R"({"ageMessages":false,"ageMessagesAllowed":false,"askForFeedback":true,"assets":false,"fda":false,)"
      R"("feedback":false,"info":false,"kcheck":false,"kv":false,"locked":true,"pauseDex":false,)"
      R"("pauseDexAllowed":false,"problem":false,"scripts":true,"showTrayMenu":true,"ticket":false})");
  const auto absent = cv_setup_loadvane(nullptr);
  cv_setup_setvane(absent.get());
  EXPECT_EQ(call_method("capabilities"), failing);
}

TEST_F(methods_framework, capabilities_read_each_bit_alone) {
  const struct {
    uint32_t options, allowed;
    const char *key;
    const char *value;
  } rows[] = {
      {0x80, 0, "ageMessages", "true"},          {~0x80U, 0, "ageMessages", "false"},
      {0x8, 0, "showTrayMenu", "false"},         {~0x8U, 0, "showTrayMenu", "true"},
      {0x2000000, 0, "askForFeedback", "false"}, {~0x2000000U, 0, "askForFeedback", "true"},
      {0, 0x800000, "pauseDexAllowed", "true"},  {~0U, ~0x800000U, "pauseDexAllowed", "false"},
      {0, 0x40000000, "locked", "false"},        {~0U, ~0x40000000U, "locked", "true"},
  };
  for (const auto &row : rows) {
    vane_.options = row.options;
    vane_.allowed = row.allowed;
    const std::string expected = std::string("\"") + row.key + "\":" + row.value;
    EXPECT_NE(call_method("capabilities").find(expected), std::string::npos) << expected;
  }
  // The four bytes of a word count for the ticket, the first byte alone for the others.
  vane_.preferences["ttcl"] = vane_.preferences["murl"] = std::string("\0\0\0\0z", 5);
  EXPECT_NE(call_method("capabilities").find(R"("ticket":false)"), std::string::npos);
  vane_.preferences["iurl"] = std::string("\0x", 2);
  EXPECT_NE(call_method("capabilities").find(R"("info":false)"), std::string::npos);
}

TEST_F(methods_framework, set_options_writes_values_under_a_mask) {
  const struct {
    const char *args;
    const char *call;
  } rows[] = {
      {R"({"showTrayMenu":false})", "set 0 8 8"},
      {R"({"showTrayMenu":true})", "set 0 0 8"},
      {R"({"askForFeedback":0})", "set 0 2000000 2000000"},
      {R"({"askForFeedback":"no"})", "set 0 0 2000000"},
      {R"({"pauseDex":1,"ageMessages":""})", "set 0 800000 800080"},
      {R"({"pauseDex":true,"ageMessages":true,"showTrayMenu":true,"askForFeedback":true})",
       "set 0 800080 2800088"},
      {R"({"pauseDex":null})", "set 0 0 0"},
      {R"({"locked":true})", "set 0 0 0"},
      {"[1]", "set 0 0 0"},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(call_method("set-options", row.args), "none");
    EXPECT_EQ(take_calls(), lines{row.call}) << row.args;
  }
}

TEST_F(methods_framework, open_page_opens_the_pages_of_its_table) {
  const struct {
    const char *page;
    lines calls;
  } rows[] = {
      {R"("assets")", {"page 0 mine"}},
      {R"("info")", {"page 0 info"}},
      {R"("feedback")", {"page 0 dexf"}},
      {R"("assist")", {"page 0 asst"}},
      {R"("Problem")", {"page 0 dexh"}},
      {R"("SCRIPTS")", {"page 0 dexs"}},
      {R"("ticket")", {"page 0 tckt"}},
      {R"("help")", {}},
      {R"("")", {}},
      {R"("infos")", {}},
      {"7", {}},
      {"null", {}},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(call_method("open-page", std::string(R"({"page":)") + row.page + "}"), "none");
    EXPECT_EQ(take_calls(), row.calls) << row.page;
  }
}

TEST_F(methods_framework, ensure_logon_reports_whichever_call_failed) {
  const struct {
    int16_t logon, status;
    uint64_t session;
    const char *result;
    size_t calls;
  } rows[] = {
      {0, 0, 1, R"({"connected":true})", 2},
      {0, 0, 0x100000000, R"({"connected":true})", 2},
      {0, 0, 0, R"({"connected":false})", 2},
      {-300, 0, 1, R"({"connected":false,"error":-300})", 1},
      {0, 12, 1, R"({"connected":false,"error":12})", 2},
  };
  for (const auto &row : rows) {
    vane_.logon_status = row.logon;
    vane_.session_status = row.status;
    vane_.session = row.session;
    EXPECT_EQ(call_method("Ensure-Logon"), row.result);
    lines expected{"logon 0 0 0", "status 0 0 0 0"};
    expected.resize(row.calls);
    EXPECT_EQ(take_calls(), expected);
  }
  const auto absent = cv_setup_loadvane(nullptr);
  cv_setup_setvane(absent.get());
  EXPECT_EQ(call_method("ensure-logon"), R"({"connected":false,"error":-1})");
}

TEST_F(methods_framework, the_host_is_asked_on_the_main_queue) {
  cv_setup_sethost(&host_);
  host_.now = {.kv = true, .kcheck = false, .fda = true};
  const std::string answer = call_method("capabilities");
  for (const char *expected : {R"("fda":true)", R"("kv":true)", R"("kcheck":false)"})
    EXPECT_NE(answer.find(expected), std::string::npos) << answer;

  EXPECT_EQ(call_method("open-fda"), "none");
  EXPECT_EQ(call_method("open-app", R"({"app":"kv"})"), "none");
  EXPECT_EQ(call_method("open-app", R"({"app":""})"), "none");
  EXPECT_EQ(call_method("open-app", R"({"app":7})"), "none");
  EXPECT_EQ(call_method("open-app", "{}"), "none");
  EXPECT_EQ(host_.calls, lines{}) << "nothing may open on the request's thread";
  EXPECT_EQ(xp_main_pump(), 3);
  EXPECT_EQ(host_.calls, (lines{"fda", "app kv", "app "}));

  // Work that outlives the host does nothing.
  call_method("open-fda");
  call_method("open-app", R"({"app":"kcheck"})");
  cv_setup_sethost(nullptr);
  EXPECT_EQ(xp_main_pump(), 2);
  EXPECT_EQ(host_.calls.size(), 3U);
}

TEST_F(methods_framework, unknown_and_ill_formed_requests_are_left_without_a_result) {
  for (const char *request : {R"({"method":"conn-inf"})", R"({"method":"capabilities "})", R"({"method":7})",
                              R"({"method":["capabilities"]})", R"({"args":{}})", R"({"method":""})",
                              R"({"method":"set-option","args":{"pauseDex":true}})"})
    EXPECT_EQ(call_request(request), "none") << request;
  EXPECT_EQ(take_calls(), lines{});
  EXPECT_EQ(call_request(R"({"method":"SET-options"})"), "none");
  EXPECT_EQ(take_calls(), lines{"set 0 0 0"});
}

}  // namespace
