#include "tests/ipc/faults.h"

#include <dlfcn.h>
#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

namespace {

struct order {
  std::atomic<int> error, spared, left;
};

order orders[static_cast<int>(calls::count)];
std::atomic<int> failures;
std::atomic<int64_t> wall_offset, monotonic_offset;

// Whether this call has to fail; errno says how.
bool fails(calls call) {
  order &o = orders[static_cast<int>(call)];
  if (o.left.load() <= 0) return false;
  if (o.spared.load() > 0 && o.spared.fetch_sub(1) > 0) return false;
  if (o.left.fetch_sub(1) <= 0) return false;
  ++failures;
  errno = o.error;
  return true;
}

// What comes behind this program: a sanitizer's function, or the C library's.
template <typename Function>
Function *next(Function * /*type*/, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void fail(calls call, int error, int times, int spared) {
  order &o = orders[static_cast<int>(call)];
  o.error = error;
  o.spared = spared;
  o.left = times;
}

int mend() {
  for (order &o : orders)
    o.left = 0;
  move_clocks(0, 0);
  return failures.exchange(0);
}

void move_clocks(int64_t wall, int64_t monotonic) {
  wall_offset = wall;
  monotonic_offset = monotonic;
}

// A stand-in of the function `name`: its result type, what a failure returns, parameters and arguments.
#define STAND_IN(result, call, name, failure, parameters, arguments) \
  extern "C" result name parameters {                                \
    static const auto real = next(&name, #name);                     \
    return fails(calls::call) ? failure : real arguments;            \
  }

STAND_IN(int, accept, accept4, -1, (int s, sockaddr *a, socklen_t *l, int f), (s, a, l, f))
STAND_IN(int, bind, bind, -1, (int s, const sockaddr *a, socklen_t l) noexcept, (s, a, l))
STAND_IN(int, connect, connect, -1, (int s, const sockaddr *a, socklen_t l), (s, a, l))
STAND_IN(int, eventfd, eventfd, -1, (unsigned n, int f) noexcept, (n, f))
STAND_IN(int, fchmod, fchmod, -1, (int f, mode_t m) noexcept, (f, m))
STAND_IN(int, listen, listen, -1, (int s, int n) noexcept, (s, n))
STAND_IN(int, nanosleep, nanosleep, -1, (const timespec *t, timespec *l), (t, l))
STAND_IN(int, poll, poll, -1, (pollfd * p, nfds_t n, int t), (p, n, t))
STAND_IN(int, select, ppoll, -1, (pollfd * p, nfds_t n, const timespec *t, const sigset_t *m), (p, n, t, m))
STAND_IN(ssize_t, read, read, -1, (int f, void *b, size_t n), (f, b, n))
STAND_IN(int, select, select, -1, (int n, fd_set *r, fd_set *w, fd_set *e, timeval *t), (n, r, w, e, t))
STAND_IN(ssize_t, send, send, -1, (int s, const void *b, size_t n, int f), (s, b, n, f))
STAND_IN(int, socket, socket, -1, (int d, int t, int p) noexcept, (d, t, p))
STAND_IN(int, spawn, posix_spawn, errno,
         (pid_t * p, const char *f, const posix_spawn_file_actions_t *a, const posix_spawnattr_t *t,
          char *const *v, char *const *e),
         (p, f, a, t, v, e))
STAND_IN(int, thread, pthread_create, errno,
         (pthread_t * t, const pthread_attr_t *a, void *(*f)(void *), void *c) noexcept, (t, a, f, c))
STAND_IN(pid_t, waitpid, waitpid, -1, (pid_t p, int *s, int o), (p, s, o))

extern "C" int clock_gettime(clockid_t clock, timespec *now) noexcept {
  static const auto real = next(&clock_gettime, "clock_gettime");
  const int result = real(clock, now);
  const int64_t offset = clock == CLOCK_REALTIME    ? wall_offset.load()
                         : clock == CLOCK_MONOTONIC ? monotonic_offset.load()
                                                    : 0;
  const int64_t nanoseconds = now->tv_nsec + offset % 1000 * 1000000 + 1000000000;
  now->tv_sec += offset / 1000 + nanoseconds / 1000000000 - 1;
  now->tv_nsec = nanoseconds % 1000000000;
  return result;
}
