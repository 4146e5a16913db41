// The generic side of traversals, over containers that pass over members by themselves and some that do not.

#include "xp/service/traversal.h"

#include "tests/support/objects.h"
#include "xp/array/array.h"
#include "xp/object/number.h"
#include "xp/object/type.h"
#include "xp/string/parts.h"

#include <cstddef>

namespace {

using xp::ref;

using traversal_test = leak_check;

// What a walk meets: by its functions, and by its control codes.
std::string next(const ref &t) {
  return taken(xp_trav_next(t.get()));
}
std::string step(const ref &t, int64_t argument) {
  return taken(xp::result_pointer(xp_control(t.get(), XP_CTL_TRAVERSE, argument, nullptr)));
}

TEST_F(traversal_test, walks_by_its_functions_and_by_control_codes) {
  for (bool skips : {true, false}) {
    // The walk holds its container.
    ref t =
        ref::adopt(skips ? xp_trav_make(tree("[1,2,3]").get()) : xp_str_travnew(str("1,2,3").get(), ",", -1));
    ASSERT_EQ(xp_type(t.get()), xp_trav_type());
    EXPECT_EQ(ref::adopt(xp_trav_make(t.get())).get(), t.get());
    expect({xp_trav_count(t.get()), next(t), next(t), xp_trav_prev(t.get()), xp_trav_prev(t.get())},
           "3 1 2 1 null");
    expect({step(t, XP_TRAV_RESET), step(t, XP_TRAV_NEXT), step(t, XP_TRAV_NEXT), step(t, XP_TRAV_PREV),
            xp_control(t.get(), XP_CTL_TRAVERSE, XP_TRAV_COUNT, nullptr), step(t, 99)},
           "null 1 2 1 3 null");
    xp_trav_reset(t.get());
    expect({xp_trav_skip(t.get(), -1), xp_trav_skip(t.get(), 0), xp_trav_skip(t.get(), 1), next(t),
            xp_trav_skip(t.get(), 4)},
           "0 0 1 2 1");
    xp_trav_reset(t.get());
    int64_t two = 2;
    expect({xp_control(t.get(), XP_CTL_TRAVERSE, XP_TRAV_SKIP, &two),
            xp_control(t.get(), XP_CTL_TRAVERSE, XP_TRAV_SKIP, nullptr), next(t)},
           "2 1 null");
  }
}

TEST_F(traversal_test, one_object_is_walked_once_in_either_direction) {
  ref t = ref::adopt(xp_trav_one(num(12).get()));
  expect({xp_trav_count(t.get()), next(t), next(t), xp_trav_prev(t.get())}, "1 12 null null");
  xp_trav_reset(t.get());
  expect({xp_trav_prev(t.get()), xp_trav_one(nullptr)}, "12 null");
}

TEST_F(traversal_test, absent_operations_and_other_objects_give_nothing) {
  constexpr static xp_trav_ops forward_only = {
      .reset = nullptr,
      .next = [](xp_obj *, void *state) { return xp_number_new(++*static_cast<int64_t *>(state)); },
      .prev = nullptr,
      .count = nullptr};
  ref number = num(12);
  ref t = ref::adopt(xp_trav_new(number.get(), &forward_only, sizeof(int64_t)));
  EXPECT_EQ(xp_refs(number.get()), 2);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(xp_trav_state(t.get())) % alignof(std::max_align_t), 0u);
  expect({next(t)}, "1");
  xp_trav_reset(t.get());
  expect({xp_trav_prev(t.get()), xp_trav_count(t.get()), next(t)}, "null 0 2");
  expect({xp_trav_make(number.get()), xp_trav_make(nullptr), xp_trav_next(number.get()),
          xp_trav_skip(number.get(), 1), xp_trav_new(nullptr, &forward_only, 8),
          xp_trav_new(number.get(), &forward_only, -1)},
         "null null null 0 null null");
  EXPECT_EQ(xp_trav_state(number.get()), nullptr);
}

}  // namespace
