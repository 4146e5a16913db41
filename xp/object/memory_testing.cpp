#include "xp/object/memory_testing.h"

#include "xp/object/memory_hook.h"

#include <atomic>

#ifdef XP_TRACK_OBJECTS

namespace {

std::atomic<int64_t> blocks = 0;
std::atomic<int64_t> asked = 0;
std::atomic<int64_t> failing_one = 0;  // 0: none
std::atomic<bool> and_later = false;

}  // namespace

namespace xp {

bool allocation_allowed() {
  int64_t number = asked.fetch_add(1, std::memory_order_relaxed) + 1;
  int64_t first = failing_one.load(std::memory_order_relaxed);
  if (first == 0 || number < first) return true;
  return number > first && !and_later.load(std::memory_order_relaxed);
}

void count_block_taken() {
  blocks.fetch_add(1, std::memory_order_relaxed);
}

void count_block_given() {
  blocks.fetch_sub(1, std::memory_order_relaxed);
}

namespace testing {

void fail_allocation(int64_t n, failing how) {
  and_later = how == failing::from_then_on;
  failing_one = n;
  asked = 0;
}

int64_t allocations() {
  return asked;
}

int64_t live_blocks() {
  return blocks;
}

}  // namespace testing
}  // namespace xp

#else

namespace xp::testing {

void fail_allocation(int64_t /*n*/, failing /*how*/) {}

int64_t allocations() {
  return 0;
}

int64_t live_blocks() {
  return -1;
}

}  // namespace xp::testing

#endif
