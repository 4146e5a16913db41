#include "ipc/session.h"

#include "ipc/clock.h"
#include "ipc/session_impl.h"
#include "xp/object/ref.h"
#include "xp/service/system_root.h"
#include "xp/string/string.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>

namespace {

constexpr uint32_t unset = 0xFFFFFFFF;
constexpr char helper_path[] = "/Library/Corvane/Corvane.app/Contents/SharedSupport/quorn";
constexpr int32_t helper_limit = 4000;  // ms from start to end
constexpr int helper_descriptor = 3;    // where the helper prints
constexpr size_t number_text_limit = 32;

// The session number of this process once it is known, in big-endian order. Relaxed: the number is all there
// is.
std::atomic<uint32_t> known = unset;

// Reads once from a descriptor, repeating interrupted reads. The bytes read; 0 or below when nothing came.
ssize_t read_once(int descriptor, char *text, size_t size) {
  ssize_t count;
  do {
    count = read(descriptor, text, size);
  } while (count < 0 && errno == EINTR);
  return count;
}

// The kernel's number of the login session that this process belongs to.
uint32_t login_session() {
  int file = open("/proc/self/sessionid", O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  char text[number_text_limit];
  ssize_t count = read_once(file, text, sizeof text);
  close(file);
  return ipc_session_parse(text, count);
}

int32_t left_of(uint32_t start, int32_t limit) {
  auto passed = static_cast<int32_t>(ipc_time_diff(start, ipc_time_msecs()));
  return std::max(limit - passed, 0);
}

// Starts the helper with `output` as its descriptor 3 and nothing above it. No fork of ours: other threads
// may hold locks that a forked child would wait for.
bool start_helper(const char *path, int output, pid_t *pid) {
  posix_spawn_file_actions_t actions;
  if (posix_spawn_file_actions_init(&actions) != 0) return false;
  char name[] = "quorn";
  char *const arguments[] = {name, nullptr};
  bool started = posix_spawn_file_actions_adddup2(&actions, output, helper_descriptor) == 0 &&
                 posix_spawn_file_actions_addclosefrom_np(&actions, helper_descriptor + 1) == 0 &&
                 posix_spawn(pid, path, &actions, nullptr, arguments, environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  return started;
}

// Waits until there is something to read, at most until the limit.
bool wait_readable(int descriptor, uint32_t start, int32_t limit) {
  pollfd waiting = {.fd = descriptor, .events = POLLIN, .revents = 0};
  int ready;
  do {
    ready = poll(&waiting, 1, left_of(start, limit));
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

// Reaps the helper, and no other child. One that has not ended by the limit is ended, so that none stays
// behind.
void reap_helper(pid_t pid, uint32_t start, int32_t limit) {
  pid_t ended;
  while ((ended = waitpid(pid, nullptr, WNOHANG)) == 0 || (ended < 0 && errno == EINTR)) {
    if (left_of(start, limit) > 0) {
      ipc_sleep(1);
      continue;
    }
    kill(pid, SIGKILL);
    while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    return;
  }
}

uint32_t helper_session() {
  xp::ref path = xp::ref::adopt(xp_root_path(helper_path));
  return path ? ipc_session_helper(xp_str_getptr(path.get()), helper_limit) : 0;
}

// Remembers a number that was found. When several threads looked at once the first one's number stands.
uint32_t remember(uint32_t number) {
  uint32_t mine = __builtin_bswap32(number);
  uint32_t first = unset;
  return known.compare_exchange_strong(first, mine, std::memory_order_relaxed) ? mine : first;
}

}  // namespace

uint32_t ipc_session_parse(const char *text, int64_t length) {
  uint32_t number = 0;
  if (length <= 0) return 0;
  auto [end, error] = std::from_chars(text, text + length, number);
  // All ones is the kernel's word for no session, and ours for not known yet.
  return error == std::errc() && number != unset ? number : 0;
}

uint32_t ipc_session_helper(const char *path, int32_t limit) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return 0;
  uint32_t start = ipc_time_msecs();
  pid_t pid;
  bool started = start_helper(path, ends[1], &pid);
  close(ends[1]);
  char text[number_text_limit];
  ssize_t count = 0;
  if (started && wait_readable(ends[0], start, limit)) count = read_once(ends[0], text, sizeof text);
  if (started) reap_helper(pid, start, limit);
  close(ends[0]);
  return ipc_session_parse(text, count);
}

void ipc_session_forget() {
  known.store(unset, std::memory_order_relaxed);
}

uint32_t ipc_session_id(int32_t spec) {
  if (spec == IPC_SESSION_ZERO) return 0;
  if (spec != IPC_SESSION_LOGIN && spec != IPC_SESSION_HELPER) return static_cast<uint32_t>(spec);
  uint32_t number = known.load(std::memory_order_relaxed);
  if (number != unset) return number;
  return remember(spec == IPC_SESSION_LOGIN ? login_session() : helper_session());
}

uint32_t ipc_session() {
  return ipc_session_id(IPC_SESSION_LOGIN);
}
