// The bridge, the scheme and the loads over the real engine.

#include "tests/webview/gtk/page_fixture.h"

#include <set>

namespace {

using engine_test = page_fixture;

// --- The bridge ---

TEST_F(engine_test, a_page_calls_native_code_and_gets_its_answer) {
  // The page compares what comes back with what it sent, so nothing that could be lost on the way is lost
  // unseen.
  load_page(R"(<script>
    var sent = ["it's \"so\"", "\u2028\u2029", "\t\\\n/", "ä€😀", "<\/script>", "');x=1;('", "%s%@"];
    var got = [];
    Promise.all(sent.map(text => xp_native("echo", { text: text }))).then(answers => {
      got = answers.map((answer, i) => answer.text === sent[i]);
    });
    xp_native("none").then(answer => { window.none = JSON.stringify(answer); });
  </script>)");
  EXPECT_TRUE(becomes("got.join()", "true,true,true,true,true,true,true"));
  EXPECT_TRUE(becomes("window.none", "{}"));
  EXPECT_EQ(evaluate("Object.keys(xp_native.promises).length"), "0");
  EXPECT_EQ(requests.size(), 8U);
}

TEST_F(engine_test, payloads_up_to_the_limit_arrive_whole) {
  load_page("<p>");
  // {"method":"m","args":{"a":"..."},"id":N} is what is measured; the id's digits vary, so the text makes up
  // for them.
  const std::string script = R"(
    window.ended = "";
    Math.random = () => 0.5;
    const bare = JSON.stringify({ method: "m", args: { a: "" }, id: 500000001 }).length;
    for (const units of [1048575, 1048576]) {
      xp_native("m", { a: "ä".repeat(units - bare) })
        .then(answer => { window.ended += answer.a.length + bare + ";"; }, error => { window.ended += error + ";"; });
      Math.random = () => 0.25;
    }
    window.bare = bare; 0)";
  // Both ids have nine digits.
  evaluate(script);
  EXPECT_TRUE(becomes("window.ended.split(';').sort().join(';')", ";1048575;error: request too large"));
}

TEST_F(engine_test, a_number_alone_has_its_payload_gathered) {
  load_page("<p>");
  evaluate(R"(
    const record = { payload: '{"method":"gather","args":{"a":"ä€😀\\n"}}' };
    record.resolve = answer => { window.answer = answer.a; };
    record.reject = error => { window.answer = error; };
    xp_native.promises[12] = record;
    window.webkit.messageHandlers.xp_native.postMessage(12); 0)");
  EXPECT_TRUE(becomes("window.answer", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80\n"));
}

TEST_F(engine_test, words_of_an_error_are_text_and_never_script) {
  load_page(R"(<script>
    xp_native.forklift = function () { throw new Error("Can't \"do\" \\ '); window.ran = 1; ('"); };
    xp_native.failure = function (id, error) { window.failed = id + " " + error; };
    window.webkit.messageHandlers.xp_native.postMessage(7);
  </script>)");
  ASSERT_TRUE(becomes("typeof window.failed", "string"));
  const std::string failed = evaluate("window.failed");
  EXPECT_TRUE(failed.starts_with("7 \"")) << failed;
  EXPECT_NE(failed.find("Can't \"do\" \\ '); window.ran = 1; ('"), std::string::npos) << failed;
  EXPECT_EQ(evaluate("typeof window.ran"), "undefined");
}

TEST_F(engine_test, odd_messages_raise_nothing) {
  load_page(R"(<script>
    const post = body => window.webkit.messageHandlers.xp_native.postMessage(body);
    for (const body of [null, undefined, true, "5", [5], {}, { id: 5 }, { id: "5", payload: "{}" },
                        { id: true, payload: "{}" }, { id: 5, payload: 5 }, { id: NaN, payload: "{}" },
                        { id: -1, payload: "{}" }, { id: 1e300, payload: "{}" }, 0, -1, NaN, 1e300]) post(body);
    window.webkit.messageHandlers.diag.postMessage({ id: 5, payload: "{}" });
    post({ id: 5.9, payload: '{"method":"last"}' });
  </script>)");
  EXPECT_TRUE(wait_for([this] { return !requests.empty(); }));
  EXPECT_EQ(requests, (std::vector<std::string>{"{\"id\":5,\"method\":\"last\"}"}));
}

// --- Who may ask ---

// A page that calls native code as soon as a frame of another origin, which does the same, is there or has
// been kept out: the engine tells the page of both in the same way.
constexpr const char *framed = R"(<script>
    const frame = document.createElement("iframe");
    frame.src = "data:text/html,<script>window.webkit.messageHandlers.xp_native.postMessage(" +
      "{ id: 1, payload: '{\"method\":\"frame\"}' })<\/script>";
    frame.onload = () => xp_native("page", { a: 1 }).then(answer => { window.answer = answer.a; });
    document.documentElement.append(frame);
  </script>)";

TEST_F(engine_test, the_policy_keeps_foreign_frames_from_the_bridge) {
  wrapper("frame-src 'none'");
  load_page(framed);
  EXPECT_TRUE(becomes("window.answer", "1"));  // the page itself still works
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_NE(requests[0].find("\"page\""), std::string::npos);
}

TEST_F(engine_test, without_the_policy_a_foreign_frame_reaches_the_bridge) {
  // What the policy is for: when this fails, the engine has learnt to keep frames out by itself.
  load_page(framed);
  EXPECT_TRUE(becomes("window.answer", "1"));
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_NE(requests[0].find("\"frame\""), std::string::npos);
}

TEST_F(engine_test, a_page_that_the_owner_puts_there_may_ask) {
  xp_webview_setcontent(wrapper(), nullptr, "<script>xp_native('content')</script>");
  EXPECT_TRUE(wait_for([this] { return requests.size() == 1; }));
  EXPECT_EQ(evaluate("location.href"), "about:blank");
}

// --- The scheme ---

TEST_F(engine_test, bodies_and_answers_are_exact) {
  load_page("<p>");
  std::string bytes;
  for (int i = 0; i < 256; ++i)
    bytes.push_back(static_cast<char>(i));
  pages["local://app/echo?a=%20"] = bytes;
  evaluate(R"(
    fetch("local://app/echo?a=%20", { method: "POST", body: new Uint8Array(256).map((zero, i) => i) })
      .then(async response => {
        const back = new Uint8Array(await response.arrayBuffer());
        window.status = response.status + " " + [...response.headers].join(" ");
        window.exact = back.length + " " + back.every((byte, i) => byte === i);
      });
    fetch("local://app/missing").catch(error => { window.missing = error.name; }); 0)");
  EXPECT_TRUE(becomes("window.exact", "256 true"));
  EXPECT_EQ(evaluate("window.status"), "200 cache-control,no-store content-type,text/html; charset=utf-8");
  EXPECT_EQ(seen["local://app/echo?a=%20"].method, "POST");
  EXPECT_EQ(seen["local://app/echo?a=%20"].data, bytes);
  EXPECT_TRUE(becomes("window.missing", "TypeError"));
}

TEST_F(engine_test, an_owners_body_is_posted_to_the_scheme) {
  xp_webview_setbody(wrapper(), "text/plain", str("a=\xff").get());
  load_page("<p id=p>posted");
  EXPECT_EQ(seen["local://app/index.html"].method, "POST");
  EXPECT_EQ(seen["local://app/index.html"].data, "a=\xff");
  EXPECT_EQ(events[0], "10 POST local://app/index.html");
}

// --- Loads ---

TEST_F(engine_test, a_load_raises_each_event_once) {
  load_page("<p>");
  run_for(200);
  const std::string all[] = {"10 GET local://app/index.html", "30", "20", "21", "22"};
  EXPECT_EQ(std::set<std::string>(events.begin(), events.end()),
            std::set<std::string>(std::begin(all), std::end(all)));
  EXPECT_EQ(events.size(), std::size(all));
  EXPECT_EQ(events[0], all[0]);
  EXPECT_EQ(events.back(), "22");
}

TEST_F(engine_test, a_load_that_fails_says_so_once) {
  load("local://app/missing.html");
  run_for(300);
  EXPECT_EQ(count("23"), 1);
  EXPECT_EQ(count("22") + count("21"), 0);
  EXPECT_EQ(count("20"), 1);
  load_page("<p>");  // and the next one is as if nothing had been
  EXPECT_EQ(count("23"), 0);
}

TEST_F(engine_test, a_refused_navigation_leaves_the_page) {
  refused = "local://app/other.html";
  pages[refused] = "<p>other";
  load_page("<p>first");
  events.clear();
  evaluate("location.href = 'local://app/other.html'; 0");
  EXPECT_TRUE(wait_for([this] { return count("10") > 0; }));
  run_for(200);
  EXPECT_EQ(events, (std::vector<std::string>{"10 GET local://app/other.html"}));
  EXPECT_EQ(evaluate("document.body.textContent"), "first");
}

TEST_F(engine_test, scripts_whose_value_cannot_leave_the_page_are_no_errors) {
  load_page("<p>");
  expect({evaluate("Promise.resolve(1)"), evaluate("(function () {})"), evaluate("({ a: [1, 'x'] })"),
          evaluate("'a\\u0000b'")},
         std::string("null null {\"a\":[1,\"x\"]} a\0b", 27));
  EXPECT_NE(evaluate("nobody").find("error: "), std::string::npos);
}

TEST_F(engine_test, a_page_whose_process_ends_comes_back) {
  load_page("<p>");
  events.clear();
  webkit_web_view_terminate_web_process(view());
  ASSERT_TRUE(wait_for([this] { return count("22") > 0; }));
  EXPECT_EQ(count("21"), 1);
  evaluate("xp_native('again', { a: 2 }).then(answer => { window.answer = answer.a; }); 0");
  EXPECT_TRUE(becomes("window.answer", "2"));
}

}  // namespace
