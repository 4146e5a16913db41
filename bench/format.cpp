// The format engine: the name of a session's socket.

#include "xp/format/format.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <cstdio>

namespace {

constexpr const char *folder = "/var/run/corvane/";

void name_ours(benchmark::State &state) {
  std::array<char, 128> text;
  uint32_t session = 0;
  for (auto _ : state) {
    xp_fmt_format(text.data(), text.size(), "%s%08X-%08X", folder, ++session, 0xC0FFEEU);
    benchmark::DoNotOptimize(text);
  }
}

void name_snprintf(benchmark::State &state) {
  std::array<char, 128> text;
  uint32_t session = 0;
  for (auto _ : state) {
    std::snprintf(text.data(), text.size(), "%s%08X-%08X", folder, ++session, 0xC0FFEEU);
    benchmark::DoNotOptimize(text);
  }
}

void name_fmt(benchmark::State &state) {
  std::array<char, 128> text;
  uint32_t session = 0;
  for (auto _ : state) {
    *fmt::format_to_n(text.data(), text.size() - 1, "{}{:08X}-{:08X}", folder, ++session, 0xC0FFEEU).out =
        '\0';
    benchmark::DoNotOptimize(text);
  }
}

}  // namespace

BENCHMARK(name_ours)->Name("format a socket's name/ours");
BENCHMARK(name_snprintf)->Name("format a socket's name/snprintf");
BENCHMARK(name_fmt)->Name("format a socket's name/fmt");
