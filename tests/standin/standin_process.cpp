#include "tests/standin/standin_process.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <utility>

namespace {

constexpr int ready_limit_ms = 20000;

// Starts a program with one of its descriptors writing into a pipe; the pipe's read end goes to `from`.
pid_t start(const char *program, const standin_arguments &arguments, int descriptor, int &from) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], descriptor);
  std::vector<char *> words{const_cast<char *>(program)};
  for (const std::string &argument : arguments)
    words.push_back(const_cast<char *>(argument.c_str()));
  words.push_back(nullptr);
  pid_t process = -1;
  if (posix_spawn(&process, program, &actions, nullptr, words.data(), environ) != 0) process = -1;
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  from = ends[0];
  return process;
}

std::string read_to_the_end(int descriptor) {
  std::string text;
  char part[512];
  for (ssize_t got; (got = TEMP_FAILURE_RETRY(read(descriptor, part, sizeof part))) > 0;)
    text.append(part, static_cast<size_t>(got));
  close(descriptor);
  return text;
}

int wait_for(pid_t process) {
  int status = 0;
  if (process < 0 || TEMP_FAILURE_RETRY(waitpid(process, &status, 0)) != process) return -1000;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace

standin_process::standin_process(const standin_arguments &arguments) {
  process_ = start(CORVANE_STANDIN_PATH, arguments, STDERR_FILENO, error_pipe_);
  while (!serves_ && read_more())
    serves_ = errors_.find("corvane-standin: serving HXca in session ") == 0;
}

standin_process::~standin_process() {
  if (process_ > 0) end(SIGKILL);
}

bool standin_process::read_more() {
  pollfd readable{.fd = error_pipe_, .events = POLLIN, .revents = 0};
  if (poll(&readable, 1, ready_limit_ms) != 1) return false;
  char part[512];
  const ssize_t got = TEMP_FAILURE_RETRY(read(error_pipe_, part, sizeof part));
  if (got > 0) errors_.append(part, static_cast<size_t>(got));
  return got > 0;
}

int standin_process::end(int signal) {
  const pid_t process = std::exchange(process_, -1);
  if (process > 0) kill(process, signal);
  const int status = wait_for(process);
  if (error_pipe_ >= 0) errors_ += read_to_the_end(std::exchange(error_pipe_, -1));
  return status;
}

int run_standin(const standin_arguments &arguments, std::string *text, int descriptor) {
  int from = -1;
  const pid_t process = start(CORVANE_STANDIN_PATH, arguments, descriptor, from);
  std::string written = read_to_the_end(from);
  if (text != nullptr) *text = std::move(written);
  return wait_for(process);
}

int64_t make_private_root(const std::filesystem::path &folder) {
  if (run_standin({"--make-root", folder.string()}) != 0) return -1;
  constexpr int answer_descriptor = 3;
  int from = -1;
  const auto helper = folder / "Library/Corvane/Corvane.app/Contents/SharedSupport/quorn";
  const pid_t process = start(helper.c_str(), {}, answer_descriptor, from);
  const std::string number = read_to_the_end(from);
  if (wait_for(process) != 0 || number.empty()) return -1;
  return strtoll(number.c_str(), nullptr, 10);
}
