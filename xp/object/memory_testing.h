// What tests do to the heap of the runtime: make one allocation fail and count the blocks in use. Counted and
// failed are xp_alloc, xp_realloc and xp_new of all threads. Only builds with XP_TRACK_OBJECTS can do either;
// in all others the functions do nothing.

#ifndef XP_OBJECT_MEMORY_TESTING_H
#define XP_OBJECT_MEMORY_TESTING_H

#include <stdint.h>

namespace xp::testing {

enum class failing : uint8_t { once, from_then_on };

// Makes the n-th allocation from now on fail, once or it and all later ones; 0 lets all succeed again. Starts
// the count of xp::testing::allocations anew.
void fail_allocation(int64_t n, failing how = failing::once);

// Allocations asked for since fail_allocation, the failed ones included.
int64_t allocations();

// Blocks in use; -1 in builds that do not count.
int64_t live_blocks();

}  // namespace xp::testing

#endif
