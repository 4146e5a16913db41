#include "tests/webview/webview_fixture.h"
#include "webview/load_error.h"
#include "xp/service/data.h"
#include "xp/service/thread.h"

namespace {

class wrapper_test : public webview_fixture {
protected:
  // What the next load asks the engine for.
  std::string loaded() {
    platform.log.clear();
    xp_webview_load(wrapper());
    return platform.last();
  }
};

int64_t ignore(xp_obj *, uint32_t, xp_obj *, uint64_t) {
  return 0;
}

TEST_F(wrapper_test, the_systems_generation_chooses_the_engine) {
  platform.refuse = true;  // without an engine there is no wrapper
  for (const auto &[version, support, made] :
       {std::tuple(0, 1, "legacy\n"), {10, 1, "legacy\n"}, {11, 2, "modern local\n"}}) {
    platform.version = version;
    EXPECT_EQ(xp_webview_support(), support) << version;
    EXPECT_EQ(xp_webview_new(this, 1, 1, ignore, 0), nullptr);
    EXPECT_EQ(platform.take_log(), made);
  }
  xp_webview_setplatform(nullptr);
  EXPECT_EQ(xp_webview_support(), 1);
  EXPECT_EQ(xp_webview_new(this, 1, 1, ignore, 0), nullptr);
}

TEST_F(wrapper_test, a_modern_view_is_made_shown_and_taken_out) {
  xp_webview_setpolicy("frame-src 'none'");
  xp_obj *made = xp_webview_new(this, 360, 720, ignore, 0);
  ASSERT_NE(platform.engine, nullptr);
  const xp_engine_config &config = platform.engine->config;
  EXPECT_EQ(config.window, this);
  EXPECT_EQ(config.height, 360);
  EXPECT_EQ(config.width, 720);
  EXPECT_EQ(config.message_handlers, (std::vector<std::string>{"diag", "xp_native"}));
  EXPECT_EQ(config.policy, "frame-src 'none'");
  EXPECT_NE(config.script.find("function xp_native(method, args)"), std::string::npos);
  xp_release(made);
  EXPECT_EQ(platform.take_log(), "modern local\nshow\nremove\ndetach\nend\n");
  xp_webview_setpolicy(nullptr);
}

TEST_F(wrapper_test, the_legacy_engine_has_no_bridge) {
  platform.version = 10;
  const xp::ref request = tree(R"({"id":1})");
  expect({xp_webview_attach(wrapper(), "name", request.get()), xp_webview_respond(wrapper(), request.get()),
          xp_main_pump()},
         "-1 -1 0");
  EXPECT_TRUE(engine().config.script.empty());
}

TEST_F(wrapper_test, a_null_wrapper_does_nothing) {
  const xp::ref text = str("local://app/");
  expect({xp_webview_setflags(nullptr, 8), xp_webview_setbackground(nullptr, 0),
          xp_webview_respond(nullptr, text.get()), xp_webview_evaluate(nullptr, "x", nullptr, 0)},
         "-1 -1 -1 -1");
  expect({xp_webview_seturl(nullptr, text.get()), xp_webview_setheader(nullptr, "a", "b"),
          xp_webview_setbody(nullptr, "a", text.get()), xp_webview_load(nullptr),
          xp_webview_setsize(nullptr, 1, 1), xp_webview_getheight(nullptr),
          xp_webview_attach(nullptr, "a", text.get()), xp_webview_callscript(nullptr, "1"),
          xp_webview_cookiejar(nullptr)},
         "0 0 0 0 0 0 0 0 0");
}

TEST_F(wrapper_test, addresses_load_with_trust_in_their_own_host_over_https_or_not_at_all) {
  EXPECT_EQ(loaded(), "");
  const std::pair<const char *, const char *> good[] = {
      {"https://u:p@Host.example:444/x?b=%20#c", "Host.example"},
      {"HTTPS://[::1]:444/", "[::1]"},
      {"https://[::1", "[::1"},
      {"http://host.example/", ""},
      {"local://app/setup.html", ""},
      {"about:blank", ""}};
  for (const auto &[address, host] : good) {
    xp_webview_seturl(wrapper(), str(address).get());
    platform.log.clear();
    xp_webview_load(wrapper());
    EXPECT_EQ(platform.take_log(), std::string("trust [") + host + "]\nload GET " + address + "\n");
  }
  for (const char *bad : {"", "setup.html", "//host/", "1a://x", ":x", "http://a b", "http://a/%2",
                          "http://a/%zz", "http://a/<", "http://\xc3\xa4/", "local://app/\n"}) {
    xp_webview_seturl(wrapper(), str(bad).get());
    EXPECT_EQ(loaded(), "") << bad;
  }
  xp_webview_seturl(wrapper(), str("local://app/").get());
  xp_webview_seturl(wrapper(), nullptr);
  EXPECT_EQ(loaded(), "");
}

TEST_F(wrapper_test, header_fields_serve_every_load_until_they_are_dropped) {
  xp_webview_seturl(wrapper(), str("http://a/").get());
  struct {
    const char *name;
    const char *value;
    const char *loads;
  } const steps[] = {
      {"X", "1", " X=1"},        {"X", "2", " X=2"},       {"Y", "", " X=2 Y="},     {"", "3", " X=2 Y="},
      {nullptr, "3", " X=2 Y="}, {"", nullptr, " X=2 Y="}, {"Z", "\xff", " X=2 Y="}, {"\xff", "z", " X=2 Y="},
      {"X", nullptr, " Y="},     {nullptr, nullptr, ""},   {"Q", nullptr, ""},
  };
  for (const auto &step : steps) {
    xp_webview_setheader(wrapper(), step.name, step.value);
    EXPECT_EQ(loaded(), std::string("load GET http://a/") + step.loads);
  }
}

TEST_F(wrapper_test, any_body_makes_the_load_a_post) {
  xp_webview_seturl(wrapper(), str("local://a/").get());
  const auto loaded_with = [this](const char *type, const xp::ref &body) {
    xp_webview_setbody(wrapper(), type, body.get());
    return loaded();
  };
  EXPECT_EQ(loaded_with("text/plain", str("hello")), "load POST local://a/ Content-Type=text/plain [hello]");
  xp_webview_setheader(wrapper(), nullptr, nullptr);
  EXPECT_EQ(loaded_with("", str("")), "load POST local://a/ []");
  EXPECT_EQ(loaded_with(nullptr, xp::ref::adopt(xp_data_new("\xff\0a", 3))),
            std::string("load POST local://a/ [\xff\0a]", 26));
  EXPECT_EQ(loaded_with(nullptr, num(12)), "load POST local://a/ [12]");
  EXPECT_EQ(loaded_with(nullptr, nullptr), "load GET local://a/");
}

TEST_F(wrapper_test, size_colour_and_focus_reach_the_view) {
  xp_webview_setsize(wrapper(), 100, 200);
  EXPECT_EQ(xp_webview_getheight(wrapper()), 100);
  EXPECT_EQ(xp_webview_getwidth(wrapper()), 200);
  xp_webview_setbackground(wrapper(), -1);
  xp_webview_setbackground(wrapper(), 0);
  xp_webview_setbackground(wrapper(), 0x12abcdef);
  xp_webview_focus(wrapper());
  EXPECT_EQ(platform.take_log(), "frame 100 200\nbackground 000000\nbackground abcdef\nfocus\n");
}

TEST_F(wrapper_test, scripts_content_and_globals_reach_the_page) {
  xp_webview_callscript(wrapper(), "f('\xc3\xa4')");
  xp_webview_callscript(wrapper(), "f('\xe4')");  // not UTF-8: read as Latin-1
  xp_webview_callscript(wrapper(), nullptr);
  EXPECT_EQ(xp_webview_attach(wrapper(), "info", tree("{\"a\":[1,\"x\"]}").get()), 0);
  xp_webview_setcontent(wrapper(), "ignored", "<p>x");
  EXPECT_EQ(
      platform.take_log(),
      "run f('\xc3\xa4')\nrun f('\xc3\xa4')\nrun \nrun window['info'] = {\"a\":[1,\"x\"]};\nhtml <p>x\n");
  EXPECT_EQ(engine().finish_scripts(), 4);
}

TEST_F(wrapper_test, evaluate_hands_the_value_over) {
  static std::string outcome;
  const auto note = [](xp_obj *value, xp_obj *error, uint64_t) {
    outcome = error != nullptr ? "error " + text_of(error) : text_of(value);
  };
  xp_engine_value object;
  object.is = xp_engine_value::kind::other;
  object.text = "{\"a\":1}";
  const std::pair<xp_engine_result, const char *> results[] = {
      {page_result(page_text("x\"y")), "x\"y"}, {page_result(page_number(3)), "3"},
      {page_result(page_number(-0.5)), "-0.5"}, {page_result(page_boolean(true)), "true"},
      {page_result(object), "{\"a\":1}"},       {{}, "null"},
      {page_error("Can't"), "error Can't"},
  };
  for (const auto &[result, expected] : results) {
    platform.evaluate = [&result = result](std::string_view) { return result; };
    EXPECT_EQ(xp_webview_evaluate(wrapper(), "x", note, 0), 0);
    engine().finish_scripts();
    EXPECT_EQ(outcome, expected);
  }
}

// --- Navigation and loads ---

TEST_F(wrapper_test, navigations_ask_and_loads_tell) {
  expect({engine().navigate("local://app/a"), engine().navigate("http://x/", "POST", "a=\xc3\xa4"),
          engine().navigate("http://x/", "POST", "\xff")},
         "1 1 1");
  answer = [](uint32_t event, xp_obj *) { return event == 10 ? 1 : 0; };
  EXPECT_FALSE(engine().navigate("http://x/"));
  answer = [](uint32_t, xp_obj *) { return -1; };
  EXPECT_TRUE(engine().navigate("http://x/"));
  EXPECT_EQ(take_events(),
            "10 {\"method\":\"GET\",\"url\":\"local://app/a\"}\n30 null\n"
            "10 {\"data\":\"a=\xc3\xa4\",\"method\":\"POST\",\"url\":\"http://x/\"}\n30 null\n"
            "10 {\"method\":\"POST\",\"url\":\"http://x/\"}\n30 null\n"
            "10 {\"method\":\"GET\",\"url\":\"http://x/\"}\n"
            "10 {\"method\":\"GET\",\"url\":\"http://x/\"}\n30 null\n");
  engine().show_page("local://app/");
  EXPECT_EQ(take_events(), "20 null\n21 null\n22 null\n");
}

TEST_F(wrapper_test, a_failed_load_brings_the_engines_error) {
  answer = [](uint32_t, xp_obj *error) {
    expect({xp_load_error_code(error), xp_value(error), xp_load_error_domain(error)}, "302 302 net");
    return int64_t{0};
  };
  engine().config.client->webView_didFailNavigation_withError(
      {.domain = "net", .code = 302, .description = "no route"});
  EXPECT_EQ(take_events(), "23 no route\n");
}

TEST_F(wrapper_test, the_flag_takes_the_context_menu_away) {
  for (const uint32_t flags :
       {0U, XP_WEBVIEW_DROP_FILES | XP_WEBVIEW_DRAG_FILES, uint32_t{XP_WEBVIEW_NO_MENU}}) {
    xp_webview_setflags(wrapper(), flags);
    EXPECT_EQ(engine().config.client->willOpenMenu_withEvent(), flags != XP_WEBVIEW_NO_MENU);
  }
}

TEST_F(wrapper_test, a_page_whose_process_ends_comes_back_three_times_a_minute) {
  for (int i = 0; i < 3; ++i)
    engine().config.client->webViewWebContentProcessDidTerminate();
  xp_main_pump();
  EXPECT_EQ(platform.take_log(), "reload\nreload\nreload\n");
  EXPECT_EQ(take_events(), "");
  engine().config.client->webViewWebContentProcessDidTerminate();
  xp_main_pump();
  EXPECT_EQ(platform.take_log(), "");
  EXPECT_EQ(take_events(), "23 The page's process keeps ending.\n");
}

// --- The local scheme ---

TEST_F(wrapper_test, scheme_tasks_are_answered_by_the_callback) {
  const std::string bytes("\xff\0\xc3(", 4);
  const std::string type = " Cache-Control=no-store", octets = "application/octet-stream";
  answer = [&bytes](uint32_t, xp_obj *request) {
    const std::string url = taken(xp_dict_fetch(request, "url", -1));
    if (url == "local://a/data") {
      EXPECT_EQ(taken(xp_dict_fetch(request, "data", -1)), bytes);
      xp_dict_adopt(request, "response", -1, xp_data_new("\xff\0", 2));
      xp_dict_store(request, "mimetype", -1, str("image/png").get());
    } else if (url == "local://a/text") {
      xp_dict_store(request, "response", -1, num(12).get());
      xp_dict_store(request, "mimetype", -1, str("").get());
    } else if (url == "local://a/odd") {
      xp_dict_store(request, "mimetype", -1, num(1).get());
    }
    return url == "local://a/refused" ? int64_t{-1} : int64_t{0};
  };
  struct {
    const char *url;
    std::string head;
    std::string bytes;
  } const cases[] = {
      {"local://a/data", "200 image/png Content-Type=image/png" + type, std::string("\xff\0", 2)},
      {"local://a/text", "200 " + octets + " Content-Type=" + octets + type, "12"},
      {"local://a/odd", "200 " + octets + " Content-Type=" + octets + type, ""},
      {"local://a/refused", "failed URLErrorDomain -1008", ""},
  };
  for (const auto &each : cases) {
    const recorded_reply reply = engine().request(each.url, "POST", bytes);
    EXPECT_EQ(reply.head, each.head);
    EXPECT_EQ(reply.bytes, each.bytes);
  }
  take_events();
  engine().request("local://a/", "POST", "");
  EXPECT_EQ(take_events(), "11 {\"method\":\"POST\",\"url\":\"local://a/\"}\n");
}

// --- The end ---

TEST_F(wrapper_test, the_last_reference_may_go_on_any_thread) {
  engine();
  xp_obj *raw = take_wrapper().leak();
  xp_retain(raw);
  const auto drop = [](void *, void *argument) -> int64_t {
    xp_release(static_cast<xp_obj *>(argument));
    return 0;
  };
  for (int i = 0; i < 2; ++i) {
    const xp::ref thread = xp::ref::adopt(xp_thr_new(drop, raw));
    ASSERT_EQ(xp_thr_join(thread.get(), nullptr), 0);
    EXPECT_EQ(platform.take_log(), "") << "the view ended off the main thread";
  }
  // Until the queue is run the wrapper is whole: an event may still take and drop references.
  answer = [raw](uint32_t, xp_obj *) {
    xp_release(xp_retain(raw));
    return int64_t{0};
  };
  platform.engine->show_page("local://app/");
  EXPECT_EQ(xp_main_pump(), 1);
  EXPECT_EQ(platform.take_log(), "remove\ndetach\nend\n");
}

TEST_F(wrapper_test, a_callback_may_end_the_wrapper) {
  const auto end_by = [this](const std::function<void()> &cause) {
    engine();
    answer = [this](uint32_t, xp_obj *) {
      drop_wrapper();
      return int64_t{0};
    };
    cause();
    EXPECT_NE(platform.engine, nullptr) << "the engine ended under its own notification";
    EXPECT_FALSE(take_events().empty());
    // Later notifications of a view whose wrapper has gone raise nothing.
    platform.engine->show_page("local://app/");
    platform.engine->post(1, "{}");
    EXPECT_TRUE(platform.engine->navigate("http://x/"));
    EXPECT_TRUE(platform.engine->config.client->willOpenMenu_withEvent());
    EXPECT_EQ(platform.engine->request("local://a/").head, "failed URLErrorDomain -1000");
    EXPECT_EQ(take_events(), "");
    EXPECT_EQ(xp_main_pump(), 1);
    EXPECT_EQ(platform.engine, nullptr);
  };
  end_by([this] { engine().show_page("local://app/"); });
  end_by([this] { engine().post(7, "{\"method\":\"x\"}"); });
  end_by([this] { EXPECT_EQ(engine().request("local://a/").bytes, ""); });
  end_by([this] { EXPECT_TRUE(engine().navigate("http://x/")); });
  end_by([this] {
    engine().post_number(7);
    platform.evaluate = [](std::string_view) { return page_result(page_number(0)); };
    engine().finish_scripts();
  });
}

}  // namespace
