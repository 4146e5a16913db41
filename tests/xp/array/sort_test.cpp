#include "xp/array/sort.h"

#include "tests/support/objects.h"
#include "xp/object/object.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

using items = std::vector<xp_obj *>;
constexpr uint32_t seed = 20240131;

using sort = leak_check;

uint64_t value_of(xp_obj *item) {
  return reinterpret_cast<uintptr_t>(item);
}

// Orders by the value divided by 16, so that there are ties.
int64_t by_sixteens(void *, xp_obj *a, xp_obj *b, void *) {
  auto left = static_cast<int64_t>(value_of(a) / 16);
  return left - static_cast<int64_t>(value_of(b) / 16);
}

void expect_sorted(items values) {
  items wanted = values;
  std::stable_sort(wanted.begin(), wanted.end(),
                   [](xp_obj *a, xp_obj *b) { return value_of(a) < value_of(b); });
  xp_sort(nullptr, static_cast<int64_t>(values.size()), values.data(), by_sixteens, nullptr);
  EXPECT_EQ(values, wanted) << values.size() << " items";
}

TEST_F(sort, agrees_with_a_stable_sort_for_every_shape_of_input) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (size_t count : {0u, 1u, 2u, 7u, 8u, 9u, 10u, 127u, 128u, 129u, 1000u, 65535u, 65536u, 70000u}) {
    for (uint32_t range : {2u, 100u, 1000000u}) {
      items values(count);
      for (xp_obj *&value : values)
        value = raw(random() % range);
      expect_sorted(values);
      std::sort(values.begin(), values.end());
      expect_sorted(values);
      std::reverse(values.begin(), values.end());
      expect_sorted(values);
      // Rising and falling again.
      std::sort(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(count / 2));
      expect_sorted(values);
    }
  }
}

TEST_F(sort, ties_are_broken_by_address_whatever_the_input_order) {
  std::vector<xp::ref> owned;
  items values;
  for (const char *text : {"abc", "ABC", "aBc", "abd", "ABD"}) {
    owned.push_back(str(text));
    values.push_back(owned.back().get());
  }
  items wanted = values;
  std::sort(wanted.begin(), wanted.begin() + 3);
  std::sort(wanted.begin() + 3, wanted.end());
  std::sort(values.begin(), values.end());
  do {
    items permuted = values;
    xp_sort(nullptr, 5, permuted.data(), nullptr, nullptr);
    ASSERT_EQ(permuted, wanted);
  } while (std::next_permutation(values.begin(), values.end()));
}

struct hostile_order {
  int64_t (*compare)(hostile_order &, uint64_t, uint64_t);
  std::mt19937 random{seed};
  uint64_t calls = 0;

  static int64_t ask(void *context, xp_obj *a, xp_obj *b, void *) {
    auto &self = *static_cast<hostile_order *>(context);
    ++self.calls;
    return self.compare(self, value_of(a), value_of(b));
  }
};

using hostile_compare = int64_t (*)(hostile_order &, uint64_t, uint64_t);
const hostile_compare hostile_compares[] = {
    [](hostile_order &, uint64_t, uint64_t) -> int64_t { return 1; },
    [](hostile_order &, uint64_t, uint64_t) -> int64_t { return -1; },
    [](hostile_order &, uint64_t a, uint64_t b) -> int64_t { return a <= b ? -1 : 1; },
    [](hostile_order &order, uint64_t, uint64_t) -> int64_t {
      return static_cast<int64_t>(order.random() % 3) - 1;
    },
    [](hostile_order &, uint64_t a, uint64_t b) -> int64_t {
      return (a + 1) % 3 == b % 3 ? -1 : 1;  // rock, paper, scissors
    },
};

TEST_F(sort, a_hostile_comparison_neither_loses_items_nor_runs_long) {
  for (size_t which = 0; which < std::size(hostile_compares); ++which) {
    for (size_t count : {2u, 8u, 9u, 100u, 129u, 5000u}) {
      SCOPED_TRACE("comparison " + std::to_string(which) + ", " + std::to_string(count) + " items");
      hostile_order order{.compare = hostile_compares[which]};
      // Exactly as large as it has to be, so that the address sanitizer sees a step outside.
      items values(count);
      for (size_t i = 0; i < count; ++i)
        values[i] = raw(i / 2 + 1);
      items before = values;
      xp_sort(&order, static_cast<int64_t>(count), values.data(), hostile_order::ask, nullptr);
      std::sort(values.begin(), values.end());
      EXPECT_EQ(values, before) << "the same items in some order";
      double levels = std::log2(static_cast<double>(count)) + 1;
      EXPECT_LT(static_cast<double>(order.calls), 6 * static_cast<double>(count) * levels);
    }
  }
}

// Decides the order while it is asked, so that each pivot turns out to be among the smallest: the classic way
// to drive a quicksort into quadratic time.
struct adversary {
  std::vector<int64_t> rank;  // of item i; 0: not decided yet
  int64_t decided = 0;
  uint64_t candidate = 0;
  uint64_t calls = 0;

  static int64_t compare(void *context, xp_obj *a, xp_obj *b, void *) {
    auto *self = static_cast<adversary *>(context);
    ++self->calls;
    uint64_t x = value_of(a);
    uint64_t y = value_of(b);
    if (self->rank[x] == 0 && self->rank[y] == 0) self->rank[x == self->candidate ? x : y] = ++self->decided;
    if (self->rank[x] == 0) self->candidate = x;
    if (self->rank[y] == 0) self->candidate = y;
    int64_t left = self->rank[x] == 0 ? INT32_MAX : self->rank[x];
    int64_t right = self->rank[y] == 0 ? INT32_MAX : self->rank[y];
    return left - right;
  }
};

TEST_F(sort, an_adversary_does_not_make_it_quadratic) {
  constexpr size_t count = 20000;
  adversary order{.rank = std::vector<int64_t>(count)};
  items values(count);
  for (size_t i = 0; i < count; ++i)
    values[i] = raw(i);
  xp_sort(&order, count, values.data(), adversary::compare, nullptr);
  EXPECT_LT(order.calls, 100u * count);
  EXPECT_TRUE(std::is_sorted(values.begin(), values.end(), [&](xp_obj *a, xp_obj *b) {
    return adversary::compare(&order, a, b, nullptr) < 0;
  }));
}

TEST_F(sort, nothing_to_do_is_harmless_and_work_is_counted) {
  items values = {raw(48), raw(16)};
  xp_sort(nullptr, 0, values.data(), by_sixteens, nullptr);
  xp_sort(nullptr, -5, values.data(), by_sixteens, nullptr);
  xp_sort(nullptr, 2, nullptr, by_sixteens, nullptr);
  EXPECT_EQ(values[0], raw(48));
  uint64_t comparisons = xp_sort_comparisons();
  uint64_t swaps = xp_sort_swaps();
  xp_sort(nullptr, 2, values.data(), by_sixteens, nullptr);
  EXPECT_EQ(values[0], raw(16));
  EXPECT_EQ(xp_sort_comparisons() - comparisons, 1u);
  EXPECT_EQ(xp_sort_swaps() - swaps, 1u);
}

TEST_F(sort, searching_finds_exactly_what_is_there) {
  for (uint64_t count : {0u, 1u, 2u, 3u, 16u, 17u}) {
    items values;
    for (uint64_t i = 0; i < count; ++i)
      values.push_back(raw(32 * i + 16));
    auto search = [&](uint64_t key) {
      return xp_search(nullptr, static_cast<int64_t>(count), values.data(), raw(key), by_sixteens, nullptr);
    };
    for (uint64_t i = 0; i < count; ++i) {
      EXPECT_EQ(search(32 * i + 16 + i % 16), static_cast<int64_t>(i));
      EXPECT_EQ(search(32 * i), -1 - static_cast<int64_t>(i));
    }
    EXPECT_EQ(search(32 * count), -1 - static_cast<int64_t>(count));
  }
  EXPECT_EQ(xp_search(nullptr, 3, nullptr, raw(16), by_sixteens, nullptr), -1);
  xp::ref number = num(70);
  xp::ref equal = num(70);
  items one = {number.get()};
  EXPECT_EQ(xp_search(nullptr, 1, one.data(), equal.get(), nullptr, nullptr), 0);
}

}  // namespace
