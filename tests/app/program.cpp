#include "tests/app/program.h"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <string_view>

namespace {

using words = std::vector<std::string>;

// The environment of this process with some of it set anew or taken away.
words changed_environment(const words &changes) {
  words result;
  for (char **entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const auto name = text.substr(0, text.find('='));
    bool keep = true;
    for (const auto &change : changes)
      keep = keep && name != change.substr(0, change.find('='));
    if (keep) result.emplace_back(text);
  }
  for (const auto &change : changes) {
    if (change.find('=') != std::string::npos) result.push_back(change);
  }
  return result;
}

std::vector<char *> pointers(words &list) {
  std::vector<char *> result;
  result.reserve(list.size() + 1);
  for (auto &word : list)
    result.push_back(word.data());
  result.push_back(nullptr);
  return result;
}

// Starts a program whose standard output and error are these descriptors (-1: our own). Its process, 0 if
// none.
int spawn(words arguments, const words &changes, int out, int err) {
  words environment = changed_environment(changes);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (out >= 0) posix_spawn_file_actions_adddup2(&actions, out, 1);
  if (err >= 0) posix_spawn_file_actions_adddup2(&actions, err, 2);
  pid_t process = 0;
  const int error = posix_spawn(&process, arguments.front().c_str(), &actions, nullptr,
                                pointers(arguments).data(), pointers(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? process : 0;
}

int wait_for(int process) {
  int status = 0;
  if (process == 0 || waitpid(process, &status, 0) != process) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// A file without a name, for what a program writes: unlike a pipe it never fills up.
int scratch_file() {
  return memfd_create("output", MFD_CLOEXEC);
}

std::string content(int file) {
  std::string text;
  std::array<char, 4096> part{};
  lseek(file, 0, SEEK_SET);
  for (ssize_t got = 0; (got = read(file, part.data(), part.size())) > 0;) {
    text.append(part.data(), static_cast<size_t>(got));
  }
  close(file);
  return text;
}

}  // namespace

program_result run_program(const words &arguments, const words &environment) {
  const int out = scratch_file();
  const int err = scratch_file();
  program_result result;
  result.status = wait_for(spawn(arguments, environment, out, err));
  result.out = content(out);
  result.err = content(err);
  return result;
}
