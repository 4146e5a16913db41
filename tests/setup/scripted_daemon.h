// A daemon for tests, serving over the real socket of the private client's session
// (tests/setup/private_client.h). It answers each request code as the test has set and writes down what it
// was asked. Also one that speaks raw bytes.

#ifndef TESTS_SETUP_SCRIPTED_DAEMON_H
#define TESTS_SETUP_SCRIPTED_DAEMON_H

#include "xp/object/object.h"

#include <stdint.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

// One record of a reply: numbers travel as "long", texts as "text".
struct scripted_record {
  uint32_t name;
  std::optional<int32_t> number;
  std::string text;
};

struct scripted_answer {
  std::optional<int32_t> result = 0;  // `rslt`; none: the reply lacks it
  std::vector<scripted_record> records = {};
  std::chrono::milliseconds delay{0};
};

class scripted_daemon {
public:
  // Codes without an answer are refused with -1000. Set before start.
  std::map<uint32_t, scripted_answer> answers;

  scripted_daemon() = default;
  scripted_daemon(const scripted_daemon &) = delete;
  scripted_daemon &operator=(const scripted_daemon &) = delete;
  ~scripted_daemon() { stop(); }

  void start();
  void stop();

  // What was asked since the last call, a line for each request: the code in hexadecimal, then its records
  // behind the four that tell the caller, as "name=number" and "name:text".
  std::vector<std::string> take_requests();

private:
  static int32_t handle(xp_obj *request, xp_obj *reply, uint32_t ptyp, uint32_t ptid, void *context);

  xp_obj *connection_ = nullptr;
  std::mutex lock_;
  std::vector<std::string> requests_;
};

// The socket file on which a daemon of the private client's session listens.
std::filesystem::path daemon_socket();

// Makes the directory of socket files, as the first server does.
void make_socket_folder();

// Binds the socket file, replacing what is there, and listens; -1 when that fails.
int listen_as_daemon();

// Accepts connections one after the other and hands each to `serve`, until it is destroyed.
class raw_daemon {
public:
  explicit raw_daemon(std::function<void(int)> serve);
  raw_daemon(const raw_daemon &) = delete;
  raw_daemon &operator=(const raw_daemon &) = delete;
  ~raw_daemon();

private:
  int listener_;
  std::function<void(int)> serve_;
  std::thread thread_;
};

#endif
