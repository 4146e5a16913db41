#include "xp/service/traversal.h"

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "xp/object/number.h"
#include "xp/object/type.h"

#include <cstddef>

namespace {

using xp::ref;

using traversal_test = leak_check;

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

// What a walk meets: by its functions, and by its control codes.
std::string next(const ref &t) {
  return taken(xp_trav_next(t.get()));
}
std::string step(const ref &t, int64_t argument) {
  return taken(xp::result_pointer(xp_control(t.get(), XP_CTL_TRAVERSE, argument, nullptr)));
}

TEST_F(traversal_test, walks_both_ways_and_holds_its_container) {
  ref container = new_container();
  ref t = ref::adopt(xp_trav_make(container.get()));
  ASSERT_EQ(xp_type(t.get()), xp_trav_type());
  EXPECT_EQ(xp_refs(container.get()), 2);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(xp_trav_state(t.get())) % alignof(std::max_align_t), 0u);
  expect({xp_trav_count(t.get()), xp_trav_prev(t.get()), next(t), next(t), next(t), next(t),
          xp_trav_prev(t.get())},
         "3 null 1 2 3 null 3");
  xp_trav_reset(t.get());
  container = nullptr;
  expect({next(t)}, "1");

  EXPECT_EQ(ref::adopt(xp_trav_make(t.get())).get(), t.get());
  expect({step(t, XP_TRAV_NEXT), step(t, XP_TRAV_PREV), step(t, XP_TRAV_RESET), step(t, XP_TRAV_NEXT),
          xp_control(t.get(), XP_CTL_TRAVERSE, XP_TRAV_COUNT, nullptr), step(t, 99)},
         "2 2 null 1 3 null");
}

int64_t skip(xp_obj * /*container*/, void *state, int64_t count) {
  static_cast<position *>(state)->next += count;
  return count;
}

constexpr xp_trav_ops skipping = {
    .reset = reset, .next = next, .prev = nullptr, .count = nullptr, .skip = skip};

TEST_F(traversal_test, passes_over_members_with_and_without_the_containers_help) {
  ref container = new_container();
  ref t = ref::adopt(xp_trav_make(container.get()));
  expect({xp_trav_skip(t.get(), 2), next(t)}, "2 3");
  xp_trav_reset(t.get());
  expect({xp_trav_skip(t.get(), 4), xp_trav_skip(t.get(), 0), xp_trav_skip(container.get(), 1)}, "3 0 0");
  ref helped = ref::adopt(xp_trav_new(container.get(), &skipping, sizeof(position)));
  int64_t two = 2;
  expect({xp_trav_skip(helped.get(), -1), xp_control(helped.get(), XP_CTL_TRAVERSE, XP_TRAV_SKIP, &two),
          next(helped)},
         "0 2 3");
  xp_trav_reset(helped.get());
  expect({xp_control(helped.get(), XP_CTL_TRAVERSE, XP_TRAV_SKIP, nullptr), next(helped)}, "1 2");
}

TEST_F(traversal_test, one_object_is_walked_once_in_either_direction) {
  ref t = ref::adopt(xp_trav_one(num(12).get()));
  expect({xp_trav_count(t.get()), next(t), next(t), xp_trav_prev(t.get())}, "1 12 null null");
  xp_trav_reset(t.get());
  expect({xp_trav_prev(t.get()), xp_trav_one(nullptr)}, "12 null");
}

TEST_F(traversal_test, absent_operations_and_other_objects_give_nothing) {
  ref container = new_container();
  ref t = ref::adopt(xp_trav_new(container.get(), &forward_only, sizeof(position)));
  static_cast<position *>(xp_trav_state(t.get()))->next = 3;
  xp_trav_reset(t.get());
  expect({xp_trav_prev(t.get()), xp_trav_count(t.get()), next(t)}, "null 0 3");
  ref number = num(12);
  expect({xp_trav_make(number.get()), xp_trav_make(nullptr), xp_trav_next(number.get()),
          xp_trav_new(nullptr, &both_ways, 8), xp_trav_new(container.get(), &both_ways, -1)},
         "null null null null null");
  EXPECT_EQ(xp_trav_state(number.get()), nullptr);
  EXPECT_EQ(xp_refs(container.get()), 2);
}

}  // namespace
