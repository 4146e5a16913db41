#include "xp/array/tuple.h"

#include "tests/support/objects.h"
#include "xp/array/array.h"
#include "xp/object/object.h"

namespace {

using xp::ref;

using tuple = leak_check;

ref mixed(const ref &object, uintptr_t plain) {
  return ref::adopt(xp_tuple_newmixed(2, 2, object.get(), raw(plain)));
}

TEST_F(tuple, holds_what_it_was_made_of) {
  expect({xp_tuple_new(0), xp_tuple_new(-1), xp_tuple_newmixed(0, 1), xp_tuple_new(INT64_MAX)},
         "null null null null");
  ref ten = num(10), eleven = num(11);
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
  ref ten = num(10);
  xp_obj *x = raw(3), *o = ten.get();
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

TEST_F(tuple, order_is_by_the_first_object_or_with_raw_slots_by_all) {
  const auto of = [](xp_obj *made) { return ref::adopt(made); };
  const ref ten = num(10), eleven = num(11), t = mixed(ten, 5);
  const struct {
    ref low, high;
    int64_t order;
    const char *why;
  } rows[] = {
      {of(xp_tuple_new(2, ten.get(), ten.get())), of(xp_tuple_new(3, ten.get(), eleven.get(), ten.get())), 0,
       "first"},
      {of(xp_tuple_new(2, ten.get(), eleven.get())), of(xp_tuple_new(1, eleven.get())), -1, "first"},
      {t, mixed(ten, 5), 0, "all"},
      {t, mixed(ten, UINTPTR_MAX), -1, "unsigned"},
      {t, mixed(eleven, 0), -1, "all"},
      {t, of(xp_tuple_new(2, ten.get(), ten.get())), -1, "raw before object"},
      {t, of(xp_tuple_newmixed(3, 2, ten.get(), raw(5), ten.get())), -1, "shorter first"},
      {of(xp_tuple_new(1, ten.get())), t, -1, "shorter first"},
  };
  for (const auto &[low, high, order, why] : rows) {
    EXPECT_EQ(xp_compare(low.get(), high.get()), order) << why;
    EXPECT_EQ(xp_compare(high.get(), low.get()), -order) << why;
  }
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
