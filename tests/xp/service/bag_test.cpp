#include "xp/service/bag.h"

#include "tests/support/objects.h"
#include "tests/support/threads.h"
#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/memory_testing.h"
#include "xp/object/number.h"
#include "xp/service/traversal.h"
#include "xp/string/string.h"

#include <atomic>
#include <random>
#include <set>

namespace {

using xp::ref;

using bag_test = leak_check;

using model = std::multiset<int64_t>;

int64_t collect(xp_obj * /*b*/, xp_obj *member, void *context) {
  static_cast<model *>(context)->insert(xp_value(member));
  return 0;
}

// The members that a traversal meets, which are those of an enumeration.
model members_of(const ref &bag) {
  model walked, enumerated;
  ref t = ref::adopt(xp_trav_make(bag.get()));
  while (ref member = ref::adopt(xp_trav_next(t.get())))
    collect(bag.get(), member.get(), &walked);
  EXPECT_EQ(xp_bag_enum(bag.get(), collect, &enumerated), 0);
  EXPECT_EQ(walked, enumerated);
  return walked;
}

TEST_F(bag_test, behaves_as_a_multiset) {
  constexpr unsigned seed = 20261121;
  std::mt19937 random(seed);
  for (int round = 0; round < 16; ++round) {
    ref bag = ref::adopt(xp_bag_new(round % 2 == 0 ? uint32_t{XP_BAG_LOCKED} : 0));
    model expected;
    // Rounds that mostly insert and rounds that remove as much; few values, so that many are equal.
    const unsigned inserts = round % 3 == 0 ? 5 : 9;
    for (int i = 0; i < 1500; ++i) {
      const auto value = static_cast<int64_t>(random() % 200);
      ref number = num(value);
      if (random() % 10 < inserts) {
        expected.insert(value);
        ASSERT_EQ(xp_bag_insert(bag.get(), number.get()), std::ssize(expected)) << "seed " << seed;
      } else {
        auto found = expected.find(value);
        ASSERT_EQ(xp_bag_remove(bag.get(), number.get()), found != expected.end()) << "seed " << seed;
        if (found != expected.end()) expected.erase(found);
      }
      ASSERT_EQ(xp_bag_count(bag.get(), number.get()), static_cast<int64_t>(expected.count(value)));
      ASSERT_EQ(xp_bag_includes(bag.get(), number.get()), expected.contains(value));
      if (random() % 200 == 0) xp_bag_setinitial(bag.get(), static_cast<int64_t>(random() % 4000));
      if (random() % 1000 == 0) {
        xp_bag_drain(bag.get());
        expected.clear();
      }
    }
    ASSERT_EQ(xp_bag_length(bag.get()), std::ssize(expected));
    ASSERT_EQ(members_of(bag), expected);
    ASSERT_EQ(members_of(ref::adopt(xp_bag_copy(bag.get()))), expected);
    ASSERT_EQ(members_of(ref::adopt(xp_duplicate(bag.get(), 0))), expected);
  }
}

TEST_F(bag_test, capacity_is_kept_and_used) {
  ref bag = ref::adopt(xp_bag_new(0));
  ref number = num(77);
  auto reserve = [&](int64_t count) { return xp_bag_setinitial(bag.get(), count); };
  expect({reserve(-1), reserve(100), reserve(99)}, "0 100 100");
  for (int i = 0; i < 60; ++i)
    xp_bag_insert(bag.get(), number.get());
  expect({reserve(0), reserve(101), reserve(INT64_MAX), reserve(200)}, "100 101 -1 200");
  const int64_t blocks = xp::testing::live_blocks();
  for (int i = 60; i < 200; ++i)
    xp_bag_insert(bag.get(), number.get());
  EXPECT_EQ(xp::testing::live_blocks(), blocks) << "took memory for members that had room";
  expect({xp_bag_length(bag.get()), xp_refs(number.get())}, "200 201");
}

TEST_F(bag_test, nulls_and_strangers) {
  ref bag = ref::adopt(xp_bag_new(0));
  ref number = num(77);
  expect({xp_falsey(bag.get()), xp_bag_insert(bag.get(), nullptr), xp_bag_remove(bag.get(), nullptr),
          xp_bag_count(bag.get(), nullptr), xp_bag_includes(bag.get(), nullptr)},
         "1 -1 0 0 0");
  expect(
      {xp_bag_insert(bag.get(), number.get()), xp_truthy(bag.get()), xp_instanceof(bag.get(), xp_trav_type()),
       xp_control(bag.get(), XP_CTL_TRAVERSE, XP_TRAV_COUNT, nullptr)},
      "1 1 1 0");
  for (xp_obj *stranger : {static_cast<xp_obj *>(nullptr), number.get()}) {
    expect({xp_bag_insert(stranger, number.get()), xp_bag_remove(stranger, number.get()),
            xp_bag_length(stranger), xp_bag_setinitial(stranger, 5), xp_bag_enum(stranger, collect, nullptr),
            xp_bag_copy(stranger), xp_bag_travnew(stranger)},
           "-1 0 0 0 0 null null");
    xp_bag_drain(stranger);
  }
}

TEST_F(bag_test, bags_of_other_objects) {
  auto coerced = [](const ref &from) { return ref::adopt(xp_bag_coerce(from.get())); };
  ref string = str("a"), array = tree(R"(["a","a","a"])"), dict = tree(R"({"a":1})");
  ref of_array = coerced(array);
  EXPECT_EQ(coerced(of_array).get(), of_array.get());
  ref rest = ref::adopt(xp_array_travnew(array.get()));
  xp_trav_skip(rest.get(), 1);
  for (const auto &[bag, members] :
       {std::pair(of_array, 3), {coerced(dict), 1}, {coerced(string), 1}, {coerced(rest), 2}})
    EXPECT_EQ(xp_bag_count(bag.get(), string.get()), members);
  EXPECT_EQ(xp_bag_coerce(nullptr), nullptr);
  // A shallow copy holds the members themselves, a deep one copies of them.
  ref outer = ref::adopt(xp_bag_new(0));
  xp_bag_insert(outer.get(), array.get());
  ref shallow = ref::adopt(xp_duplicate(outer.get(), XP_DUP_SHALLOW));
  ref deep = ref::adopt(xp_duplicate(outer.get(), 0));
  expect({xp_bag_includes(shallow.get(), array.get()), xp_bag_includes(deep.get(), array.get()),
          xp_bag_length(deep.get())},
         "1 0 1");
}

TEST_F(bag_test, walks_end_when_members_go) {
  ref bag = ref::adopt(xp_bag_new(0));
  for (int i = 0; i < 100; ++i)
    xp_bag_insert(bag.get(), num(i).get());
  ref t = ref::adopt(xp_trav_make(bag.get()));
  xp_release(xp_trav_next(t.get()));
  expect({xp_bag_remove(bag.get(), num(50).get()), xp_trav_next(t.get())}, "1 null");
  xp_trav_reset(t.get());
  EXPECT_EQ(xp_trav_skip(t.get(), 200), 99);
  // With all members go their blocks, under the walk.
  const auto drain = [](xp_obj *b, xp_obj *, void *visits) -> int64_t {
    xp_bag_drain(b);
    return ++*static_cast<int *>(visits) - 1;
  };
  int visits = 0;
  expect({xp_bag_enum(bag.get(), drain, &visits), xp_bag_enum(bag.get(), drain, &visits), visits}, "0 0 1");
  xp_bag_insert(bag.get(), bag.get());  // a ring, which the drain opens
  expect({xp_bag_enum(bag.get(), drain, &visits)}, "-1");
}

TEST_F(bag_test, locked_bags_serve_many_threads) {
  ref bag = ref::adopt(xp_bag_new(XP_BAG_LOCKED));
  std::atomic<int64_t> kept = 0;
  run_on_threads(4, [&](int index) {
    std::mt19937 random(static_cast<unsigned>(index));
    for (int i = 0; i < 2000; ++i) {
      ref number = num(static_cast<int64_t>(random() % 50) + 10);
      if (random() % 2 == 0) {
        kept += xp_bag_insert(bag.get(), number.get()) > 0;
      } else {
        kept -= xp_bag_remove(bag.get(), number.get());
      }
      if (i % 100 != 0) continue;
      members_of(ref::adopt(xp_bag_copy(bag.get())));
      ref t = ref::adopt(xp_trav_make(bag.get()));
      while (ref::adopt(xp_trav_next(t.get()))) {
      }
      xp_bag_setinitial(bag.get(), i);
    }
  });
  EXPECT_EQ(xp_bag_length(bag.get()), kept);
}

}  // namespace
