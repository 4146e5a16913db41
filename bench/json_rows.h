// The rows of the JSON benchmarks for one peer: a class that is made from a text, holds its tree until it
// ends, and whose write() makes the tree's compact text and returns its size.

#ifndef BENCH_JSON_ROWS_H
#define BENCH_JSON_ROWS_H

#include "json_texts.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

namespace bench {

template <typename Peer>
void json_read(benchmark::State &state, const std::string &text) {
  for (auto _ : state) {
    const Peer tree(text);
    benchmark::DoNotOptimize(&tree);
  }
}

template <typename Peer>
void json_write(benchmark::State &state, const std::string &text) {
  const Peer tree(text);
  for (auto _ : state) {
    if (tree.write() < text.size() / 2) std::abort();
  }
}

template <typename Peer>
void json_rows(const std::string &who) {
  for (const auto &[name, make] : json_texts) {
    const auto add = [&, make = make](const std::string &work, auto body) {
      benchmark::RegisterBenchmark((work + ", " + name + "/" + who).c_str(),
                                   [=](benchmark::State &state) { body(state, make()); });
    };
    add("json read", json_read<Peer>);
    add("json write", json_write<Peer>);
  }
}

}  // namespace bench

#endif
