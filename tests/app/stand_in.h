// A client for one test: a private root, and the stand-in that serves in it, stopped and started as the test
// likes.

#ifndef TESTS_APP_STAND_IN_H
#define TESTS_APP_STAND_IN_H

#include <string>
#include <vector>

// Whom a program left: its exit status (128 and the signal's number when it was killed) and what it wrote.
struct program_result {
  int status = -1;
  std::string out;
  std::string err;
};

// Runs a program to its end. `environment` holds NAME=VALUE to set and NAME to take away.
program_result run_program(const std::vector<std::string> &arguments,
                           const std::vector<std::string> &environment);

class stand_in {
public:
  stand_in();  // makes the root; nothing serves yet
  stand_in(const stand_in &) = delete;
  stand_in &operator=(const stand_in &) = delete;
  ~stand_in();

  const std::string &root() const { return root_; }

  // Starts serving; true once its endpoint is there.
  bool start();
  // Ends it: in good order, which takes the endpoint away, or killed, which leaves it behind.
  void stop();
  void kill();

private:
  void end(int signal);

  std::string root_;
  int process_ = 0;
  int errors_ = -1;  // what it writes to standard error
};

#endif
