#include "xp/array/tuple.h"

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "xp/array/array.h"
#include "xp/object/object.h"

namespace {

using xp::ref;

class tuple : public leak_check {
protected:
  static ref mixed(const ref &object, uintptr_t plain) {
    return ref::adopt(xp_tuple_newmixed(2, 2, object.get(), raw(plain)));
  }
  static int64_t order(const ref &a, const ref &b) {
    int64_t forward = xp_compare(a.get(), b.get());
    EXPECT_EQ(forward, -xp_compare(b.get(), a.get()));
    return forward;
  }

  void SetUp() override {
    leak_check::SetUp();
    ten = num(10);
    eleven = num(11);
  }
  void TearDown() override {
    ten = eleven = nullptr;
    leak_check::TearDown();
  }

  ref ten, eleven;
};

TEST_F(tuple, holds_what_it_was_made_of) {
  expect({xp_tuple_new(0), xp_tuple_new(-1), xp_tuple_newmixed(0, 1), xp_tuple_new(INT64_MAX)},
         "null null null null");
  ref t = ref::adopt(xp_tuple_new(3, ten.get(), nullptr, eleven.get()));
  EXPECT_EQ(xp_refs(ten.get()), 2);
  expect({xp_tuple_length(t.get()), xp_tuple_get(t.get(), 0), xp_tuple_get(t.get(), 1),
          xp_tuple_get(t.get(), 2), xp_tuple_get(t.get(), 3), xp_tuple_get(t.get(), -1),
          xp_tuple_get(t.get(), INT64_MIN), xp_truthy(t.get()), xp_instanceof(t.get(), xp_code("trav"))},
         "3 10 null 11 null null null 1 0");
  expect({xp_tuple_get(nullptr, 0), xp_tuple_get(ten.get(), 0), xp_tuple_length(ten.get())}, "null null 0");
}

// The bit of slot i is bit i modulo 32: up to 32 slots mix, longer tuples are of one kind, and the mask's
// upper half means nothing.
TEST_F(tuple, only_32_bits_of_the_mask_count) {
  xp_obj *x = raw(3);
  xp_obj *o = ten.get();
  ref full = ref::adopt(xp_tuple_newmixed(32, uint64_t{1} << 31, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o,
                                          o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, x));
  EXPECT_EQ(xp_tuple_get(full.get(), 31), x);
  ref upper = ref::adopt(xp_tuple_newmixed(2, uint64_t{3} << 32, o, o));
  EXPECT_EQ(xp_refs(o), 1 + 31 + 2);
  ref longer = ref::adopt(xp_tuple_newmixed(33, UINT32_MAX, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x,
                                            x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, x));
  EXPECT_EQ(xp_tuple_get(longer.get(), 32), x);
#ifndef NDEBUG
  EXPECT_DEATH(xp_tuple_newmixed(33, 1, x, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o,
                                 o, o, o, o, o, o, o, o, o, o),
               "count");
#endif
}

TEST_F(tuple, objects_alone_compare_by_their_first) {
  ref a = ref::adopt(xp_tuple_new(2, ten.get(), ten.get()));
  ref b = ref::adopt(xp_tuple_new(3, ten.get(), eleven.get(), ten.get()));
  EXPECT_EQ(order(a, b), 0);
  EXPECT_LT(order(b, ref::adopt(xp_tuple_new(1, eleven.get()))), 0);
}

TEST_F(tuple, with_raw_slots_all_slots_and_the_count_compare) {
  const ref t = mixed(ten, 5);
  EXPECT_EQ(order(t, mixed(ten, 5)), 0);
  EXPECT_LT(order(t, mixed(ten, UINTPTR_MAX)), 0) << "unsigned";
  EXPECT_LT(order(t, mixed(eleven, 0)), 0);
  EXPECT_LT(order(t, ref::adopt(xp_tuple_new(2, ten.get(), ten.get()))), 0) << "raw before object";
  EXPECT_LT(order(t, ref::adopt(xp_tuple_newmixed(3, 2, ten.get(), raw(5), ten.get()))), 0)
      << "shorter first";
  EXPECT_GT(order(t, ref::adopt(xp_tuple_new(1, ten.get()))), 0) << "shorter first";
}

TEST_F(tuple, duplicates_are_deep_or_the_tuple_itself) {
  ref inner = ref::adopt(xp_array_new(0));
  ref t = mixed(inner, 7);
  EXPECT_EQ(ref::adopt(xp_duplicate(t.get(), XP_DUP_SHALLOW)).get(), t.get());
  ref deep = ref::adopt(xp_duplicate(t.get(), 0));
  EXPECT_NE(deep.get(), t.get());
  EXPECT_NE(ref::adopt(xp_tuple_get(deep.get(), 0)).get(), inner.get());
  EXPECT_EQ(xp_tuple_get(deep.get(), 1), raw(7));
}

}  // namespace
