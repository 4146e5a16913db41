#include "ipc/clock.h"

#include <errno.h>
#include <time.h>

#include <atomic>

namespace {

// The monotonic clock in microseconds at the moment that counts as 0; never 0 itself once it is known.
std::atomic<int64_t> zero;

int64_t microseconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

// Time counts from the start of the wall clock's second in which the first call fell. Whoever comes first
// decides; relaxed order is enough, since the number is all there is to see.
int64_t zero_point(int64_t now) {
  int64_t known = zero.load(std::memory_order_relaxed);
  if (known != 0) return known;
  int64_t mine = now - microseconds(CLOCK_REALTIME) % 1000000;
  if (mine == 0) mine = -1;
  return zero.compare_exchange_strong(known, mine, std::memory_order_relaxed) ? mine : known;
}

}  // namespace

uint32_t ipc_time_msecs() {
  // The monotonic clock: with the wall clock a jump back would prolong every wait by its size.
  int64_t now = microseconds(CLOCK_MONOTONIC);
  return static_cast<uint32_t>((now - zero_point(now)) / 1000);
}

uint32_t ipc_time_diff(uint32_t a, uint32_t b) {
  return b - a;
}

bool ipc_time_expired(uint32_t start, int32_t msecs) {
  return msecs != -1 && static_cast<int32_t>(ipc_time_diff(start, ipc_time_msecs())) > msecs;
}

void ipc_sleep(int32_t msecs) {
  if (msecs < 0) return;
  timespec left = {.tv_sec = msecs / 1000, .tv_nsec = msecs % 1000 * 1000000L};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}
