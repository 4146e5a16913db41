// Programs as processes, and what they write.

#ifndef TESTS_SUPPORT_PROGRAM_H
#define TESTS_SUPPORT_PROGRAM_H

#include <signal.h>
#include <sys/types.h>

#include <string>
#include <vector>

using words = std::vector<std::string>;

class program {
public:
  // Starts the program that the first word names; "env" is one that changes the environment of another.
  explicit program(words arguments);
  program(const program &) = delete;
  program &operator=(const program &) = delete;
  ~program();

  // What it has written so far to its descriptor 1, 2 or 3.
  [[nodiscard]] std::string written(int descriptor) const;

  // Waits until it has written the text to its standard error; false when it ended without.
  [[nodiscard]] bool says(const std::string &text);

  // Waits for its end, after a signal if that is not 0. The exit status, or minus the signal that ended it.
  int end(int signal = SIGTERM);

private:
  pid_t process_ = -1;
  int files_[3];  // files without a name: unlike pipes they never fill up
};

// Runs a program to its end.
struct program_result {
  int status;
  std::string out, err, answer;  // descriptors 1, 2 and 3
};
program_result run_program(const words &arguments);

#endif
