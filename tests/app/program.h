// Runs a program as a shell would, and tells how it ended and what it wrote.

#ifndef TESTS_APP_PROGRAM_H
#define TESTS_APP_PROGRAM_H

#include <string>
#include <vector>

struct program_result {
  int status =
      -1;  // the exit status; 128 and the signal's number when it was killed; -1 when it did not start
  std::string out;
  std::string err;
};

// Runs a program to its end. `environment` holds NAME=VALUE to set and NAME to take away.
program_result run_program(const std::vector<std::string> &arguments,
                           const std::vector<std::string> &environment);

#endif
