#include "xp/array/sort.h"

#include "tests/support/objects.h"
#include "xp/object/object.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>
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

// Answers as it likes, or decides the order while it is asked.
struct hostile_order {
  int64_t (*compare)(hostile_order &, uint64_t, uint64_t);
  std::mt19937 random{seed};
  uint64_t calls = 0;
  // The adversary's: the rank of each item, 0 when it is not decided yet.
  std::vector<int64_t> rank = {};
  int64_t decided = 0;
  uint64_t candidate = 0;

  static int64_t ask(void *context, xp_obj *a, xp_obj *b, void *) {
    auto &self = *static_cast<hostile_order *>(context);
    ++self.calls;
    return self.compare(self, value_of(a), value_of(b));
  }

  // Makes each pivot turn out to be among the smallest: the classic way to drive a quicksort into quadratic
  // time.
  static int64_t adversary(hostile_order &order, uint64_t a, uint64_t b) {
    int64_t &x = order.rank[a], &y = order.rank[b];
    if (x == 0 && y == 0) (a == order.candidate ? x : y) = ++order.decided;
    if (x == 0) order.candidate = a;
    if (y == 0) order.candidate = b;
    return (x == 0 ? INT32_MAX : x) - (y == 0 ? INT32_MAX : y);
  }
};

using hostile_compare = int64_t (*)(hostile_order &, uint64_t, uint64_t);
const hostile_compare hostile_compares[] = {
    hostile_order::adversary,
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
    for (size_t count : {2u, 8u, 9u, 100u, 129u, 5000u, 20000u}) {
      SCOPED_TRACE("comparison " + std::to_string(which) + ", " + std::to_string(count) + " items");
      hostile_order order{.compare = hostile_compares[which], .rank = std::vector<int64_t>(count)};
      // Exactly as large as it has to be, so that the address sanitizer sees a step outside.
      items values(count);
      for (size_t i = 0; i < count; ++i)
        values[i] = raw(which == 0 ? i : i / 2 + 1);
      items before = values;
      xp_sort(&order, static_cast<int64_t>(count), values.data(), hostile_order::ask, nullptr);
      const double levels = std::log2(static_cast<double>(count)) + 1;
      EXPECT_LT(static_cast<double>(order.calls), 6 * static_cast<double>(count) * levels);
      if (which == 0) {
        const auto precedes = [&](xp_obj *a, xp_obj *b) {
          return hostile_order::adversary(order, value_of(a), value_of(b)) < 0;
        };
        EXPECT_TRUE(std::is_sorted(values.begin(), values.end(), precedes));
      }
      std::sort(values.begin(), values.end());
      EXPECT_EQ(values, before) << "the same items in some order";
    }
  }
}

TEST_F(sort, nothing_to_do_is_harmless_and_work_is_counted) {
  items values = {raw(48), raw(16)};
  const uint64_t comparisons = xp_sort_comparisons(), swaps = xp_sort_swaps();
  for (const auto &[count, vector] : {std::pair(0, values.data()), {-5, values.data()}, {2, nullptr}})
    xp_sort(nullptr, count, vector, by_sixteens, nullptr);
  EXPECT_EQ(values[0], raw(48));
  xp_sort(nullptr, 2, values.data(), by_sixteens, nullptr);
  EXPECT_EQ(values[0], raw(16));
  expect({xp_sort_comparisons() - comparisons, xp_sort_swaps() - swaps}, "1 1");
}

TEST_F(sort, searching_finds_exactly_what_is_there) {
  for (uint64_t count : {0u, 1u, 2u, 3u, 16u, 17u}) {
    items values;
    for (uint64_t i = 0; i < count; ++i)
      values.push_back(raw(32 * i + 16));
    auto search = [&](uint64_t key) {
      return xp_search(nullptr, std::ssize(values), values.data(), raw(key), by_sixteens, nullptr);
    };
    auto find = [&](uint64_t key) {
      return xp_search_get(nullptr, std::ssize(values), values.data(), raw(key), by_sixteens, nullptr);
    };
    for (uint64_t i = 0; i < count; ++i) {
      EXPECT_EQ(search(32 * i + 16 + i % 16), static_cast<int64_t>(i));
      EXPECT_EQ(find(32 * i + 31), values[i]);
      EXPECT_EQ(find(32 * i), nullptr);
      EXPECT_EQ(search(32 * i), -1 - static_cast<int64_t>(i));
    }
    EXPECT_EQ(search(32 * count), -1 - static_cast<int64_t>(count));
  }
  EXPECT_EQ(xp_search(nullptr, 3, nullptr, raw(16), by_sixteens, nullptr), -1);
}

}  // namespace
