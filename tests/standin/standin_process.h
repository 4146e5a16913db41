// The stand-in programs of this build as processes, for the tests of every layer above.

#ifndef TESTS_STANDIN_STANDIN_PROCESS_H
#define TESTS_STANDIN_STANDIN_PROCESS_H

#include "tests/support/program.h"
#include "tests/support/temp_folder.h"

#include <stdint.h>

// Runs corvane-standin with these arguments to its end.
program_result run_standin(words arguments);

// Makes or completes a private root below `folder`. The session number that its helper prints; -1 when
// something fails.
int64_t make_private_root(const std::filesystem::path &folder);

// A private root with a session of its own, whose socket file goes with it whoever left it behind.
class private_root {
public:
  private_root();
  ~private_root();

  [[nodiscard]] std::string path() const { return folder_.path(); }
  [[nodiscard]] uint32_t session() const { return static_cast<uint32_t>(session_); }
  // The socket file of the client's daemon in this session.
  [[nodiscard]] std::filesystem::path socket() const;

private:
  temp_folder folder_;
  int64_t session_;
};

// A stand-in that has started to serve, or has ended.
class standin_process : public program {
public:
  explicit standin_process(words arguments);
  explicit standin_process(const private_root &root) : standin_process(words{"--root", root.path()}) {}

  [[nodiscard]] bool serves() const { return serves_; }
  [[nodiscard]] std::string errors() const { return written(2); }

private:
  bool serves_;
};

#endif
