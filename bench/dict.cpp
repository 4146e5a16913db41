// Dictionaries: filling an empty one, and finding each key, with values whose references are counted: a fetch
// gives a new reference on every side.

#include "xp/dict/dict.h"

#include "busy_process.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"

#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

using shared_value = std::shared_ptr<int>;
using std_map = std::unordered_map<std::string, shared_value>;
using absl_map = absl::flat_hash_map<std::string, shared_value>;

std::vector<std::string> keys(int64_t count) {
  std::vector<std::string> result;
  for (int64_t i = 0; i < count; ++i)
    result.push_back("some-option." + std::to_string(i * 7919));
  return result;
}

xp::ref fill(const std::vector<std::string> &names, const xp::ref &value) {
  xp::ref dict = xp::ref::adopt(xp_dict_new(0));
  for (const std::string &name : names) {
    xp_dict_store(dict.get(), name.data(), static_cast<int64_t>(name.size()), value.get());
  }
  return dict;
}

template <typename Map>
Map fill(const std::vector<std::string> &names, const shared_value &value) {
  Map map;
  for (const std::string &name : names)
    map.insert_or_assign(name, value);
  return map;
}

void build_ours(benchmark::State &state, int64_t count) {
  const bench::busy_process busy;
  const auto names = keys(count);
  const xp::ref value = xp::ref::adopt(xp_number_newfloat(1.5));
  for (auto _ : state)
    benchmark::DoNotOptimize(fill(names, value));
}

template <typename Map>
void build_peer(benchmark::State &state, int64_t count) {
  const bench::busy_process busy;
  const auto names = keys(count);
  const auto value = std::make_shared<int>(1);
  for (auto _ : state)
    benchmark::DoNotOptimize(fill<Map>(names, value));
}

// One fetch an iteration, through all keys in turn.
void hit_ours(benchmark::State &state, int64_t count) {
  const bench::busy_process busy;
  const auto names = keys(count);
  const xp::ref dict = fill(names, xp::ref::adopt(xp_number_newfloat(1.5)));
  size_t next = 0;
  for (auto _ : state) {
    const std::string &name = names[next];
    next = next + 1 == names.size() ? 0 : next + 1;
    const xp::ref found =
        xp::ref::adopt(xp_dict_fetch(dict.get(), name.data(), static_cast<int64_t>(name.size())));
    if (!found) std::abort();
  }
}

template <typename Map>
void hit_peer(benchmark::State &state, int64_t count) {
  const bench::busy_process busy;
  const auto names = keys(count);
  const Map map = fill<Map>(names, std::make_shared<int>(1));
  size_t next = 0;
  for (auto _ : state) {
    const std::string &name = names[next];
    next = next + 1 == names.size() ? 0 : next + 1;
    const shared_value found = map.find(name)->second;
    if (found == nullptr) std::abort();
  }
}

const bool registered = [] {
  for (const int64_t count : {16, 1000}) {
    const auto row = [count](const char *work, const char *who) {
      return std::string("dict ") + work + ", " + std::to_string(count) + " keys/" + who;
    };
    benchmark::RegisterBenchmark(row("build", "ours").c_str(), build_ours, count);
    benchmark::RegisterBenchmark(row("build", "std::unordered_map").c_str(), build_peer<std_map>, count);
    benchmark::RegisterBenchmark(row("build", "absl::flat_hash_map").c_str(), build_peer<absl_map>, count);
    benchmark::RegisterBenchmark(row("hit", "ours").c_str(), hit_ours, count);
    benchmark::RegisterBenchmark(row("hit", "std::unordered_map").c_str(), hit_peer<std_map>, count);
    benchmark::RegisterBenchmark(row("hit", "absl::flat_hash_map").c_str(), hit_peer<absl_map>, count);
  }
  return true;
}();

}  // namespace
