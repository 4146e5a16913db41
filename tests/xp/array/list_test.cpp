#include "xp/array/list.h"

#include "tests/support/leak_check.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/service/traversal.h"

#include <stdint.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using xp::ref;
using values = std::vector<int64_t>;
constexpr uint32_t seed = 20240131;

class list : public leak_check {
protected:
  static ref make(uint32_t flags = 0) { return ref::adopt(xp_list_new(flags)); }

  static int64_t take(xp_obj *value) { return xp_value(ref::adopt(value).get()); }

  static values content(const ref &l, bool forward = true) {
    values found;
    ref walk = ref::adopt(xp_trav_make(l.get()));
    while (xp_obj *value = forward ? xp_trav_next(walk.get()) : xp_trav_prev(walk.get()))
      found.push_back(take(value));
    return found;
  }
};

TEST_F(list, nulls_and_wrong_types_are_harmless) {
  ref number = ref::adopt(xp_number_new(77));
  for (xp_obj *l : {static_cast<xp_obj *>(nullptr), number.get()}) {
    EXPECT_EQ(xp_list_append(l, number.get()) + xp_list_insert(l, number.get()), 0);
    EXPECT_EQ(xp_list_remove(l, number.get()) + xp_list_length(l), 0);
    EXPECT_EQ(xp_list_next(l, nullptr), nullptr);
    EXPECT_EQ(xp_list_prev(l, number.get()), nullptr);
    EXPECT_EQ(xp_list_head(l), nullptr);
    EXPECT_EQ(xp_list_tail(l), nullptr);
    EXPECT_EQ(xp_list_shift(l), nullptr);
    EXPECT_EQ(xp_list_travnew(l), nullptr);
    xp_list_drain(l);
  }
  ref l = make();
  EXPECT_EQ(xp_list_remove(l.get(), nullptr), 0);
  EXPECT_EQ(xp_list_shift(l.get()), nullptr);
}

TEST_F(list, agrees_with_a_deque) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  for (uint32_t flags : {0u, uint32_t{XP_LIST_RECYCLE}, XP_LIST_LOCKED | XP_LIST_RECYCLE}) {
    std::mt19937 random(seed);
    std::vector<ref> pool;
    for (int64_t i = 0; i < 30; ++i)
      pool.push_back(ref::adopt(xp_number_new(100 + i)));
    ref l = make(flags);
    std::deque<xp_obj *> model;
    for (int i = 0; i < 5000; ++i) {
      xp_obj *value = pool[random() % pool.size()].get();
      auto at = std::find(model.begin(), model.end(), value);
      switch (random() % 8) {
        case 0:
        case 1:
          model.push_back(value);
          ASSERT_EQ(xp_list_append(l.get(), value), static_cast<int64_t>(model.size()));
          break;
        case 2:
          model.push_front(value);
          ASSERT_EQ(xp_list_insert(l.get(), value), static_cast<int64_t>(model.size()));
          break;
        case 3:
        case 4:
          ASSERT_EQ(xp_list_remove(l.get(), value), at != model.end());
          if (at != model.end()) model.erase(at);
          break;
        case 5: {
          ref next = ref::adopt(xp_list_next(l.get(), value));
          ASSERT_EQ(next.get(), at == model.end() || at + 1 == model.end() ? nullptr : *(at + 1));
          break;
        }
        case 6: {
          auto last = std::find(model.rbegin(), model.rend(), value);
          ref prev = ref::adopt(xp_list_prev(l.get(), value));
          ASSERT_EQ(prev.get(), last == model.rend() || last + 1 == model.rend() ? nullptr : *(last + 1));
          break;
        }
        case 7: {
          ref first = ref::adopt(xp_list_shift(l.get()));
          ASSERT_EQ(first.get(), model.empty() ? nullptr : model.front());
          if (!model.empty()) model.pop_front();
          break;
        }
      }
      ref head = ref::adopt(xp_list_head(l.get()));
      ref tail = ref::adopt(xp_list_tail(l.get()));
      ASSERT_EQ(head.get(), model.empty() ? nullptr : model.front());
      ASSERT_EQ(tail.get(), model.empty() ? nullptr : model.back());
      ASSERT_EQ(xp_truthy(l.get()), !model.empty());
    }
    values wanted;
    for (xp_obj *value : model)
      wanted.push_back(xp_value(value));
    EXPECT_EQ(content(l), wanted);
    EXPECT_EQ(content(ref::adopt(xp_duplicate(l.get(), 0))), wanted);
    std::reverse(wanted.begin(), wanted.end());
    EXPECT_EQ(content(l, false), wanted);
    xp_list_drain(l.get());
    EXPECT_EQ(xp_list_length(l.get()), 0);
    for (const ref &value : pool)
      EXPECT_EQ(xp_refs(value.get()), 1);
  }
}

TEST_F(list, members_are_found_by_identity) {
  ref one = ref::adopt(xp_number_new(50));
  ref equal = ref::adopt(xp_number_new(50));
  ref l = make();
  xp_list_append(l.get(), one.get());
  EXPECT_EQ(xp_list_remove(l.get(), equal.get()), 0);
  EXPECT_EQ(xp_list_remove(l.get(), one.get()), 1);
  EXPECT_EQ(xp_list_remove(l.get(), one.get()), 0);
  EXPECT_EQ(xp_refs(one.get()), 1);
}

TEST_F(list, walks_pass_over_null_values) {
  ref l = make();
  ref value = ref::adopt(xp_number_new(50));
  EXPECT_EQ(xp_list_append(l.get(), nullptr), 1);
  EXPECT_EQ(xp_list_append(l.get(), value.get()), 2);
  EXPECT_EQ(xp_list_append(l.get(), nullptr), 3);
  EXPECT_EQ(content(l), (values{50}));
  EXPECT_EQ(take(xp_list_head(l.get())), 50);
  EXPECT_EQ(xp_list_next(l.get(), value.get()), nullptr);
  EXPECT_EQ(take(xp_list_shift(l.get())), 50);
  EXPECT_EQ(xp_list_shift(l.get()), nullptr);
  EXPECT_EQ(xp_list_length(l.get()), 2);
}

TEST_F(list, adopted_and_raw_values_are_stored_as_they_are) {
  ref adopting = make(XP_LIST_ADOPT | XP_LIST_WEAK);
  xp_list_append(adopting.get(), xp_number_new(50));
  xp_list_append(adopting.get(), xp_number_new(60));
  ref value = ref::adopt(xp_list_head(adopting.get()));
  EXPECT_EQ(xp_refs(value.get()), 2) << "adopting lists are never weak";
  EXPECT_EQ(content(ref::adopt(xp_duplicate(adopting.get(), XP_DUP_SHALLOW))), (values{50, 60}));

  ref raw = make(XP_LIST_RAW | XP_LIST_WEAK | XP_LIST_RECYCLE);
  for (uintptr_t i = 1; i <= 3; ++i)
    xp_list_append(raw.get(), reinterpret_cast<xp_obj *>(i));
  EXPECT_EQ(xp_list_remove(raw.get(), reinterpret_cast<xp_obj *>(uintptr_t{2})), 1);
  EXPECT_EQ(xp_list_shift(raw.get()), reinterpret_cast<xp_obj *>(uintptr_t{1}));
  ref copy = ref::adopt(xp_duplicate(raw.get(), 0));
  EXPECT_EQ(xp_list_tail(copy.get()), reinterpret_cast<xp_obj *>(uintptr_t{3}));
}

TEST_F(list, weak_members_go_when_a_walk_meets_them) {
  ref l = make(XP_LIST_WEAK);
  std::vector<ref> held;
  for (int64_t i = 0; i < 6; ++i) {
    held.push_back(ref::adopt(xp_number_new(100 + i)));
    xp_list_append(l.get(), held.back().get());
  }
  held[0] = held[2] = held[5] = nullptr;
  EXPECT_EQ(xp_list_length(l.get()), 6) << "no walk has met them";
  EXPECT_EQ(take(xp_list_head(l.get())), 101);
  EXPECT_EQ(xp_list_length(l.get()), 5);
  EXPECT_EQ(xp_list_remove(l.get(), held[3].get()), 1);
  EXPECT_EQ(xp_list_length(l.get()), 3);
  EXPECT_EQ(take(xp_list_tail(l.get())), 104);
  EXPECT_EQ(xp_list_length(l.get()), 2);
  held[1] = nullptr;
  EXPECT_EQ(take(xp_list_shift(l.get())), 104);
  EXPECT_EQ(xp_list_length(l.get()), 0);
}

TEST_F(list, a_traversal_survives_what_happens_to_its_list) {
  for (uint32_t flags : {0u, uint32_t{XP_LIST_RECYCLE}}) {
    std::vector<ref> held;
    ref l = make(flags);
    for (int64_t i = 0; i < 5; ++i) {
      held.push_back(ref::adopt(xp_number_new(100 + i)));
      xp_list_append(l.get(), held.back().get());
    }
    ref walk = ref::adopt(xp_list_travnew(l.get()));
    EXPECT_EQ(xp_trav_count(walk.get()), 5);
    take(xp_trav_next(walk.get()));
    EXPECT_EQ(take(xp_trav_next(walk.get())), 101);
    xp_list_remove(l.get(), held[0].get());
    xp_list_remove(l.get(), held[2].get());
    EXPECT_EQ(take(xp_trav_next(walk.get())), 103) << "its own element is still there";
    xp_list_remove(l.get(), held[3].get());
    EXPECT_EQ(xp_trav_next(walk.get()), nullptr) << "its own element is gone";
    xp_trav_reset(walk.get());
    EXPECT_EQ(take(xp_trav_prev(walk.get())), 104);
  }
}

TEST_F(list, a_locked_one_serves_four_threads) {
  ref l = make(XP_LIST_LOCKED | XP_LIST_RECYCLE);
  std::atomic<int64_t> taken = 0;
  auto work = [&](int64_t number) {
    for (int64_t i = 0; i < 1000; ++i) {
      ref own = ref::adopt(xp_number_new(1000 * (number + 1)));
      ref other = ref::adopt(xp_number_new(1));
      EXPECT_GT(xp_list_append(l.get(), own.get()), 0);
      EXPECT_GT(xp_list_insert(l.get(), other.get()), 0);
      ref behind = ref::adopt(xp_list_next(l.get(), own.get()));
      EXPECT_GE(xp_list_length(l.get()), 1);
      taken += xp_list_remove(l.get(), own.get());
      taken += take(xp_list_shift(l.get())) != 0;
      if (i % 100 == 0) content(l);
    }
  };
  std::vector<std::thread> threads;
  for (int64_t i = 0; i < 4; ++i)
    threads.emplace_back(work, i);
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(xp_list_length(l.get()), 8000 - taken);
}

}  // namespace
