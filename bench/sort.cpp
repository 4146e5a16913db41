// Sorting 100,000 objects by what they hold. The peer calls the same comparison.

#include "xp/array/sort.h"

#include "busy_process.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/string/string.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int64_t count = 100000;

std::vector<xp::ref> objects(bool texts) {
  std::mt19937_64 random(20240131);
  std::vector<xp::ref> result;
  for (int64_t i = 0; i < count; ++i) {
    const auto value = static_cast<int64_t>(random() >> 16);
    result.push_back(
        xp::ref::adopt(texts ? xp_str_new(("name " + std::to_string(value)).c_str()) : xp_number_new(value)));
  }
  return result;
}

void sort_ours(std::vector<xp_obj *> &items) {
  xp_sort(nullptr, static_cast<int64_t>(items.size()), items.data(), xp_sort_cmpobj, nullptr);
}

void sort_std(std::vector<xp_obj *> &items) {
  std::sort(items.begin(), items.end(),
            [](xp_obj *a, xp_obj *b) { return xp_sort_cmpobj(nullptr, a, b, nullptr) < 0; });
}

template <bool texts, void (*sort)(std::vector<xp_obj *> &)>
void run(benchmark::State &state) {
  const bench::busy_process busy;
  const auto owned = objects(texts);
  std::vector<xp_obj *> items(owned.size());
  for (auto _ : state) {
    state.PauseTiming();
    std::transform(owned.begin(), owned.end(), items.begin(), [](const xp::ref &obj) { return obj.get(); });
    state.ResumeTiming();
    sort(items);
  }
}

}  // namespace

BENCHMARK(run<true, sort_ours>)->Name("sort 100000 by text/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(run<true, sort_std>)->Name("sort 100000 by text/std::sort")->Unit(benchmark::kMillisecond);
BENCHMARK(run<false, sort_ours>)->Name("sort 100000 by number/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(run<false, sort_std>)->Name("sort 100000 by number/std::sort")->Unit(benchmark::kMillisecond);
