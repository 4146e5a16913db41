#include "xp/array/tuple.h"

#include "tests/support/leak_check.h"
#include "xp/array/array.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"

#include <stdint.h>

namespace {

using xp::ref;

class tuple : public leak_check {
protected:
  static ref number(int64_t value) { return ref::adopt(xp_number_new(value)); }
  static xp_obj *raw(uintptr_t value) { return reinterpret_cast<xp_obj *>(value); }
  static int64_t order(const ref &a, const ref &b) {
    int64_t forward = xp_compare(a.get(), b.get());
    EXPECT_EQ(forward, -xp_compare(b.get(), a.get()));
    return forward;
  }

  ref ten;
  ref eleven;

  void SetUp() override {
    leak_check::SetUp();
    ten = number(10);
    eleven = number(11);
  }
  void TearDown() override {
    ten = eleven = nullptr;
    leak_check::TearDown();
  }
};

TEST_F(tuple, holds_what_it_was_made_of) {
  EXPECT_EQ(xp_tuple_new(0), nullptr);
  EXPECT_EQ(xp_tuple_new(-1), nullptr);
  EXPECT_EQ(xp_tuple_newmixed(0, 1), nullptr);
  EXPECT_EQ(xp_tuple_new(INT64_MAX), nullptr);
  ref t = ref::adopt(xp_tuple_new(3, ten.get(), nullptr, eleven.get()));
  EXPECT_EQ(xp_tuple_length(t.get()), 3);
  EXPECT_EQ(xp_refs(ten.get()), 2);
  EXPECT_EQ(ref::adopt(xp_tuple_get(t.get(), 0)).get(), ten.get());
  EXPECT_EQ(xp_tuple_get(t.get(), 1), nullptr);
  EXPECT_EQ(ref::adopt(xp_tuple_get(t.get(), 2)).get(), eleven.get());
  for (int64_t outside : {int64_t{-1}, int64_t{3}, INT64_MIN})
    EXPECT_EQ(xp_tuple_get(t.get(), outside), nullptr);
  EXPECT_EQ(xp_tuple_get(nullptr, 0), nullptr);
  EXPECT_EQ(xp_tuple_get(ten.get(), 0), nullptr);
  EXPECT_EQ(xp_tuple_length(ten.get()), 0);
  EXPECT_EQ(xp_truthy(t.get()), 1);
  EXPECT_EQ(xp_instanceof(t.get(), xp_code("trav")), 0);
}

TEST_F(tuple, raw_slots_stay_as_they_are) {
  ref t = ref::adopt(xp_tuple_newmixed(3, 0b101, raw(1), ten.get(), raw(UINTPTR_MAX)));
  EXPECT_EQ(xp_tuple_get(t.get(), 0), raw(1));
  EXPECT_EQ(ref::adopt(xp_tuple_get(t.get(), 1)).get(), ten.get());
  EXPECT_EQ(xp_tuple_get(t.get(), 2), raw(UINTPTR_MAX));
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
  ref c = ref::adopt(xp_tuple_new(1, eleven.get()));
  EXPECT_EQ(order(a, b), 0);
  EXPECT_LT(order(b, c), 0);
}

TEST_F(tuple, with_raw_slots_all_slots_and_the_count_compare) {
  ref ten_raw = ref::adopt(xp_tuple_newmixed(2, 2, ten.get(), raw(5)));
  EXPECT_EQ(order(ten_raw, ref::adopt(xp_tuple_newmixed(2, 2, ten.get(), raw(5)))), 0);
  EXPECT_LT(order(ten_raw, ref::adopt(xp_tuple_newmixed(2, 2, ten.get(), raw(UINTPTR_MAX)))), 0)
      << "unsigned";
  EXPECT_LT(order(ten_raw, ref::adopt(xp_tuple_newmixed(2, 2, eleven.get(), raw(0)))), 0);
  EXPECT_LT(order(ten_raw, ref::adopt(xp_tuple_new(2, ten.get(), ten.get()))), 0) << "raw before object";
  EXPECT_LT(order(ten_raw, ref::adopt(xp_tuple_newmixed(3, 2, ten.get(), raw(5), ten.get()))), 0)
      << "shorter first";
  EXPECT_GT(order(ten_raw, ref::adopt(xp_tuple_new(1, ten.get()))), 0) << "shorter first";
}

TEST_F(tuple, duplicates_are_deep_or_the_tuple_itself) {
  ref inner = ref::adopt(xp_array_new(0));
  ref t = ref::adopt(xp_tuple_newmixed(2, 2, inner.get(), raw(7)));
  EXPECT_EQ(ref::adopt(xp_duplicate(t.get(), XP_DUP_SHALLOW)).get(), t.get());
  EXPECT_EQ(xp_refs(t.get()), 1);
  ref deep = ref::adopt(xp_duplicate(t.get(), 0));
  EXPECT_NE(deep.get(), t.get());
  EXPECT_NE(ref::adopt(xp_tuple_get(deep.get(), 0)).get(), inner.get());
  EXPECT_EQ(xp_tuple_get(deep.get(), 1), raw(7));
}

}  // namespace
