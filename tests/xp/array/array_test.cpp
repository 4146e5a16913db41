#include "xp/array/array.h"

#include "tests/support/objects.h"
#include "tests/support/threads.h"
#include "xp/array/array_bulk.h"
#include "xp/array/list.h"
#include "xp/object/object.h"
#include "xp/service/traversal.h"

namespace {

using xp::ref;

class array : public leak_check {
protected:
  static ref make(uint32_t flags = 0) { return ref::adopt(xp_array_new(flags)); }

  static int64_t put(const ref &a, int64_t value, int64_t index = -1) {
    return xp_array_insert(a.get(), num(value).get(), index);
  }
  static ref make_of(std::initializer_list<int64_t> values, uint32_t flags = 0) {
    ref a = make(flags);
    for (int64_t value : values)
      put(a, value);
    return a;
  }
};

TEST_F(array, nulls_and_wrong_types_are_harmless) {
  ref number = num(77);
  ref other = make_of({100});
  EXPECT_EQ(xp_array_join(other.get(), make(XP_ARRAY_RAW).get()), -1);
  for (xp_obj *a : {static_cast<xp_obj *>(nullptr), number.get()}) {
    expect({xp_array_insert(a, number.get(), 0), xp_array_set(a, number.get(), 0), xp_array_delete(a, 0),
            xp_array_search(a, number.get(), nullptr, nullptr), xp_array_find(a, nullptr),
            xp_array_scan(a, nullptr, nullptr), xp_array_join(a, other.get()), xp_array_merge(other.get(), a),
            xp_array_inject(other.get(), a, 0)},
           "-1 -1 -1 -1 -1 -1 -1 -1 -1");
    expect(
        {xp_array_length(a), xp_array_setinitial(a, 5), xp_array_setgrowth(a, 5), xp_array_setfinal(a),
         xp_array_sort(a, nullptr, nullptr), xp_array_truncate(a, 0), xp_array_condense(a), xp_array_trim(a),
         xp_array_unique(a), xp_array_includes(a, nullptr), xp_array_present(a, nullptr)},
        "0 0 0 0 0 0 0 0 0 0 0");
    expect({xp_array_get(a, 0), xp_array_remove(a, 0), xp_array_copy(a), xp_array_travnew(a)},
           "null null null null");
    xp_array_reverse(a);
  }
}

TEST_F(array, the_capacity_follows_the_growth_step) {
  ref a = make();
  auto capacity = [&] { return xp_array_setinitial(a.get(), -7); };
  expect({capacity(), put(a, 1), capacity(), put(a, 2), capacity(), put(a, 3), capacity()}, "0 0 1 1 2 2 3");
  // One that never grows takes what fits whole.
  xp_array_setgrowth(a.get(), 0);
  ref two = make_of({8, 9});
  expect({put(a, 4), xp_array_join(a.get(), two.get()), xp_array_merge(a.get(), two.get()),
          xp_array_setinitial(a.get(), 4), xp_array_inject(a.get(), two.get(), 1), put(a, 4, 99), a},
         "-1 -1 -1 4 -1 3 [1,2,3,4]");
  xp_array_setgrowth(a.get(), 10);
  expect({put(a, 5), capacity(), xp_array_setinitial(a.get(), 100), xp_array_setfinal(a.get()), capacity()},
         "4 14 100 5 5");
  xp_array_setgrowth(a.get(), -9);
  expect({put(a, 6), capacity(), xp_array_join(a.get(), two.get()), capacity(), a},
         "5 6 8 8 [1,2,3,4,5,6,8,9]");
  ref empty = make();
  expect({xp_array_setinitial(empty.get(), 8), xp_array_setfinal(empty.get()),
          xp_array_setinitial(empty.get(), 0)},
         "8 0 0");
}

TEST_F(array, a_size_beyond_all_memory_leaves_it_empty_and_usable) {
  for (int64_t huge : {INT64_MAX, INT64_MAX / 8 + 1, int64_t{1} << 61}) {
    ref a = make_of({100, 200});
    expect({xp_array_setinitial(a.get(), huge), xp_array_length(a.get()), put(a, 300)}, "-1 0 0");
    xp_array_setgrowth(a.get(), huge);
    expect({put(a, 400), xp_array_length(a.get())}, "-1 0");
  }
}

TEST_F(array, may_hold_the_last_reference_to_what_is_set_again) {
  ref a = make_of({500});
  xp_obj *same = ref::adopt(xp_array_get(a.get(), 0)).get();
  xp_array_set(a.get(), same, 0);
  expect({xp_refs(same), a}, "1 [500]");
}

TEST_F(array, sorts_and_searches_in_an_order_of_the_callers) {
  ref a = make_of({40, 10, 30, 20});
  ref key = num(30);
  auto descending = [](void *context, xp_obj *x, xp_obj *y, void *) {
    ++*static_cast<int *>(context);
    return xp_compare(y, x);
  };
  int calls = 0;
  xp_array_sort(a.get(), descending, &calls);
  expect({a, xp_array_search(a.get(), key.get(), descending, &calls)}, "[40,30,20,10] 1");
  EXPECT_GT(calls, 3);
}

TEST_F(array, anything_becomes_an_array) {
  auto coerced = [](const ref &from) { return ref::adopt(xp_array_coerce(from.get())); };
  ref a = make_of({10, 20});
  EXPECT_EQ(coerced(a).get(), a.get());
  ref walk = ref::adopt(xp_array_travnew(a.get()));
  EXPECT_EQ(xp_trav_skip(walk.get(), 1), 1);
  expect({coerced(num(70)), coerced(walk), coerced(tree(R"({"35":1})")), coerced(nullptr)},
         R"([70] [20] ["35"] null)");
  ref list = ref::adopt(xp_list_new(XP_LIST_RAW));
  xp_list_append(list.get(), raw(3));
  EXPECT_EQ(xp_array_get(coerced(list).get(), 0), raw(3));
}

TEST_F(array, traversals_run_both_ways_and_stay_ended) {
  ref a = make_of({10, 20, 30});
  ref walk = ref::adopt(xp_trav_make(a.get()));
  auto next = [&] { return taken(xp_trav_next(walk.get())); };
  auto prev = [&] { return taken(xp_trav_prev(walk.get())); };
  expect({xp_trav_count(walk.get()), next(), next(), prev(), next(), next(), next()},
         "3 10 20 10 20 30 null");
  put(a, 40);
  expect({next(), prev()}, "null null");
  xp_trav_reset(walk.get());
  expect({prev(), prev()}, "40 30");
  xp_array_delete(a.get(), 3);
  xp_array_delete(a.get(), 2);
  expect({prev(), prev(), prev()}, "20 10 null");
  // What was skipped to the last item goes back from there; what runs out has ended.
  for (int64_t count = 0; count <= 4; ++count) {
    ref five = make_of({10, 20, 30, 40, 50});
    walk = ref::adopt(xp_array_travnew(five.get()));
    expect({xp_trav_skip(walk.get(), -1), next()}, "0 10");
    EXPECT_EQ(xp_trav_skip(walk.get(), count), count);
    EXPECT_EQ(prev(), count == 0 ? "null" : std::to_string(10 * count));
    EXPECT_EQ(xp_trav_skip(walk.get(), INT64_MAX), count == 0 ? 0 : 5 - count);
    expect({next(), prev(), xp_trav_skip(walk.get(), 1)}, "null null 0");
  }
}

TEST_F(array, duplicates_and_answers_as_a_container) {
  ref a = tree("[[100]]");
  ref inner = ref::adopt(xp_array_get(a.get(), 0));
  expect(
      {xp_truthy(make().get()), xp_truthy(a.get()), xp_instanceof(a.get(), xp_code("trav")),
       xp_instanceof(a.get(), xp_code("dict")), xp_control(a.get(), XP_CTL_TRAVERSE, XP_TRAV_NEXT, nullptr)},
      "0 1 1 0 0");
  ref deep = ref::adopt(xp_duplicate(a.get(), 0));
  EXPECT_NE(ref::adopt(xp_array_get(deep.get(), 0)).get(), inner.get());
  expect({deep}, "[[100]]");
  ref shallow = ref::adopt(xp_duplicate(a.get(), XP_DUP_SHALLOW));
  EXPECT_EQ(ref::adopt(xp_array_get(shallow.get(), 0)).get(), inner.get());
}

TEST_F(array, a_locked_one_serves_four_threads) {
  ref a = make(XP_ARRAY_LOCKED);
  ref two = make_of({100, 200}, XP_ARRAY_LOCKED);
  run_on_threads(4, [&](int number) {
    ref own = num(1000 + number);
    for (int i = 0; i < 300; ++i) {
      EXPECT_GE(xp_array_insert(a.get(), own.get(), i % 7), 0);
      EXPECT_EQ(xp_array_includes(a.get(), own.get()), 1);
      EXPECT_GT(xp_array_join(a.get(), two.get()), 2);
      EXPECT_GE(xp_array_merge(a.get(), a.get()), 3);
      xp_array_reverse(a.get());
      xp_array_sort(a.get(), nullptr, nullptr);
      if (i % 50 == 0) xp_array_unique(a.get());
    }
  });
  xp_array_unique(a.get());
  expect({a}, "[100,200,1000,1001,1002,1003]");
}

}  // namespace
