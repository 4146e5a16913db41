#include "xp/object/memory.h"

#include "tests/support/objects.h"
#include "xp/object/debug.h"

#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>

namespace {

bool all_zero(const void *block, size_t size) {
  const auto *bytes = static_cast<const unsigned char *>(block);
  return std::all_of(bytes, bytes + size, [](unsigned char b) { return b == 0; });
}

TEST(memory, blocks_are_zeroed_and_resize_without_losing_their_content) {
  auto *block = static_cast<char *>(xp_realloc(nullptr, 100));
  ASSERT_TRUE(all_zero(block, 100));
  memset(block, 7, 100);
  for (auto [size, kept] : {std::pair<size_t, int64_t>(5000, 100), {10, 10}}) {
    block = static_cast<char *>(xp_realloc(block, size));
    EXPECT_EQ(std::count(block, block + kept, 7), kept);
  }
  block = static_cast<char *>(xp_realloc(block, 0));
  EXPECT_NE(block, nullptr) << "a resize to nothing is no failure";
  xp_delete(block);
  xp_delete(nullptr);
}

TEST(memory, impossible_sizes_give_null_and_a_failed_resize_frees) {
  for (size_t size : {SIZE_MAX, SIZE_MAX - 15, static_cast<size_t>(PTRDIFF_MAX) + 1}) {
    EXPECT_EQ(xp_alloc(size), nullptr);
    EXPECT_EQ(xp_alloc_aligned(size, 256), nullptr);
    // The leak sanitizer reports the old block if it stays.
    EXPECT_EQ(xp_realloc(xp_alloc(100), size), nullptr);
  }
}

TEST(memory, fast_blocks_use_the_buffer_up_to_its_size) {
  char buffer[16];
  for (size_t size : {size_t{15}, size_t{16}, size_t{17}, SIZE_MAX}) {
    memset(buffer, 7, sizeof buffer);
    void *block = xp_alloc_fast(size, -1, buffer, sizeof buffer);
    EXPECT_EQ(block == buffer, size <= 16) << size;
    EXPECT_EQ(block == nullptr, size == SIZE_MAX);
    EXPECT_TRUE(block == nullptr || all_zero(block, size));
    EXPECT_EQ(buffer[15], size == 16 ? 0 : 7);
    xp_free_fast(block, buffer);
  }
}

TEST(memory, aligned_blocks_have_a_byte_in_front_and_free_whole) {
  const std::pair<size_t, size_t> cases[] = {{0, 16},  {1, 1},     {2, 2},     {16, 16},
                                             {64, 64}, {256, 256}, {257, 256}, {1000, 256}};
  for (auto [asked, given] : cases) {
    for (size_t size : {0u, 1u, 10u, 4096u}) {
      auto *block = static_cast<unsigned char *>(xp_alloc_aligned(size, asked));
      ASSERT_NE(block, nullptr);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % given, 0u) << asked;
      EXPECT_TRUE(all_zero(block, size));
      EXPECT_LT(block[-1], given);
      memset(block, 0xff, size);
      xp_free_aligned(block);
    }
  }
  xp_free_aligned(nullptr);
}

TEST(memory, byte_functions_take_null_for_no_bytes) {
  EXPECT_EQ(xp_memcpy(nullptr, nullptr, 0), nullptr);
  EXPECT_EQ(xp_memmov(nullptr, nullptr, 0), nullptr);
  EXPECT_EQ(xp_memclr(nullptr, 0), nullptr);
  char text[] = "abcdef";
  xp_memmov(text + 2, text, 4);
  expect({xp_memcmp(nullptr, "x", 0), text, static_cast<char *>(xp_memset(text, 'z', 2))}, "0 ababcd zzabcd");
  EXPECT_LT(xp_memcmp("ab", "ac", 2), 0);
}

TEST(memory, debug_hooks_pass_objects_through) {
  const xp::ref obj = xp::ref::adopt(xp_new(xp_code("smpl"), 0));
  EXPECT_EQ(xp_dbg_forget(obj.get()), obj.get());
  EXPECT_EQ(xp_dbg_follow(obj.get()), obj.get());
  expect({xp_refs(obj.get()), xp_dbg_memcount(), xp_dbg_memstats()}, "1 0 0");
  EXPECT_GE(xp_dbg_memtrim(), 0);
}

}  // namespace
