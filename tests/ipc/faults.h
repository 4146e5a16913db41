// Failing system calls: this test program's own select, read, ... stand in front of the C library's and fail
// when a test says so. Without an order they only pass the call on.

#ifndef TESTS_IPC_FAULTS_H
#define TESTS_IPC_FAULTS_H

#include <stdint.h>

enum class calls {
  accept,
  bind,
  connect,
  eventfd,
  fchmod,
  listen,
  nanosleep,
  poll,
  read,
  select,  // and ppoll: the two waits of a group
  send,
  socket,
  spawn,
  thread,
  waitpid,
  count,
};

// The next `times` calls fail with `error`, after `spared` that go through.
void fail(calls call, int error, int times = 1, int spared = 0);

// Nothing fails any more, and the clocks are right; the number of calls that failed since the last time.
int mend();

// Moves the wall clock and the monotonic clock for this program, in milliseconds.
void move_clocks(int64_t wall, int64_t monotonic);

#endif
