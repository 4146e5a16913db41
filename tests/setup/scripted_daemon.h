// The client's daemon as the tests of setup see it, on the real socket of a session of the test program's
// own: one that answers as the test has set and writes down what it was asked, and one that speaks raw bytes.

#ifndef TESTS_SETUP_SCRIPTED_DAEMON_H
#define TESTS_SETUP_SCRIPTED_DAEMON_H

#include "ipc/connection.h"
#include "tests/ipc/records.h"
#include "tests/standin/standin_process.h"

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

// The client's installation, with the session and a framework library: made before the first test runs, since
// a process keeps the session number it was told first.
const private_root &private_client();

struct scripted_answer {
  std::optional<int32_t> result = 0;  // `rslt`; none: the reply lacks it
  std::string records = {};           // the others
  std::chrono::milliseconds delay{0};
};

class scripted_daemon {
public:
  scripted_daemon() = default;
  scripted_daemon(const scripted_daemon &) = delete;
  scripted_daemon &operator=(const scripted_daemon &) = delete;
  ~scripted_daemon() { stop(); }

  // Serves from now on, with one answer for all request codes but these.
  void serve(const scripted_answer &all, const std::map<int32_t, scripted_answer> &others = {});

  void stop() { ipc_free(std::exchange(connection_, nullptr)); }

  // What was asked since the last call, a line for each request: the code in hexadecimal, then its records
  // behind the four that tell the caller.
  words take_requests();

private:
  static int32_t handle(xp_obj *request, xp_obj *reply, uint32_t ptyp, uint32_t ptid, void *context);

  xp_obj *connection_ = nullptr;
  std::mutex lock_;
  scripted_answer all_;
  std::map<int32_t, scripted_answer> others_;
  words requests_;
};

// Binds the daemon's socket file, replacing what is there, and listens; -1 when that fails.
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
  std::thread thread_;
};

#endif
