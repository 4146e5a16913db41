#include "xp/array/list.h"

#include "tests/support/objects.h"
#include "tests/support/threads.h"
#include "xp/array/array_bulk.h"
#include "xp/object/number.h"
#include "xp/object/object.h"
#include "xp/service/traversal.h"

#include <atomic>
#include <vector>

namespace {

using xp::ref;
using values = std::vector<int64_t>;

class list : public leak_check {
protected:
  static ref make(uint32_t flags = 0) { return ref::adopt(xp_list_new(flags)); }
  // A list of the numbers from 100 on; we hold them, too.
  static ref counting(std::vector<ref> &held, int64_t count, uint32_t flags = 0) {
    ref l = make(flags);
    for (int64_t i = 0; i < count; ++i) {
      held.push_back(num(100 + i));
      xp_list_append(l.get(), held.back().get());
    }
    return l;
  }
  static ref content(const ref &l) { return ref::adopt(xp_array_coerce(l.get())); }
};

TEST_F(list, nulls_and_wrong_types_are_harmless) {
  ref number = num(77);
  ref l = make();
  for (xp_obj *bad : {static_cast<xp_obj *>(nullptr), number.get()}) {
    expect(
        {xp_list_append(bad, number.get()), xp_list_insert(bad, number.get()),
         xp_list_remove(bad, number.get()), xp_list_length(bad), xp_list_delete(bad, nullptr),
         xp_list_movetofront(bad, nullptr), xp_list_movetoback(bad, nullptr), xp_list_includes(bad, nullptr),
         xp_list_present(bad, nullptr), xp_list_enum(bad, nullptr, nullptr), xp_list_empty(bad)},
        "0 0 0 0 0 0 0 0 0 0 1");
    expect({xp_list_next(bad, nullptr), xp_list_prev(bad, number.get()), xp_list_head(bad), xp_list_tail(bad),
            xp_list_shift(bad), xp_list_travnew(bad), xp_list_find(bad, nullptr),
            xp_list_scan(bad, nullptr, nullptr), xp_list_copy(bad)},
           "null null null null null null null null null");
    expect({xp_list_join(bad, l.get()), xp_list_merge(l.get(), bad)}, "-1 -1");
    xp_list_drain(bad);
    xp_list_reverse(bad);
  }
  expect({xp_list_remove(l.get(), nullptr), xp_list_shift(l.get())}, "0 null");
}

TEST_F(list, walks_pass_over_null_values) {
  ref l = make();
  ref value = num(50);
  expect({xp_list_append(l.get(), nullptr), xp_list_append(l.get(), value.get()),
          xp_list_append(l.get(), nullptr), content(l), xp_instanceof(l.get(), xp_trav_type()),
          xp_list_head(l.get()), xp_list_next(l.get(), value.get()), xp_list_shift(l.get()),
          xp_list_shift(l.get()), xp_list_length(l.get())},
         "1 2 3 [50] 1 50 null 50 null 2");
}

TEST_F(list, adopted_and_raw_values_are_stored_as_they_are) {
  ref adopting = make(XP_LIST_ADOPT | XP_LIST_WEAK);
  xp_list_append(adopting.get(), xp_number_new(50));
  xp_list_append(adopting.get(), xp_number_new(60));
  EXPECT_EQ(xp_refs(ref::adopt(xp_list_head(adopting.get())).get()), 2) << "adopting lists are never weak";
  expect({content(ref::adopt(xp_duplicate(adopting.get(), XP_DUP_SHALLOW)))}, "[50,60]");

  ref plain = make(XP_LIST_RAW | XP_LIST_WEAK | XP_LIST_RECYCLE);
  for (uintptr_t i = 1; i <= 3; ++i)
    xp_list_append(plain.get(), raw(i));
  EXPECT_EQ(xp_list_remove(plain.get(), raw(2)), 1);
  EXPECT_EQ(xp_list_shift(plain.get()), raw(1));
  ref copy = ref::adopt(xp_duplicate(plain.get(), 0));
  EXPECT_EQ(xp_list_tail(copy.get()), raw(3));
}

TEST_F(list, weak_members_go_when_a_walk_meets_them) {
  std::vector<ref> held;
  ref l = counting(held, 6, XP_LIST_WEAK);
  held[0] = held[2] = held[5] = nullptr;
  // The length counts whom no walk has met yet.
  expect({xp_list_length(l.get()), xp_list_head(l.get()), xp_list_length(l.get()),
          xp_list_remove(l.get(), held[3].get()), xp_list_length(l.get()), xp_list_tail(l.get()),
          xp_list_length(l.get())},
         "6 101 5 1 3 104 2");
  held[1] = nullptr;
  expect({xp_list_shift(l.get()), xp_list_length(l.get())}, "104 0");
}

TEST_F(list, a_traversal_survives_what_happens_to_its_list) {
  for (uint32_t flags : {0u, uint32_t{XP_LIST_RECYCLE}}) {
    std::vector<ref> held;
    ref l = counting(held, 5, flags);
    ref walk = ref::adopt(xp_list_travnew(l.get()));
    const auto next = [&] { return xp_trav_next(walk.get()); };
    expect({xp_trav_count(walk.get()), next(), next()}, "5 100 101");
    // Its own element is still there, then gone.
    expect({xp_list_remove(l.get(), held[0].get()), xp_list_remove(l.get(), held[2].get()), next(),
            xp_list_remove(l.get(), held[3].get()), next()},
           "1 1 103 1 null");
    xp_trav_reset(walk.get());
    // One that stands on a member which moves goes on from there.
    expect({xp_trav_prev(walk.get()), xp_list_movetofront(l.get(), held[4].get()),
            xp_trav_skip(walk.get(), 9), next()},
           "104 1 1 null");
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
    std::vector<ref> held;
    ref l = counting(held, 4);
    struct state {
      const plan *p;
      values met;
    } at{&p, {}};
    auto visit = [](xp_obj *from, xp_obj *value, void *context) -> int64_t {
      auto *s = static_cast<state *>(context);
      s->met.push_back(xp_value(value));
      for (int64_t drop : s->met.back() == 101 ? s->p->drops : values{})
        EXPECT_EQ(xp_list_delete(from, num(drop).get()), 1);
      return s->met.back() == 103 ? 1 : 0;
    };
    EXPECT_EQ(xp_list_enum(l.get(), visit, &at), p.meets.back() == 103 ? -1 : 0);
    EXPECT_EQ(at.met, p.meets);
  }
}

TEST_F(list, a_locked_one_serves_four_threads) {
  ref l = make(XP_LIST_LOCKED | XP_LIST_RECYCLE);
  std::atomic<int64_t> gone = 0;
  run_on_threads(4, [&](int number) {
    for (int64_t i = 0; i < 1000; ++i) {
      ref own = num(1000 * (number + 1));
      EXPECT_GT(xp_list_append(l.get(), own.get()), 0);
      EXPECT_GT(xp_list_insert(l.get(), num(1).get()), 0);
      ref behind = ref::adopt(xp_list_next(l.get(), own.get()));
      EXPECT_GE(xp_list_length(l.get()), 1);
      gone += xp_list_remove(l.get(), own.get());
      gone += ref::adopt(xp_list_shift(l.get())) ? 1 : 0;
      if (i % 100 == 0) content(l);
    }
  });
  EXPECT_EQ(xp_list_length(l.get()), 8000 - gone);
}

}  // namespace
