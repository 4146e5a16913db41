// Pages of a web server: whose certificate is accepted, and who may use the bridge.

#include "tests/webview/gtk/page_fixture.h"

#include <libsoup/soup.h>

namespace {

// A server on the loopback interface that gives every request the same page.
class server_test : public page_fixture {
protected:
  // The server starts on first use, with a certificate that nobody vouches for when it is to speak https.
  void serve(const std::string &html, bool secure) {
    html_ = html;
    secure_ = secure;
    server_ = soup_server_new(nullptr, nullptr);
    if (secure) {
      const std::string file = std::string(CORVANE_SOURCE_DIR) + "/tests/webview/gtk/self_signed.pem";
      g_autoptr(GTlsCertificate) certificate = g_tls_certificate_new_from_file(file.c_str(), nullptr);
      ASSERT_NE(certificate, nullptr);
      soup_server_set_tls_certificate(server_, certificate);
    }
    soup_server_add_handler(server_, nullptr, answer, this, nullptr);
    const auto options = secure ? SOUP_SERVER_LISTEN_HTTPS : static_cast<SoupServerListenOptions>(0);
    ASSERT_TRUE(soup_server_listen_local(server_, 0, options, nullptr));
    GSList *uris = soup_server_get_uris(server_);
    port_ = std::to_string(g_uri_get_port(static_cast<GUri *>(uris->data)));
    g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
  }

  void TearDown() override {
    page_fixture::TearDown();
    if (server_ != nullptr) g_object_unref(server_);
  }

  std::string at(const std::string &host) const {
    return (secure_ ? "https://" : "http://") + host + ":" + port_ + "/";
  }

  std::vector<std::string> fields;  // what came under "X-Test", a line per request

private:
  static void answer(SoupServer *, SoupServerMessage *message, const char *, GHashTable *, gpointer data) {
    auto &self = *static_cast<server_test *>(data);
    SoupMessageHeaders *asked = soup_server_message_get_request_headers(message);
    const char *field = soup_message_headers_get_one(asked, "X-Test");
    self.fields.emplace_back(field != nullptr ? field : "");
    soup_server_message_set_status(message, 200, nullptr);
    soup_server_message_set_response(message, "text/html", SOUP_MEMORY_COPY, self.html_.data(),
                                     self.html_.size());
  }

  SoupServer *server_ = nullptr;
  std::string html_;
  std::string port_;
  bool secure_ = false;
};

TEST_F(server_test, the_certificate_of_the_loaded_host_alone_is_accepted) {
  serve("<p>served", true);
  xp_webview_setheader(wrapper(), "X-Test", "kept");
  load(at("127.0.0.1"));
  EXPECT_EQ(count("22"), 1);
  EXPECT_EQ(count("20"), 1) << "the second attempt was reported as a load of its own";
  EXPECT_EQ(count("23"), 0);
  EXPECT_EQ(fields, (std::vector<std::string>{"kept"}));
  EXPECT_EQ(evaluate("document.body.textContent"), "served");

  // The same server under another name, reached from the page.
  events.clear();
  evaluate("location.href = '" + at("localhost") + "'; 0");
  EXPECT_TRUE(wait_for([this] { return count("23") > 0; }));
  EXPECT_EQ(count("22"), 0);
  EXPECT_EQ(fields.size(), 1U);

  // The owner's next load moves the trust with it.
  load(at("localhost"));
  EXPECT_EQ(count("22"), 1) << testing::PrintToString(events);
  EXPECT_EQ(fields.size(), 2U);
}

TEST_F(server_test, a_foreign_page_cannot_reach_the_bridge) {
  serve(R"(<script>
    window.webkit.messageHandlers.xp_native.postMessage({ id: 1, payload: '{"method":"server"}' });
    window.webkit.messageHandlers.xp_native.postMessage(1);
    window.xp_native = { response: () => { window.spied = 1; } };
    window.posted = 1;
  </script>)",
        false);
  load_page("<p>");
  events.clear();
  evaluate("location.href = '" + at("127.0.0.1") + "'; 0");
  ASSERT_TRUE(wait_for([this] { return count("22") > 0; }));
  EXPECT_EQ(evaluate("location.protocol + window.posted"), "http:1");
  // An answer that comes late is not run into it.
  EXPECT_EQ(xp_webview_respond(wrapper(), tree(R"({"id":1})").get()), 0);
  run_for(200);
  EXPECT_TRUE(requests.empty());
  EXPECT_EQ(evaluate("typeof window.spied"), "undefined");

  // The same page is no stranger once the owner itself has loaded it.
  load(at("127.0.0.1"));
  EXPECT_TRUE(wait_for([this] { return requests.size() == 1; }));
  EXPECT_NE(requests.back().find("\"server\""), std::string::npos);
}

TEST_F(server_test, a_body_for_a_server_is_refused_rather_than_lost) {
  serve("<p>served", false);
  xp_webview_setbody(wrapper(), nullptr, wrapper());
  load(at("127.0.0.1"));
  EXPECT_EQ(events, (std::vector<std::string>{"23 A body can be sent to the page's own scheme only."}));
  EXPECT_TRUE(fields.empty());
  xp_webview_setbody(wrapper(), nullptr, nullptr);
}

}  // namespace
