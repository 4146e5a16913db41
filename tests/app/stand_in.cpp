#include "tests/app/stand_in.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
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

stand_in::stand_in() {
  root_ = (std::filesystem::temp_directory_path() / "corvane-test.XXXXXX").string();
  if (mkdtemp(root_.data()) == nullptr) abort();
  if (run_program({CORVANE_STANDIN, "--make-root", root_}, {}).status != 0) abort();
}

stand_in::~stand_in() {
  stop();
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

bool stand_in::start() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
  process_ = spawn({CORVANE_STANDIN}, {"CORVANE_ROOT=" + root_}, -1, ends[1]);
  close(ends[1]);
  errors_ = ends[0];
  // It says in one line that it serves, or why not.
  pollfd ready = {.fd = errors_, .events = POLLIN, .revents = 0};
  std::array<char, 512> line{};
  if (process_ == 0 || poll(&ready, 1, 20000) != 1) return false;
  const ssize_t length = read(errors_, line.data(), line.size());
  return length > 0 &&
         std::string_view(line.data(), static_cast<size_t>(length)).find("serving") != std::string_view::npos;
}

void stand_in::stop() {
  end(SIGTERM);
}
void stand_in::kill() {
  end(SIGKILL);
}

void stand_in::end(int signal) {
  if (process_ != 0) {
    ::kill(process_, signal);
    wait_for(process_);
    process_ = 0;
  }
  if (errors_ >= 0) close(errors_);
  errors_ = -1;
}
