#include "tests/support/program.h"

#include "tests/support/wait.h"

#include <errno.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <utility>

program::program(words arguments) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (int i = 0; i < 3; ++i) {
    files_[i] = memfd_create("output", MFD_CLOEXEC);
    posix_spawn_file_actions_adddup2(&actions, files_[i], i + 1);
  }
  std::vector<char *> pointers;
  for (std::string &word : arguments)
    pointers.push_back(word.data());
  pointers.push_back(nullptr);
  if (posix_spawnp(&process_, pointers[0], &actions, nullptr, pointers.data(), environ) != 0) process_ = -1;
  posix_spawn_file_actions_destroy(&actions);
}

program::~program() {
  if (process_ > 0) end();
  for (int file : files_)
    close(file);
}

std::string program::written(int descriptor) const {
  const int file = files_[descriptor - 1];
  struct stat status = {};
  fstat(file, &status);
  std::string text(static_cast<size_t>(status.st_size), 0);
  const ssize_t got = pread(file, text.data(), text.size(), 0);
  return text.substr(0, got < 0 ? 0 : static_cast<size_t>(got));
}

bool program::says(const std::string &text) {
  const auto said = [&] { return written(2).find(text) != std::string::npos; };
  const auto ended = [&] {
    siginfo_t info = {};
    return waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
           info.si_pid != 0;
  };
  wait_until([&] { return said() || ended(); });
  return said();
}

int program::end(int signal) {
  const pid_t process = std::exchange(process_, -1);
  if (process > 0 && signal != 0) kill(process, signal);
  int status = 0;
  if (process < 0 || TEMP_FAILURE_RETRY(waitpid(process, &status, 0)) != process) return -1000;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

program_result run_program(const words &arguments) {
  program started(arguments);
  const int status = started.end(0);
  return {status, started.written(1), started.written(2), started.written(3)};
}
