#include "xp/service/traversal.h"

#include "tests/support/leak_check.h"
#include "xp/array/array.h"
#include "xp/array/list.h"
#include "xp/dict/dict.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/string/string.h"

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

int64_t skip(xp_obj * /*container*/, void *state, int64_t count) {
  static_cast<position *>(state)->next += count;
  return count;
}

constexpr xp_trav_ops skipping = {
    .reset = reset, .next = next, .prev = nullptr, .count = nullptr, .skip = skip};

TEST_F(traversal_test, passes_over_members_with_and_without_the_containers_help) {
  ref container = new_container();
  ref t = ref::adopt(xp_trav_make(container.get()));
  EXPECT_EQ(xp_trav_skip(t.get(), 2), 2);
  EXPECT_EQ(xp_value(ref::adopt(xp_trav_next(t.get())).get()), 3);
  xp_trav_reset(t.get());
  EXPECT_EQ(xp_trav_skip(t.get(), 4), 3);
  EXPECT_EQ(xp_trav_skip(t.get(), 0), 0);
  EXPECT_EQ(xp_trav_skip(container.get(), 1), 0);
  ref helped = ref::adopt(xp_trav_new(container.get(), &skipping, sizeof(position)));
  int64_t two = 2;
  EXPECT_EQ(xp_trav_skip(helped.get(), -1), 0);
  EXPECT_EQ(xp_control(helped.get(), XP_CTL_TRAVERSE, XP_TRAV_SKIP, &two), 2);
  EXPECT_EQ(xp_value(ref::adopt(xp_trav_next(helped.get())).get()), 3);
  xp_trav_reset(helped.get());
  EXPECT_EQ(xp_control(helped.get(), XP_CTL_TRAVERSE, XP_TRAV_SKIP, nullptr), 1);
  EXPECT_EQ(xp_value(ref::adopt(xp_trav_next(helped.get())).get()), 2);
}

TEST_F(traversal_test, one_object_is_walked_once_in_either_direction) {
  ref number = ref::adopt(xp_number_new(12));
  ref t = ref::adopt(xp_trav_one(number.get()));
  EXPECT_EQ(xp_trav_count(t.get()), 1);
  EXPECT_EQ(ref::adopt(xp_trav_next(t.get())).get(), number.get());
  EXPECT_EQ(xp_trav_next(t.get()), nullptr);
  EXPECT_EQ(xp_trav_prev(t.get()), nullptr);
  xp_trav_reset(t.get());
  EXPECT_EQ(ref::adopt(xp_trav_prev(t.get())).get(), number.get());
  EXPECT_EQ(xp_trav_one(nullptr), nullptr);
}

// Every container can be walked by code that does not know it.
TEST_F(traversal_test, every_container_makes_its_traversal) {
  ref member = ref::adopt(xp_str_new("member"));
  ref dict = ref::adopt(xp_dict_new(0));
  ref array = ref::adopt(xp_array_new(0));
  ref list = ref::adopt(xp_list_new(0));
  xp_dict_store(dict.get(), "member", -1, nullptr);
  xp_array_insert(array.get(), member.get(), -1);
  xp_list_append(list.get(), member.get());
  for (const ref &container : {dict, array, list}) {
    ref t = ref::adopt(xp_trav_make(container.get()));
    EXPECT_EQ(xp_instanceof(container.get(), xp_trav_type()), 1);
    EXPECT_EQ(xp_trav_count(t.get()), 1);
    EXPECT_EQ(xp_compare(ref::adopt(xp_trav_next(t.get())).get(), member.get()), 0);
    EXPECT_EQ(xp_trav_next(t.get()), nullptr);
  }
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
