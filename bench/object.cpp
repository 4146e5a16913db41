// Objects: taking a reference and dropping it, and making small objects and ending them.

#include "xp/object/object.h"

#include "busy_process.h"
#include "xp/object/number.h"
#include "xp/string/string.h"

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdint>
#include <memory>
#include <string>

namespace {

void count_ours(benchmark::State &state) {
  const bench::busy_process busy;
  xp_obj *number = xp_number_new(1000);
  for (auto _ : state) {
    xp_obj *again = xp_retain(number);
    benchmark::DoNotOptimize(again);
    xp_release(again);
  }
  xp_release(number);
}

void count_shared_ptr(benchmark::State &state) {
  const bench::busy_process busy;
  const auto number = std::make_shared<int64_t>(1000);
  for (auto _ : state) {
    std::shared_ptr<int64_t> again = number;
    benchmark::DoNotOptimize(again);
  }
}

void make_ours(benchmark::State &state) {
  const bench::busy_process busy;
  for (auto _ : state) {
    xp_obj *number = xp_number_new(1000);
    benchmark::DoNotOptimize(number);
    xp_release(number);
  }
}

void make_shared_ptr(benchmark::State &state) {
  const bench::busy_process busy;
  for (auto _ : state)
    benchmark::DoNotOptimize(std::make_shared<int64_t>(1000));
}

constexpr size_t small_size = 96;
constexpr size_t held_count = 1000;

void small_ours(benchmark::State &state) {
  const bench::busy_process busy;
  for (auto _ : state) {
    xp_obj *obj = xp_new(xp_code("smpl"), small_size);
    benchmark::DoNotOptimize(obj);
    xp_release(obj);
  }
}

void small_malloc(benchmark::State &state) {
  const bench::busy_process busy;
  for (auto _ : state) {
    void *block = malloc(small_size);
    benchmark::DoNotOptimize(block);
    free(block);
  }
}

void held_ours(benchmark::State &state) {
  const bench::busy_process busy;
  xp_obj *held[held_count];
  for (auto _ : state) {
    for (xp_obj *&obj : held)
      obj = xp_new(xp_code("smpl"), small_size);
    benchmark::DoNotOptimize(held);
    for (xp_obj *obj : held)
      xp_release(obj);
  }
}

void held_calloc(benchmark::State &state) {
  const bench::busy_process busy;
  void *held[held_count];
  for (auto _ : state) {
    for (void *&block : held)
      block = calloc(1, small_size);
    benchmark::DoNotOptimize(held);
    for (void *block : held)
      free(block);
  }
}

constexpr char words[] = "a text of some forty characters, about so";

void text_ours(benchmark::State &state) {
  const bench::busy_process busy;
  for (auto _ : state) {
    xp_obj *string = xp_str_make(words, sizeof words - 1);
    benchmark::DoNotOptimize(string);
    xp_release(string);
  }
}

void text_shared_ptr(benchmark::State &state) {
  const bench::busy_process busy;
  for (auto _ : state)
    benchmark::DoNotOptimize(std::make_shared<const std::string>(words, sizeof words - 1));
}

}  // namespace

BENCHMARK(count_ours)->Name("retain and release/ours");
BENCHMARK(count_shared_ptr)->Name("retain and release/std::shared_ptr");
BENCHMARK(small_ours)->Name("make and end an object of 96 bytes/ours");
BENCHMARK(small_malloc)->Name("make and end an object of 96 bytes/malloc");
BENCHMARK(held_ours)->Name("make and end 1000 objects of 96 bytes/ours");
BENCHMARK(held_calloc)->Name("make and end 1000 objects of 96 bytes/calloc");
BENCHMARK(make_ours)->Name("make and end a number/ours");
BENCHMARK(make_shared_ptr)->Name("make and end a number/std::shared_ptr");
BENCHMARK(text_ours)->Name("make and end a string/ours");
BENCHMARK(text_shared_ptr)->Name("make and end a string/std::shared_ptr");
