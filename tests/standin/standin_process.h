// Starts the real stand-in programs of this build as processes, for the tests of every layer above.

#ifndef TESTS_STANDIN_STANDIN_PROCESS_H
#define TESTS_STANDIN_STANDIN_PROCESS_H

#include <signal.h>
#include <stdint.h>
#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

using standin_arguments = std::vector<std::string>;

class standin_process {
public:
  // Starts corvane-standin and waits until it serves or has ended.
  explicit standin_process(const standin_arguments &arguments);
  standin_process(const standin_process &) = delete;
  standin_process &operator=(const standin_process &) = delete;
  ~standin_process();

  // Whether it said that it serves; what it has written to standard error so far.
  [[nodiscard]] bool serves() const { return serves_; }
  [[nodiscard]] const std::string &errors() const { return errors_; }

  // Sends a signal, waits for the end and returns the exit status, or minus the signal that ended it.
  int end(int signal = SIGTERM);

private:
  bool read_more();

  pid_t process_ = -1;
  int error_pipe_ = -1;
  bool serves_ = false;
  std::string errors_;
};

// Runs corvane-standin to its end and returns its exit status; `text` receives what it wrote to the
// descriptor.
int run_standin(const standin_arguments &arguments, std::string *text = nullptr, int descriptor = 2);

// Makes a private root below `folder` with corvane-standin --make-root and returns the session number that
// its helper prints; -1 when something fails.
int64_t make_private_root(const std::filesystem::path &folder);

#endif
