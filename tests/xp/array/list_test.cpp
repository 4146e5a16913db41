#include "xp/array/list.h"

#include "tests/support/leak_check.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/service/traversal.h"

#include <stdint.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using xp::ref;
using values = std::vector<int64_t>;

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
    ref other = make();
    EXPECT_EQ(xp_list_join(l, other.get()) & xp_list_merge(other.get(), l), -1);
    EXPECT_EQ(xp_list_delete(l, nullptr) + xp_list_movetofront(l, nullptr) + xp_list_movetoback(l, nullptr),
              0);
    EXPECT_EQ(xp_list_includes(l, nullptr) + xp_list_present(l, nullptr), 0);
    EXPECT_EQ(xp_list_find(l, nullptr), xp_list_scan(l, nullptr, nullptr));
    EXPECT_EQ(xp_list_copy(l), nullptr);
    EXPECT_EQ(xp_list_empty(l), 1);
    EXPECT_EQ(xp_list_enum(l, nullptr, nullptr), 0);
    xp_list_reverse(l);
  }
  ref l = make();
  EXPECT_EQ(xp_list_remove(l.get(), nullptr), 0);
  EXPECT_EQ(xp_list_shift(l.get()), nullptr);
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
    // One that stands on a member which moves goes on from there.
    xp_list_movetofront(l.get(), held[4].get());
    EXPECT_EQ(xp_trav_skip(walk.get(), 9), 1);
    EXPECT_EQ(xp_trav_next(walk.get()), nullptr);
  }
}

// Whatever a callback does to an unlocked list, its walk stays inside it.
TEST_F(list, a_walk_goes_on_when_its_callback_takes_members_out) {
  struct plan {
    values meets;
    values drops;  // when the walk meets 101
  };
  const plan plans[] = {{{100, 101, 102, 103}, {}},         {{100, 101, 102, 103}, {101}},
                        {{100, 101, 103}, {102}},           {{100, 101}, {101, 102}},
                        {{100, 101, 102}, {100, 101, 103}}, {{100, 101}, {100, 101, 102, 103}}};
  for (const plan &p : plans) {
    ref l = make();
    for (int64_t i = 100; i < 104; ++i)
      xp_list_append(l.get(), ref::adopt(xp_number_new(i)).get());
    struct state {
      const plan *p;
      values met;
    } at{&p, {}};
    auto visit = [](xp_obj *from, xp_obj *value, void *context) -> int64_t {
      auto *s = static_cast<state *>(context);
      s->met.push_back(xp_value(value));
      for (int64_t drop : s->met.back() == 101 ? s->p->drops : values{})
        EXPECT_EQ(xp_list_delete(from, ref::adopt(xp_number_new(drop)).get()), 1);
      return s->met.back() == 103 ? 1 : 0;
    };
    EXPECT_EQ(xp_list_enum(l.get(), visit, &at), p.meets.back() == 103 ? -1 : 0);
    EXPECT_EQ(at.met, p.meets);
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
