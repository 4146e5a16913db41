// The slabs themselves, in every build: what takes part in the objects' life only without a sanitizer.

#include "xp/object/slab.h"

#include "tests/support/threads.h"
#include "xp/object/memory.h"
#include "xp/object/object.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <string.h>

#include <algorithm>
#include <mutex>
#include <random>
#include <set>
#include <vector>

namespace {

namespace slab = xp::slab;

constexpr int thread_count = 4;

class slab_test : public testing::Test {
  void SetUp() override {
    void *probe = slab::take(1);
    if (probe == nullptr) GTEST_SKIP() << "slabs are off under valgrind";
    slab::give(probe);
  }
};

// A block in use, filled with a mark that an overlap would change.
struct held {
  unsigned char *block;
  size_t size;
  unsigned char mark;

  static held take(size_t size, unsigned char mark) {
    auto *block = static_cast<unsigned char *>(slab::take(size));
    memset(block, mark, size);
    return {block, size, mark};
  }
  bool intact() const {
    return slab::owns(block) && std::all_of(block, block + size, [this](auto byte) { return byte == mark; });
  }
};

TEST_F(slab_test, sizes_end_at_the_largest_and_heap_blocks_are_told_apart) {
  EXPECT_EQ(slab::take(0), nullptr);
  EXPECT_EQ(slab::take(slab::largest + 1), nullptr);
  void *heap = xp_alloc(96);
  EXPECT_FALSE(slab::owns(heap));
  xp_free(heap);
}

TEST_F(slab_test, what_an_ended_thread_had_at_hand_serves_the_next) {
  std::set<void *> seen;
  for (int i = 0; i < 200; ++i) {
    run_on_threads(1, [&](int) {
      void *block = slab::take(slab::largest);
      seen.insert(block);
      slab::give(block);
    });
  }
  EXPECT_LT(seen.size(), 40u);
}

// Runs when the thread's hands may be gone already: it then gets no blocks, but may still give them back.
void give_late(void *block) {
  if (void *more = slab::take(80)) slab::give(more);
  slab::give(block);
}

TEST_F(slab_test, blocks_may_go_while_their_thread_ends) {
  pthread_key_t keys[2];
  slab::give(slab::take(80));
  for (pthread_key_t &key : keys)
    ASSERT_EQ(pthread_key_create(&key, give_late), 0);
  run_on_threads(thread_count, [&](int) {
    for (pthread_key_t key : keys)
      pthread_setspecific(key, slab::take(80));
  });
  for (pthread_key_t key : keys)
    pthread_key_delete(key);
}

TEST_F(slab_test, trimming_gives_back_free_chunks_and_nothing_else) {
  constexpr size_t many = 2000;
  std::vector<held> kept;
  std::vector<void *> gone;
  for (size_t i = 0; i < many; ++i) {
    gone.push_back(slab::take(400));
    if (i % 500 == 0) kept.push_back(held::take(400, static_cast<unsigned char>(i)));
  }
  for (void *block : gone)
    slab::give(block);
  EXPECT_EQ(slab::trim(), 1);
  EXPECT_EQ(slab::trim(), 0);
  slab::give(kept.back().block);
  kept.pop_back();
  EXPECT_EQ(slab::trim(), 1) << "that was the last block of its chunk";

  // Each block is handed out once, also those of chunks that went and came back for another size.
  for (size_t i = 0; i < many; ++i)
    kept.push_back(held::take(i % 2 == 0 ? 400 : 200, static_cast<unsigned char>(i)));
  for (const held &h : kept) {
    EXPECT_TRUE(h.intact());
    slab::give(h.block);
  }
  EXPECT_EQ(slab::trim(), 1);
}

// Blocks change hands through a table that all threads share, while one of them trims.
TEST_F(slab_test, blocks_that_threads_pass_on_stay_whole) {
  constexpr uint32_t seed = 20261115;
  std::mutex mutex;
  std::vector<held> table(64, held{});
  std::atomic<int> broken = 0;
  for (int generation = 0; generation < 5; ++generation) {
    run_on_threads(thread_count, [&](int index) {
      std::mt19937 random(seed + static_cast<uint32_t>(generation * thread_count + index));
      for (int i = 0; i < 5000; ++i) {
        const size_t size = 1 + random() % (i % 2 == 0 ? slab::largest : 2 * slab::grain);
        held mine = held::take(size, static_cast<unsigned char>(random()));
        {
          std::lock_guard lock(mutex);
          std::swap(mine, table[random() % table.size()]);
        }
        if (mine.block == nullptr) continue;
        if (!mine.intact()) broken.fetch_add(1);
        slab::give(mine.block);
        if (index == 0 && i % 500 == 0) slab::trim();
      }
    });
  }
  EXPECT_EQ(broken, 0) << "seed " << seed;
  for (const held &h : table) {
    if (h.block != nullptr) slab::give(h.block);
  }
}

TEST_F(slab_test, objects_are_zeroed_whatever_lay_there) {
  for (size_t size : {size_t{48}, size_t{96}, slab::largest, slab::largest + 1}) {
    for (int round = 0; round < 3; ++round) {
      xp_obj *obj = xp_new(xp_code("smpl"), size);
      auto *bytes = reinterpret_cast<unsigned char *>(obj);
      EXPECT_TRUE(std::all_of(bytes + 48, bytes + size, [](unsigned char byte) { return byte == 0; }));
      memset(bytes + 48, 0xff, size - 48);
      xp_release(obj);
    }
  }
}

}  // namespace
