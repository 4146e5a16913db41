#include "tests/standin/standin_process.h"

#include <stdio.h>

#include <charconv>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

words with_program(words arguments) {
  arguments.insert(arguments.begin(), CORVANE_STANDIN_PATH);
  return arguments;
}

}  // namespace

program_result run_standin(words arguments) {
  return run_program(with_program(std::move(arguments)));
}

int64_t make_private_root(const fs::path &folder) {
  if (run_standin({"--make-root", folder}).status != 0) return -1;
  const auto [status, out, err, answer] =
      run_program({folder / "Library/Corvane/Corvane.app/Contents/SharedSupport/quorn"});
  int64_t number = -1;
  std::from_chars(answer.data(), answer.data() + answer.size(), number);
  return status == 0 ? number : -1;
}

private_root::private_root() : session_(make_private_root(folder_.path())) {
  if (session_ < 0) throw std::runtime_error("no private root in " + path());
}

private_root::~private_root() {
  std::error_code ignored;
  fs::remove(socket(), ignored);
}

fs::path private_root::socket() const {
  char name[18];
  snprintf(name, sizeof name, "48586361-%08X", session());
  return fs::path("/var/tmp/com.brindle.pipes") / name;
}

standin_process::standin_process(words arguments)
    : program(with_program(std::move(arguments))),
      serves_(says("corvane-standin: serving HXca in session ")) {}
