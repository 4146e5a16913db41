// A web engine for tests: writes each verb down as a line, answers scripts as the test says, and sends any
// notification. Completions of scripts wait, as those of a real engine do, until the test finishes them.

#ifndef TESTS_WEBVIEW_RECORDING_ENGINE_H
#define TESTS_WEBVIEW_RECORDING_ENGINE_H

#include "webview/engine.h"

#include <stdio.h>

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// Script values and errors.
inline xp_engine_value page_number(double number) {
  return {.is = xp_engine_value::kind::number, .number = number, .boolean = false, .text = {}};
}
inline xp_engine_value page_text(std::string text) {
  return {.is = xp_engine_value::kind::text, .number = 0, .boolean = false, .text = std::move(text)};
}
inline xp_engine_value page_boolean(bool boolean) {
  return {.is = xp_engine_value::kind::boolean, .number = 0, .boolean = boolean, .text = {}};
}
inline xp_engine_result page_result(xp_engine_value value) {
  return {.value = std::move(value), .error = {}};
}
inline xp_engine_result page_error(std::string description) {
  return {.value = {}, .error = std::move(description)};
}

// How a scheme task was answered: "200 text/html Content-Type=text/html Cache-Control=no-store" or "failed
// URLErrorDomain -1000", and the bytes.
struct recorded_reply final : public xp_engine_reply {
  std::string head;
  std::string bytes;

  void respond(int status, std::string_view mime_type,
               const std::vector<std::pair<std::string, std::string>> &headers,
               std::string_view content) override {
    head += std::to_string(status) + " " + std::string(mime_type);
    for (const auto &[name, value] : headers)
      head += " " + name + "=" + value;
    bytes = content;
  }
  void fail(std::string_view domain, int64_t code) override {
    head += "failed " + std::string(domain) + " " + std::to_string(code);
  }
};

class recording_engine;

// Makes recording engines; tests hand one to xp_webview_setplatform. The log outlives the engines.
class recording_platform final : public xp_engine_platform {
public:
  int version = 13;                    // the operating system's generation
  bool refuse = false;                 // no engine can be made
  std::vector<std::string> log;        // a line for each verb, "end" when an engine ends
  recording_engine *engine = nullptr;  // the one that was made last; null once it has ended
  // What scripts come to; without it every script gives an undefined value.
  std::function<xp_engine_result(std::string_view script)> evaluate;

  int os_major_version() const override { return version; }
  std::unique_ptr<xp_engine> make_modern(const xp_engine_config &config) override {
    return make("modern " + config.scheme, config);
  }
  std::unique_ptr<xp_engine> make_legacy(const xp_engine_config &config) override {
    return make("legacy", config);
  }

  // The log since the last call, one line each, and the last line alone ("" when there is none).
  std::string take_log() {
    std::string lines;
    for (const std::string &line : std::exchange(log, {}))
      lines += line + "\n";
    return lines;
  }
  std::string last() const { return log.empty() ? std::string() : log.back(); }

private:
  std::unique_ptr<xp_engine> make(std::string line, const xp_engine_config &config);
};

class recording_engine final : public xp_engine {
public:
  recording_engine(recording_platform &platform, xp_engine_config made_with)
      : config(std::move(made_with)), platform_(platform) {
    platform_.engine = this;
  }
  ~recording_engine() override {
    note("end");
    if (platform_.engine == this) platform_.engine = nullptr;
  }

  xp_engine_config config;

  // --- Notifications ---

  // A message as the page's xp_native posts it, and one of the request's number alone.
  void post(double id, std::string payload) {
    post_message({.handler = "xp_native",
                  .is = xp_engine_message::kind::dictionary,
                  .number = 0,
                  .id = page_number(id),
                  .payload = page_text(std::move(payload))});
  }
  void post_number(double id) {
    post_message({.handler = "xp_native",
                  .is = xp_engine_message::kind::number,
                  .number = id,
                  .id = {},
                  .payload = {}});
  }
  void post_message(const xp_engine_message &message) {
    config.client->userContentController_didReceiveScriptMessage(message);
  }
  // Loads a page: started, committed under this address, finished.
  void show_page(const std::string &address) {
    config.client->webView_didStartProvisionalNavigation();
    config.client->webView_didCommitNavigation(address);
    config.client->webView_didFinishNavigation();
  }
  bool navigate(const std::string &url, const std::string &method = "GET",
                std::optional<std::string> body = {}) {
    return config.client->webView_decidePolicyForNavigationAction(
        {.url = url, .method = method, .body = std::move(body)});
  }
  recorded_reply request(const std::string &url, const std::string &method = "GET",
                         const std::string &body = {}) {
    recorded_reply reply;
    config.client->webView_startURLSchemeTask({.url = url, .method = method, .body = body}, reply);
    return reply;
  }

  // Finishes the scripts that wait, those included that are run meanwhile. Their number.
  int finish_scripts() {
    int finished = 0;
    for (; !scripts_.empty(); ++finished) {
      const auto [script, completion] = std::move(scripts_.front());
      scripts_.pop_front();
      completion(platform_.evaluate ? platform_.evaluate(script) : xp_engine_result{});
    }
    return finished;
  }

  // --- Verbs ---

  void frame(int64_t height, int64_t width) override {
    note("frame " + std::to_string(height) + " " + std::to_string(width));
  }
  void show() override { note("show"); }
  void focus() override { note("focus"); }
  void remove() override { note("remove"); }
  void detach() override { note("detach"); }
  void trust(std::string_view host) override { note("trust [" + std::string(host) + "]"); }
  void load(const xp_engine_request &request) override {
    std::string line = "load " + request.method + " " + request.url;
    for (const auto &[name, value] : request.headers)
      line += " " + name + "=" + value;
    if (request.body) line += " [" + *request.body + "]";
    note(line);
  }
  void load_html(std::string_view html) override { note("html " + std::string(html)); }
  void reload() override { note("reload"); }
  void run(std::string_view script, xp_engine_completion completion) override {
    note("run " + std::string(script));
    scripts_.emplace_back(script, std::move(completion));
  }
  void background(uint32_t rgb) override {
    char text[32];
    snprintf(text, sizeof text, "background %06x", rgb);
    note(text);
  }

private:
  void note(std::string line) { platform_.log.push_back(std::move(line)); }

  recording_platform &platform_;
  std::deque<std::pair<std::string, xp_engine_completion>> scripts_;
};

inline std::unique_ptr<xp_engine> recording_platform::make(std::string line, const xp_engine_config &config) {
  log.push_back(std::move(line));
  if (refuse) return nullptr;
  return std::make_unique<recording_engine>(*this, config);
}

#endif
