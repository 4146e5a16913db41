#include "xp/service/traversal.h"

#include "tests/support/leak_check.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"

#include <stdint.h>

#include <cstddef>

namespace {

using xp::ref;

class traversal_test : public leak_check {};

// A container of the numbers 1 to 3.
struct position {
  int64_t next;
  std::max_align_t strict;
};

void reset(xp_obj * /*container*/, void *state) {
  static_cast<position *>(state)->next = 1;
}

xp_obj *next(xp_obj * /*container*/, void *state) {
  auto *p = static_cast<position *>(state);
  return p->next > 3 ? nullptr : xp_number_new(p->next++);
}

xp_obj *prev(xp_obj * /*container*/, void *state) {
  auto *p = static_cast<position *>(state);
  return p->next <= 1 ? nullptr : xp_number_new(--p->next);
}

int64_t count(xp_obj * /*container*/, void * /*state*/) {
  return 3;
}

constexpr xp_trav_ops both_ways = {.reset = reset, .next = next, .prev = prev, .count = count};
constexpr xp_trav_ops forward_only = {.reset = nullptr, .next = next, .prev = nullptr, .count = nullptr};

xp_obj *walk(xp_obj *container) {
  return xp_trav_new(container, &both_ways, sizeof(position));
}

int64_t control(xp_obj * /*obj*/, uint32_t code, int64_t argument, void * /*pointer*/) {
  using constructor = xp_obj *(*)(xp_obj *);
  constructor make = walk;
  return code == XP_CTL_TRAVERSE && argument == XP_TRAV_MAKE
             ? static_cast<int64_t>(reinterpret_cast<intptr_t>(make))
             : 0;
}

ref new_container() {
  xp_obj *obj = xp_new(xp_code("cont"), 0);
  obj->control = control;
  return ref::adopt(obj);
}

TEST_F(traversal_test, walks_both_ways_and_holds_its_container) {
  ref container = new_container();
  ref t = ref::adopt(xp_trav_make(container.get()));
  ASSERT_EQ(xp_type(t.get()), xp_trav_type());
  EXPECT_EQ(xp_refs(container.get()), 2);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(xp_trav_state(t.get())) % alignof(std::max_align_t), 0u);
  EXPECT_EQ(xp_trav_count(t.get()), 3);
  EXPECT_EQ(ref::adopt(xp_trav_prev(t.get())).get(), nullptr);
  for (int64_t i = 1; i <= 3; ++i)
    EXPECT_EQ(xp_value(ref::adopt(xp_trav_next(t.get())).get()), i);
  EXPECT_EQ(xp_trav_next(t.get()), nullptr);
  EXPECT_EQ(xp_value(ref::adopt(xp_trav_prev(t.get())).get()), 3);
  xp_trav_reset(t.get());
  container = nullptr;
  EXPECT_EQ(xp_value(ref::adopt(xp_trav_next(t.get())).get()), 1);
}

TEST_F(traversal_test, answers_the_control_codes_as_its_functions_do) {
  ref container = new_container();
  ref t = ref::adopt(xp_trav_make(container.get()));
  EXPECT_EQ(ref::adopt(xp_trav_make(t.get())).get(), t.get());
  auto step = [&t](int64_t argument) {
    return xp_value(
        ref::adopt(xp::result_pointer(xp_control(t.get(), XP_CTL_TRAVERSE, argument, nullptr))).get());
  };
  EXPECT_EQ(step(XP_TRAV_NEXT), 1);
  EXPECT_EQ(step(XP_TRAV_NEXT), 2);
  EXPECT_EQ(step(XP_TRAV_PREV), 2);
  EXPECT_EQ(xp_control(t.get(), XP_CTL_TRAVERSE, XP_TRAV_RESET, nullptr), 0);
  EXPECT_EQ(step(XP_TRAV_NEXT), 1);
  EXPECT_EQ(xp_control(t.get(), XP_CTL_TRAVERSE, XP_TRAV_COUNT, nullptr), 3);
  EXPECT_EQ(xp_control(t.get(), XP_CTL_TRAVERSE, 99, nullptr), 0);
}

TEST_F(traversal_test, absent_operations_and_other_objects_give_nothing) {
  ref container = new_container();
  ref t = ref::adopt(xp_trav_new(container.get(), &forward_only, sizeof(position)));
  static_cast<position *>(xp_trav_state(t.get()))->next = 3;
  xp_trav_reset(t.get());
  EXPECT_EQ(xp_trav_prev(t.get()), nullptr);
  EXPECT_EQ(xp_trav_count(t.get()), 0);
  EXPECT_EQ(xp_value(ref::adopt(xp_trav_next(t.get())).get()), 3);

  ref number = ref::adopt(xp_number_new(12));
  EXPECT_EQ(xp_trav_make(number.get()), nullptr);
  EXPECT_EQ(xp_trav_make(nullptr), nullptr);
  EXPECT_EQ(xp_trav_next(number.get()), nullptr);
  EXPECT_EQ(xp_trav_state(number.get()), nullptr);
  EXPECT_EQ(xp_trav_new(nullptr, &both_ways, 8), nullptr);
  EXPECT_EQ(xp_trav_new(container.get(), &both_ways, -1), nullptr);
  EXPECT_EQ(xp_refs(container.get()), 2);
}

}  // namespace
