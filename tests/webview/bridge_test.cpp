#include "tests/webview/webview_fixture.h"
#include "xp/object/boolean.h"
#include "xp/service/thread.h"

#include <cmath>

namespace {

class bridge_test : public webview_fixture {
protected:
  // A request of this number.
  static xp::ref numbered(int number) { return tree("{\"id\":" + std::to_string(number) + "}"); }

  // Answers forklift scripts from a payload of UTF-16 code units, `end` behind them, as the page does.
  void serve(std::u16string_view units) { serve(std::vector<double>(units.begin(), units.end()), 0); }
  void serve(std::vector<double> units, double end) {
    platform.evaluate = [units = std::move(units), end](std::string_view script) {
      const size_t comma = script.find(", ");
      if (!script.starts_with("xp_native.forklift(") || comma == std::string_view::npos)
        return xp_engine_result{};
      const size_t index = std::stoul(std::string(script.substr(comma + 2)));
      return page_result(page_number(index < units.size() ? units[index] : end));
    };
  }
};

TEST_F(bridge_test, a_request_is_parsed_numbered_and_answered_at_once) {
  // Neither the page's own number nor a result of its own counts, and a payload may be anything.
  const std::pair<const char *, const char *> rows[] = {
      {R"({"method":"host-info","args":{"a":[1]},"id":77,"result":"forged"})",
       R"({"args":{"a":[1]},"id":5,"method":"host-info"})"},
      {R"({"method":"x","result":{"forged":1}})", R"({"id":5,"method":"x"})"},
      {"", "null"},
      {"{\"a\":", "null"},
      {"[1]", "null"},
      {"7", "null"},
      {"words", "null"}};
  answer = [](uint32_t, xp_obj *) { return int64_t{2}; };  // only exactly 1 keeps the request
  for (const auto &[payload, request] : rows) {
    engine().post(5, payload);
    EXPECT_EQ(take_events(), std::string("40 ") + request + "\n");
    EXPECT_EQ(platform.take_log(), "run xp_native.response(5, {});\n") << payload;
  }
  answer = [](uint32_t, xp_obj *request) {
    xp_dict_store(request, "result", -1, str("it's \"so\"").get());
    return int64_t{0};
  };
  engine().post(5, "{}");
  EXPECT_EQ(platform.take_log(), "run xp_native.response(5, \"it's \\\"so\\\"\");\n");
}

TEST_F(bridge_test, what_is_no_request_is_dropped) {
  using kind = xp_engine_message::kind;
  const auto message = [](const char *handler, kind is, xp_engine_value id, xp_engine_value payload) {
    return xp_engine_message{.handler = handler, .is = is, .number = 4, .id = id, .payload = payload};
  };
  const xp_engine_value id = page_number(4);
  const xp_engine_value payload = page_text("{}");
  const xp_engine_message dropped[] = {
      message("diag", kind::dictionary, id, payload),
      message("diag", kind::number, id, payload),
      message("xp_native", kind::other, id, payload),
      message("xp_native", kind::dictionary, {}, payload),
      message("xp_native", kind::dictionary, page_boolean(true), payload),
      message("xp_native", kind::dictionary, page_text("4"), payload),
      message("xp_native", kind::dictionary, id, {}),
      message("xp_native", kind::dictionary, id, page_number(4)),
      message("xp_native", kind::dictionary, page_number(0), payload),
  };
  for (const xp_engine_message &each : dropped)
    engine().post_message(each);
  engine().post_number(0);
  EXPECT_EQ(take_events() + platform.take_log(), "");
}

TEST_F(bridge_test, request_numbers_are_cut_and_never_overflow) {
  const std::pair<double, const char *> numbers[] = {{1.9, "1"},
                                                     {9007199254740993.0, "9007199254740992"},
                                                     {18446744073709549568.0, "18446744073709549568"},
                                                     {18446744073709551616.0, ""},
                                                     {INFINITY, ""},
                                                     {NAN, ""},
                                                     {0.9, ""},
                                                     {-1, ""},
                                                     {-1e300, ""}};
  for (const auto &[number, text] : numbers) {
    engine().post(number, "{}");
    engine().post_number(number);
    const std::string id = text;
    const std::string expected =
        id.empty() ? "" : "run xp_native.response(" + id + ", {});\nrun xp_native.forklift(" + id + ", 0);\n";
    EXPECT_EQ(platform.take_log(), expected) << number;
  }
}

TEST_F(bridge_test, payloads_are_measured_in_code_units) {
  // Four bytes and two code units each, one of two bytes and one unit where the sum is odd.
  const auto payload = [](size_t units) {
    const size_t inside = units - std::string_view("{'a':''}").size();
    std::string text = "{\"a\":\"";
    for (size_t i = 0; i < inside / 2; ++i)
      text += "\xf0\x9f\x98\x80";
    if (inside % 2 != 0) text += "\xc3\xa4";
    return text + "\"}";
  };
  engine().post(1, payload(1048575));
  EXPECT_EQ(platform.take_log(), "run xp_native.response(1, {});\n");
  EXPECT_FALSE(take_events().empty());
  engine().post(2, payload(1048576));
  EXPECT_EQ(platform.take_log(), "run xp_native.failure(2, 'request too large');\n");
  EXPECT_EQ(take_events(), "");
}

// --- Gathering ---

TEST_F(bridge_test, a_payload_is_gathered_unit_by_unit) {
  serve(u"{\"method\":\"\u00e4\u20ac\U0001F600\"}");
  engine().post_number(9);
  EXPECT_EQ(engine().finish_scripts(), 19);  // 17 units, the zero behind them, the answer
  EXPECT_EQ(take_events(), "40 {\"id\":9,\"method\":\"\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80\"}\n");
  EXPECT_EQ(platform.log.front(), "run xp_native.forklift(9, 0);");
  EXPECT_EQ(platform.log[17], "run xp_native.forklift(9, 17);");
  EXPECT_EQ(platform.last(), "run xp_native.response(9, {});");
}

TEST_F(bridge_test, odd_units_are_replaced_or_cut) {
  // A surrogate without its partner, in two requests side by side.
  for (const char16_t lone : {char16_t{0xd83d}, char16_t{0xdc00}}) {
    serve(std::u16string(u"{\"a\":\"") + lone + u"x\"}");
    engine().post_number(1);
    engine().post_number(2);
    engine().finish_scripts();
    EXPECT_EQ(take_events(),
              "40 {\"a\":\"\xef\xbf\xbdx\",\"id\":1}\n40 {\"a\":\"\xef\xbf\xbdx\",\"id\":2}\n");
  }
  // Sixteen bits count, and a value that is no whole number above 0 ends the payload.
  for (const double end : {0.0, static_cast<double>(NAN), -1.0, 0.5, 1e300}) {
    serve(std::vector<double>{'{' + 65536.0, 0x1007d}, end);
    engine().post_number(2);
    EXPECT_EQ(engine().finish_scripts(), 4);  // two units, the end, the answer
    EXPECT_EQ(take_events(), "40 {\"id\":2}\n");
  }
}

TEST_F(bridge_test, a_gathered_payload_has_at_most_8192_units) {
  const std::u16string frame = u"{\"a\":\"\"}";
  for (const size_t units : {size_t{8192}, size_t{8193}}) {
    std::u16string payload = frame;
    payload.insert(6, units - frame.size(), u'x');
    serve(payload);
    engine().post_number(4);
    engine().finish_scripts();
    const bool fits = units == 8192;
    EXPECT_EQ(platform.log.size(), 8194U);  // 8193 times one unit, then the outcome
    EXPECT_EQ(platform.last(),
              fits ? "run xp_native.response(4, {});" : "run xp_native.failure(4, 'request too large');");
    EXPECT_EQ(take_events().empty(), !fits);
    platform.log.clear();
  }
}

TEST_F(bridge_test, gathering_ends_with_a_failure_text) {
  const std::pair<xp_engine_result, const char *> outcomes[] = {
      {page_error("Can't find variable: xp_native"), "\"Can\\u0027t find variable: xp_native\""},
      {page_error("');alert(1);('"), "\"\\u0027);alert(1);(\\u0027\""},
      {page_error("a\"\\\n\x01\xc3\xa4"), "\"a\\\"\\\\\\n\\u0001\xc3\xa4\""},
      {{}, "operational error"},
      {page_result(page_text("65")), "operational error"},
      {page_result(page_boolean(true)), "operational error"},
  };
  for (const auto &[result, text] : outcomes) {
    platform.evaluate = [&result = result](std::string_view script) {
      return script.starts_with("xp_native.forklift") ? result : xp_engine_result{};
    };
    engine().post_number(8);
    engine().finish_scripts();
    EXPECT_EQ(platform.last(), std::string("run xp_native.failure(8, '") + text + "');");
    EXPECT_EQ(take_events(), "");
  }
}

TEST_F(bridge_test, gathering_stops_when_another_page_comes) {
  serve(u"{\"a\":1}");
  for (const char *address : {"local://app/", "http://elsewhere/"}) {
    engine().post_number(1);
    engine().show_page(address);
    take_events();
    engine().finish_scripts();
    EXPECT_EQ(take_events(), "");
    EXPECT_EQ(platform.take_log(), "run xp_native.forklift(1, 0);\n");
  }
}

// --- Who may ask ---

TEST_F(bridge_test, only_the_owners_pages_may_use_the_bridge) {
  const struct {
    const char *owner, *page;
    bool allowed;
  } rows[] = {
      {"https://Server.example:8443/start", "local://app/setup.html", true},
      {nullptr, "LOCAL:x", true},
      {nullptr, "about:blank", true},
      {nullptr, "https://server.example:1/", true},
      {nullptr, "http://server.example/", false},
      {nullptr, "https://server.example.evil/", false},
      {nullptr, "https://server.example@evil/", false},
      {nullptr, "https://evil/https://server.example/", false},
      {nullptr, "https://evil/?local:", false},
      {nullptr, "https://evil#@server.example/", false},
      {nullptr, "about:srcdoc", false},
      {nullptr, "data:text/html,local://app/", false},
      {nullptr, "localx://app/", false},
      {nullptr, "", false},
      // An address without a host is trusted alone.
      {"file:///a.html", "file:///a.html", true},
      {nullptr, "file:///b.html", false},
  };
  for (const auto &row : rows) {
    if (row.owner != nullptr) {
      xp_webview_seturl(wrapper(), str(row.owner).get());
      xp_webview_load(wrapper());
    }
    engine().show_page(row.page);
    take_events();
    platform.log.clear();
    engine().post(1, "{}");
    engine().post_number(1);
    EXPECT_EQ(take_events().empty(), !row.allowed) << row.page;
    EXPECT_EQ(platform.take_log().empty(), !row.allowed) << row.page;
  }
}

TEST_F(bridge_test, an_answer_is_not_run_into_somebody_elses_page) {
  const xp::ref request = numbered(1);
  for (const auto &[page, line] :
       {std::pair("http://elsewhere/", ""), {"local://app/", "run xp_native.response(1, {});\n"}}) {
    engine().show_page(page);
    EXPECT_EQ(xp_webview_respond(wrapper(), request.get()), 0);
    xp_main_pump();
    EXPECT_EQ(platform.take_log(), line);
  }
}

// --- Answering later ---

TEST_F(bridge_test, a_kept_request_is_answered_from_another_thread) {
  static xp_obj *kept;
  answer = [](uint32_t, xp_obj *request) {
    kept = xp_retain(request);
    return int64_t{1};
  };
  engine().post(18446744073709549568.0, R"({"method":"x"})");
  EXPECT_EQ(platform.take_log(), "");
  const auto work = [](void *, void *wrapper) -> int64_t {
    xp_dict_adopt(kept, "result", -1, xp_boolean_new(1));
    const int64_t taken = xp_webview_respond(static_cast<xp_obj *>(wrapper), kept);
    xp_release(kept);
    return taken;
  };
  const xp::ref thread = xp::ref::adopt(xp_thr_new(work, wrapper()));
  int64_t taken = -1;
  ASSERT_EQ(xp_thr_join(thread.get(), &taken), 0);
  EXPECT_EQ(taken, 0);
  EXPECT_EQ(platform.take_log(), "") << "the answer ran off the main queue";
  EXPECT_EQ(xp_main_pump(), 1);
  EXPECT_EQ(platform.take_log(), "run xp_native.response(18446744073709549568, true);\n");
}

TEST_F(bridge_test, an_answer_outlives_its_wrapper) {
  const xp::ref request = numbered(3);
  EXPECT_EQ(xp_webview_respond(wrapper(), request.get()), 0);
  drop_wrapper();
  EXPECT_EQ(platform.take_log(), "remove\ndetach\n");
  EXPECT_EQ(xp_main_pump(), 1);
  EXPECT_EQ(platform.take_log(), "run xp_native.response(3, {});\nend\n");
}

TEST_F(bridge_test, an_answer_needs_a_number) {
  const xp::ref request = numbered(3);
  expect(
      {xp_webview_respond(wrapper(), tree("{}").get()),
       xp_webview_respond(wrapper(), tree(R"({"id":"3"})").get()), xp_webview_respond(wrapper(), wrapper()),
       xp_webview_respond(request.get(), request.get()), xp_main_pump()},
      "-1 -1 -1 -1 0");
}

}  // namespace
