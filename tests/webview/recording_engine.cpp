#include "tests/webview/recording_engine.h"

#include <stdio.h>

namespace {

class recording_reply final : public xp_engine_reply {
public:
  recorded_reply result;

  void respond(int status, std::string_view mime_type,
               const std::vector<std::pair<std::string, std::string>> &headers,
               std::string_view bytes) override {
    result.head += std::to_string(status) + " " + std::string(mime_type);
    for (const auto &[name, value] : headers)
      result.head += " " + name + "=" + value;
    result.bytes = bytes;
  }
  void fail(std::string_view domain, int64_t code) override {
    result.head += "failed " + std::string(domain) + " " + std::to_string(code);
  }
};

}  // namespace

std::unique_ptr<xp_engine> recording_platform::make(std::string line, const xp_engine_config &config) {
  log.push_back(std::move(line));
  if (refuse) return nullptr;
  auto made = std::make_unique<recording_engine>(*this, config);
  engine = made.get();
  return made;
}

std::string recording_platform::take_log() {
  std::string lines;
  for (const std::string &line : log)
    lines += line + "\n";
  log.clear();
  return lines;
}

recording_engine::recording_engine(recording_platform &platform, xp_engine_config made_with)
    : config(std::move(made_with)), platform_(platform) {}

recording_engine::~recording_engine() {
  note("end");
  if (platform_.engine == this) platform_.engine = nullptr;
}

void recording_engine::post(double id, std::string payload) {
  post_message({.handler = "xp_native",
                .is = xp_engine_message::kind::dictionary,
                .number = 0,
                .id = page_number(id),
                .payload = page_text(std::move(payload))});
}

void recording_engine::post_number(double id) {
  post_message(
      {.handler = "xp_native", .is = xp_engine_message::kind::number, .number = id, .id = {}, .payload = {}});
}

void recording_engine::post_message(const xp_engine_message &message) {
  config.client->userContentController_didReceiveScriptMessage(message);
}

void recording_engine::show_page(const std::string &address) {
  config.client->webView_didStartProvisionalNavigation();
  config.client->webView_didCommitNavigation(address);
  config.client->webView_didFinishNavigation();
}

bool recording_engine::navigate(const std::string &url, const std::string &method,
                                std::optional<std::string> body) {
  return config.client->webView_decidePolicyForNavigationAction(
      {.url = url, .method = method, .body = std::move(body)});
}

recorded_reply recording_engine::request(const std::string &url, const std::string &method,
                                         const std::string &body) {
  recording_reply reply;
  config.client->webView_startURLSchemeTask({.url = url, .method = method, .body = body}, reply);
  return reply.result;
}

int recording_engine::finish_scripts() {
  int finished = 0;
  for (; !scripts_.empty(); ++finished) {
    const auto [script, completion] = std::move(scripts_.front());
    scripts_.pop_front();
    completion(platform_.evaluate ? platform_.evaluate(script) : xp_engine_result{});
  }
  return finished;
}

void recording_engine::frame(int64_t height, int64_t width) {
  note("frame " + std::to_string(height) + " " + std::to_string(width));
}
void recording_engine::load(const xp_engine_request &request) {
  std::string line = "load " + request.method + " " + request.url;
  for (const auto &[name, value] : request.headers)
    line += " " + name + "=" + value;
  if (request.body) line += " [" + *request.body + "]";
  note(line);
}

void recording_engine::run(std::string_view script, xp_engine_completion completion) {
  note("run " + std::string(script));
  scripts_.emplace_back(script, std::move(completion));
}

void recording_engine::background(uint32_t rgb) {
  char text[16];
  snprintf(text, sizeof text, "%06x", rgb);
  note(std::string("background ") + text);
}

xp_engine_value page_number(double number) {
  return {.is = xp_engine_value::kind::number, .number = number, .boolean = false, .text = {}};
}

xp_engine_value page_text(std::string text) {
  return {.is = xp_engine_value::kind::text, .number = 0, .boolean = false, .text = std::move(text)};
}

xp_engine_value page_boolean(bool boolean) {
  return {.is = xp_engine_value::kind::boolean, .number = 0, .boolean = boolean, .text = {}};
}

xp_engine_result page_result(xp_engine_value value) {
  return {.value = std::move(value), .error = {}};
}

xp_engine_result page_error(std::string description) {
  return {.value = {}, .error = std::move(description)};
}
