#include "setup/host.h"
#include "tests/setup/call_method.h"
#include "tests/setup/scripted_vane.h"
#include "tests/support/threads.h"
#include "xp/object/code.h"
#include "xp/service/main_queue.h"

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

class methods_framework : public vane_fixture {
protected:
  void TearDown() override {
    cv_setup_sethost(nullptr);
    vane_fixture::TearDown();
  }

  // Whether "capabilities" tells this.
  static testing::AssertionResult told(const std::string &what) {
    const std::string answer = call_method("capabilities");
    if (answer.find(what) != std::string::npos) return testing::AssertionSuccess();
    return testing::AssertionFailure() << what << " is not in " << answer;
  }

  recording_host host_;
  std::unique_ptr<cv_setup_vane> absent_ = cv_setup_loadvane(nullptr);
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

  // What a framework that fails writes does not count.
  vane_.version_status = vane_.options_status = vane_.preference_status = -1;
  vane_.options = vane_.allowed = 0xffffffff;
  const std::string failing = call_method("capabilities");
  EXPECT_EQ(
      failing,
      R"({"ageMessages":false,"ageMessagesAllowed":false,"askForFeedback":true,"assets":false,"fda":false,)"
      R"("feedback":false,"info":false,"kcheck":false,"kv":false,"locked":true,"pauseDex":false,)"
      R"("pauseDexAllowed":false,"problem":false,"scripts":true,"showTrayMenu":true,"ticket":false})");
  cv_setup_setvane(absent_.get());
  EXPECT_EQ(call_method("capabilities"), failing);
}

TEST_F(methods_framework, each_option_has_a_bit_of_its_own) {
  const struct {
    uint32_t options, allowed;
    const char *told;
  } read[] = {
      {0x80, 0, R"("ageMessages":true)"},          {~0x80U, 0, R"("ageMessages":false)"},
      {0x8, 0, R"("showTrayMenu":false)"},         {~0x8U, 0, R"("showTrayMenu":true)"},
      {0x2000000, 0, R"("askForFeedback":false)"}, {~0x2000000U, 0, R"("askForFeedback":true)"},
      {0, 0x800000, R"("pauseDexAllowed":true)"},  {~0U, ~0x800000U, R"("pauseDexAllowed":false)"},
      {0, 0x40000000, R"("locked":false)"},        {~0U, ~0x40000000U, R"("locked":true)"},
  };
  for (const auto &row : read) {
    vane_.options = row.options;
    vane_.allowed = row.allowed;
    EXPECT_TRUE(told(row.told));
  }
  // The four bytes of a word count for the ticket, the first byte alone for the others.
  vane_.preferences = {{"ttcl", std::string("\0\0\0\0z", 5)}, {"iurl", std::string("\0x", 2)}};
  EXPECT_TRUE(told(R"("ticket":false)"));
  EXPECT_TRUE(told(R"("info":false)"));
  take_calls();
  const std::pair<const char *, const char *> written[] = {
      {R"({"showTrayMenu":false})", "set 0 8 8"},
      {R"({"askForFeedback":"no"})", "set 0 0 2000000"},
      {R"({"pauseDex":1,"ageMessages":""})", "set 0 800000 800080"},
      {R"({"pauseDex":true,"ageMessages":true,"showTrayMenu":true,"askForFeedback":true})",
       "set 0 800080 2800088"},
      {R"({"pauseDex":null,"locked":true})", "set 0 0 0"},
      {"[1]", "set 0 0 0"},
  };
  for (const auto &[args, call] : written) {
    EXPECT_EQ(call_method("SET-options", args), "none");
    EXPECT_EQ(take_calls(), lines{call}) << args;
  }
}

TEST_F(methods_framework, open_page_opens_the_pages_of_its_table) {
  const auto open = [](const std::string &page) {
    return call_method("open-page", R"({"page":)" + page + "}");
  };
  for (const auto &[page, code] : pairs_of("assets>mine info>info feedback>dexf assist>asst Problem>dexh "
                                           "SCRIPTS>dexs ticket>tckt")) {
    EXPECT_EQ(open("\"" + page + "\""), "none");
    EXPECT_EQ(take_calls(), lines{"page 0 " + code}) << page;
  }
  for (const char *page : {R"("")", R"("infos")", "7"})
    EXPECT_EQ(open(page), "none");
  EXPECT_EQ(take_calls(), lines{});
}

TEST_F(methods_framework, ensure_logon_reports_whichever_call_failed) {
  const struct {
    int16_t logon, status;
    uint64_t session;
    const char *result;
  } rows[] = {{0, 0, 0x100000000, R"({"connected":true})"},
              {0, 0, 0, R"({"connected":false})"},
              {-300, 0, 1, R"({"connected":false,"error":-300})"},
              {0, 12, 1, R"({"connected":false,"error":12})"}};
  for (const auto &row : rows) {
    vane_.logon_status = row.logon;
    vane_.session_status = row.status;
    vane_.session = row.session;
    EXPECT_EQ(call_method("Ensure-Logon"), row.result);
    EXPECT_EQ(take_calls(), row.logon != 0 ? lines{"logon 0 0 0"} : (lines{"logon 0 0 0", "status 0 0 0"}));
  }
  cv_setup_setvane(absent_.get());
  EXPECT_EQ(call_method("ensure-logon"), R"({"connected":false,"error":-1})");
}

TEST_F(methods_framework, the_host_is_asked_on_the_main_queue) {
  cv_setup_sethost(&host_);
  host_.now = {.kv = true, .kcheck = false, .fda = true};
  EXPECT_TRUE(told(R"("fda":true)") && told(R"("kcheck":false,"kv":true)"));
  EXPECT_EQ(call_method("open-fda"), "none");
  for (const char *args : {R"({"app":"kv"})", R"({"app":""})", R"({"app":7})", "{}"})
    EXPECT_EQ(call_method("open-app", args), "none");
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
                              R"({"method":["capabilities"]})", R"({"args":{}})", R"({"method":""})"})
    EXPECT_EQ(call_request(request), "none") << request;
  EXPECT_EQ(take_calls(), lines{});
}

// The installed library, found below the root by whoever asks first, and what it lacks.
TEST_F(methods_framework, the_installed_library_is_loaded_once_from_any_thread) {
  cv_setup_setvane(nullptr);
  std::vector<cv_setup_vane *> seen(8);
  run_on_threads(8, [&](int i) { seen[static_cast<size_t>(i)] = cv_setup_getvane(); });
  forgive();  // a loaded library stays
  for (cv_setup_vane *vane : seen)
    EXPECT_EQ(vane, seen[0]);
  uint16_t version = 0;
  EXPECT_EQ(seen[0]->VaneVersion(&version, 0), 0);
  EXPECT_EQ(version, 0x6213);
  char data[256];
  EXPECT_EQ(seen[0]->VaneGetPrefData(0, xp_code("murl"), 0, sizeof data, data, 0), 0);
  EXPECT_STREQ(data, "murl");
  uint64_t status = 0;
  EXPECT_EQ(seen[0]->VaneGetSessionStatus(0, 0, 0, &status), -300);
  EXPECT_EQ(status, 0x100000000U);
  EXPECT_EQ(seen[0]->VaneLogon(0, 0, 0), CV_VANE_ABSENT);
  for (const char *path : {"/nowhere/Vane", "", static_cast<const char *>(nullptr)}) {
    EXPECT_EQ(cv_setup_loadvane(path)->VaneVersion(&version, 0), CV_VANE_ABSENT);
    EXPECT_EQ(version, 0x6213);
  }
}

}  // namespace
