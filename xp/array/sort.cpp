#include "xp/array/sort.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <utility>

namespace {

// Partitions up to this size are finished by insertion sort.
constexpr int64_t small_partition = 8;
// Above this size the pivot is the median of three medians.
constexpr int64_t large_partition = 128;
constexpr int deepest_limit = 32;

std::atomic<uint64_t> comparisons_made = 0;
std::atomic<uint64_t> swaps_made = 0;

// Items [from, to) that are still to be sorted, `depth` splits below the whole vector.
struct partition {
  int64_t from;
  int64_t to;
  int depth;
};

// One call of xp_sort. No step trusts the comparison: every index is bounded by the partition and every split
// leaves two parts that are smaller than the whole, so a comparison that is no order yields some order and
// nothing worse.
class sorter {
public:
  sorter(void *context, xp_obj **items, xp_sort_compare compare, void *argument)
      : context_(context), items_(items), compare_(compare), argument_(argument) {}

  ~sorter() {
    comparisons_made.fetch_add(comparisons_, std::memory_order_relaxed);
    swaps_made.fetch_add(swaps_, std::memory_order_relaxed);
  }
  sorter(const sorter &) = delete;
  sorter &operator=(const sorter &) = delete;

  void sort(int64_t count) {
    int limit = std::min(2 * static_cast<int>(std::bit_width(static_cast<uint64_t>(count))), deepest_limit);
    // The left part of a split is taken up at once, so at most one right part waits for each level.
    partition pending[deepest_limit + 2];
    int waiting = 0;
    pending[waiting++] = {.from = 0, .to = count, .depth = 0};
    while (waiting > 0) {
      partition p = pending[--waiting];
      if (p.to - p.from <= small_partition) {
        insertion_sort(p.from, p.to);
      } else if (p.depth >= limit) {
        heap_sort(p.from, p.to);
      } else {
        int64_t pivot = split(p.from, p.to);
        pending[waiting++] = {.from = pivot + 1, .to = p.to, .depth = p.depth + 1};
        pending[waiting++] = {.from = p.from, .to = pivot, .depth = p.depth + 1};
      }
    }
  }

private:
  // Ties are broken by the raw values, which makes the order total.
  bool precedes(xp_obj *a, xp_obj *b) {
    ++comparisons_;
    int64_t order = compare_(context_, a, b, argument_);
    if (order != 0) return order < 0;
    return reinterpret_cast<uintptr_t>(a) < reinterpret_cast<uintptr_t>(b);
  }

  void swap(int64_t i, int64_t j) {
    ++swaps_;
    std::swap(items_[i], items_[j]);
  }

  void insertion_sort(int64_t from, int64_t to) {
    for (int64_t i = from + 1; i < to; ++i) {
      xp_obj *item = items_[i];
      int64_t j = i;
      for (; j > from && precedes(item, items_[j - 1]); --j) {
        items_[j] = items_[j - 1];
        ++swaps_;
      }
      items_[j] = item;
    }
  }

  // The position of the middle one of three items.
  int64_t median(int64_t a, int64_t b, int64_t c) {
    if (precedes(items_[b], items_[a])) std::swap(a, b);
    if (precedes(items_[c], items_[b])) return precedes(items_[c], items_[a]) ? a : c;
    return b;
  }

  int64_t select_pivot(int64_t from, int64_t to) {
    int64_t middle = from + (to - from) / 2;
    int64_t last = to - 1;
    if (to - from <= large_partition) return median(from, middle, last);
    int64_t step = (to - from) / 8;
    int64_t low = median(from, from + step, from + 2 * step);
    int64_t mid = median(middle - step, middle, middle + step);
    int64_t high = median(last - 2 * step, last - step, last);
    return median(low, mid, high);
  }

  // Puts a pivot at its final place and returns that: what precedes it stands in front, the rest behind.
  int64_t split(int64_t from, int64_t to) {
    swap(from, select_pivot(from, to));
    xp_obj *pivot = items_[from];
    int64_t i = from;
    int64_t j = to;
    while (true) {
      do
        ++i;
      while (i < to && precedes(items_[i], pivot));
      do
        --j;
      while (j > from && precedes(pivot, items_[j]));
      if (i >= j) break;
      swap(i, j);
    }
    swap(from, j);
    return j;
  }

  // Lets the item at `root` sink in the heap of `size` items from `from` on.
  void sift_down(int64_t from, int64_t root, int64_t size) {
    xp_obj *item = items_[from + root];
    for (int64_t child = 2 * root + 1; child < size; child = 2 * root + 1) {
      if (child + 1 < size && precedes(items_[from + child], items_[from + child + 1])) ++child;
      if (!precedes(item, items_[from + child])) break;
      items_[from + root] = items_[from + child];
      ++swaps_;
      root = child;
    }
    items_[from + root] = item;
  }

  void heap_sort(int64_t from, int64_t to) {
    int64_t size = to - from;
    for (int64_t root = size / 2; root-- > 0;)
      sift_down(from, root, size);
    while (--size > 0) {
      swap(from, from + size);
      sift_down(from, 0, size);
    }
  }

  void *context_;
  xp_obj **items_;
  xp_sort_compare compare_;
  void *argument_;
  uint64_t comparisons_ = 0;
  uint64_t swaps_ = 0;
};

}  // namespace

int64_t xp_sort_cmpobj(void * /*context*/, xp_obj *a, xp_obj *b, void * /*argument*/) {
  return xp_compare(a, b);
}

void xp_sort(void *context, int64_t count, xp_obj **items, xp_sort_compare compare, void *argument) {
  if (count < 1 || items == nullptr) return;
  sorter(context, items, compare == nullptr ? xp_sort_cmpobj : compare, argument).sort(count);
}

int64_t xp_search(void *context, int64_t count, xp_obj *const *items, xp_obj *key, xp_sort_compare compare,
                  void *argument) {
  if (items == nullptr) return -1;
  if (compare == nullptr) compare = xp_sort_cmpobj;
  int64_t from = 0;
  int64_t to = count;
  bool found = false;  // the item at `to` equals the key
  while (from < to) {
    int64_t middle = from + (to - from) / 2;
    int64_t order = compare(context, key, items[middle], argument);
    if (order > 0) {
      from = middle + 1;
    } else {
      to = middle;
      found = order == 0;
    }
  }
  return found ? to : -1 - from;
}

xp_obj *xp_search_get(void *context, int64_t count, xp_obj *const *items, xp_obj *key,
                      xp_sort_compare compare, void *argument) {
  int64_t position = xp_search(context, count, items, key, compare, argument);
  return position < 0 ? nullptr : items[position];
}

uint64_t xp_sort_comparisons() {
  return comparisons_made.load(std::memory_order_relaxed);
}

uint64_t xp_sort_swaps() {
  return swaps_made.load(std::memory_order_relaxed);
}
