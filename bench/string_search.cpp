// Searching without regard to case, and comparing: the quick folded form beside the C library's, the full
// form on plain text beside the quick one's peer, which is the least it could cost.

#include "xp/string/text.h"

#include <benchmark/benchmark.h>
#include <string.h>
#include <strings.h>

#include <cstdlib>
#include <string>

namespace {

// Text like that of a page, without the needle before its last bytes.
std::string page(size_t length) {
  const std::string words = "The quick settings of this computer are kept by its client and shown here ";
  std::string text;
  while (text.size() < length)
    text += words;
  text.resize(length - 6);
  return text + "NeEdLe";
}

std::string swapped(std::string text) {
  for (char &c : text) {
    const int letter = c | 0x20;
    if (letter >= 'a' && letter <= 'z') c = static_cast<char>(c ^ 0x20);
  }
  return text;
}

void find_ours(benchmark::State &state) {
  const std::string text = page(4096);
  for (auto _ : state) {
    benchmark::DoNotOptimize(text.data());
    if (xp_str_txtfind(text.data(), 4096, "needle", 0, 0) != 4090) std::abort();
  }
}

void find_peer(benchmark::State &state) {
  const std::string text = page(4096);
  for (auto _ : state) {
    benchmark::DoNotOptimize(text.data());
    if (strcasestr(text.c_str(), "needle") != text.data() + 4090) std::abort();
  }
}

template <typename Compare>
void compare(benchmark::State &state, size_t length, Compare equal) {
  const std::string a = page(length);
  const std::string b = swapped(a);
  for (auto _ : state) {
    benchmark::DoNotOptimize(a.data());
    benchmark::DoNotOptimize(b.data());
    if (!equal(a.data(), b.data(), length)) std::abort();
  }
}

bool quick(const char *a, const char *b, size_t length) {
  return xp_str_txticmpq(a, static_cast<int64_t>(length), b, static_cast<int64_t>(length)) == 0;
}

bool full(const char *a, const char *b, size_t length) {
  return xp_str_txticmp(a, static_cast<int64_t>(length), b, static_cast<int64_t>(length)) == 0;
}

bool library(const char *a, const char *b, size_t length) {
  return strncasecmp(a, b, length) == 0;
}

const bool registered = [] {
  benchmark::RegisterBenchmark("find without case, 4 KB/ours", find_ours);
  benchmark::RegisterBenchmark("find without case, 4 KB/strcasestr", find_peer);
  using comparison = bool (*)(const char *, const char *, size_t);
  const auto rows = [](const std::string &name, size_t length, comparison ours) {
    const std::string row = name + ", " + std::to_string(length) + " bytes/";
    benchmark::RegisterBenchmark((row + "ours").c_str(), compare<comparison>, length, ours);
    benchmark::RegisterBenchmark((row + "strncasecmp").c_str(), compare<comparison>, length,
                                 comparison{library});
  };
  for (const size_t length : {size_t{32}, size_t{256}}) {
    rows("quick folded compare", length, quick);
    rows("full folded compare of plain text", length, full);
  }
  return true;
}();

}  // namespace
