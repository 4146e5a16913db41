// A web engine for tests: writes each verb down as a line, answers scripts as the test says, and sends any
// notification. Completions of scripts wait, as those of a real engine do, until the test finishes them.

#ifndef TESTS_WEBVIEW_RECORDING_ENGINE_H
#define TESTS_WEBVIEW_RECORDING_ENGINE_H

#include "webview/engine.h"

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// How a scheme task was answered: "200 text/html Content-Type=text/html Cache-Control=no-store" or "failed
// URLErrorDomain -1000", and the bytes.
struct recorded_reply {
  std::string head;
  std::string bytes;
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
  std::string take_log();
  std::string last() const { return log.empty() ? std::string() : log.back(); }

private:
  std::unique_ptr<xp_engine> make(std::string line, const xp_engine_config &config);
};

class recording_engine final : public xp_engine {
public:
  recording_engine(recording_platform &platform, xp_engine_config config);
  ~recording_engine() override;

  xp_engine_config config;

  // --- Notifications ---

  // A message as the page's xp_native posts it, and one of the request's number alone.
  void post(double id, std::string payload);
  void post_number(double id);
  void post_message(const xp_engine_message &message);
  // Loads a page: started, committed under this address, finished.
  void show_page(const std::string &address);
  bool navigate(const std::string &url, const std::string &method = "GET",
                std::optional<std::string> body = {});
  recorded_reply request(const std::string &url, const std::string &method = "GET",
                         const std::string &body = {});

  // Finishes the scripts that wait, those included that are run meanwhile. Their number.
  int finish_scripts();

  // --- Verbs ---

  void frame(int64_t height, int64_t width) override;
  void show() override { note("show"); }
  void focus() override { note("focus"); }
  void remove() override { note("remove"); }
  void detach() override { note("detach"); }
  void trust(std::string_view host) override { note("trust [" + std::string(host) + "]"); }
  void load(const xp_engine_request &request) override;
  void load_html(std::string_view html) override { note("html " + std::string(html)); }
  void reload() override { note("reload"); }
  void run(std::string_view script, xp_engine_completion completion) override;
  void background(uint32_t rgb) override;

private:
  void note(std::string line) { platform_.log.push_back(std::move(line)); }

  recording_platform &platform_;
  std::deque<std::pair<std::string, xp_engine_completion>> scripts_;
};

// Script values and errors for recording_platform::evaluate and messages.
xp_engine_value page_number(double number);
xp_engine_value page_text(std::string text);
xp_engine_value page_boolean(bool boolean);
xp_engine_result page_result(xp_engine_value value);
xp_engine_result page_error(std::string description);

#endif
