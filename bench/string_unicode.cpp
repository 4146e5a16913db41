// Strings beyond ASCII: the full comparison and the check of UTF-8.

#include "xp/string/text.h"

#include <benchmark/benchmark.h>
#include <glib.h>
#include <unicode/stringoptions.h>
#include <unicode/ustring.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

// --- Comparing, case-insensitive: 25 letters in 50 bytes, equal but for their case ---

constexpr std::string_view small = "настройкиуправляемогокомпьютера";
constexpr std::string_view capital = "НАСТРОЙКИУПРАВЛЯЕМОГОКОМПЬЮТЕРА";
constexpr size_t bytes = 50;

struct wide {
  std::array<char16_t, 64> units;
  int32_t length;
  explicit wide(std::string_view text) {
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(units.data(), 64, &length, text.data(), static_cast<int32_t>(text.size()), &error);
  }
};

int32_t compare(const wide &a, const wide &b) {
  UErrorCode error = U_ZERO_ERROR;
  return u_strCaseCompare(a.units.data(), a.length, b.units.data(), b.length,
                          U_FOLD_CASE_DEFAULT | U_COMPARE_CODE_POINT_ORDER, &error);
}

void compare_ours(benchmark::State &state) {
  std::string a(small.substr(0, bytes)), b(capital.substr(0, bytes));
  for (auto _ : state) {
    benchmark::DoNotOptimize(a.data());
    int32_t order =
        xp_str_txticmp(a.data(), static_cast<int64_t>(a.size()), b.data(), static_cast<int64_t>(b.size()));
    if (order != 0) state.SkipWithError("the texts are equal");
  }
}

// The texts are 16-bit already.
void compare_icu(benchmark::State &state) {
  wide a(small.substr(0, bytes)), b(capital.substr(0, bytes));
  for (auto _ : state) {
    benchmark::DoNotOptimize(a.units.data());
    if (compare(a, b) != 0) state.SkipWithError("the texts are equal");
  }
}

// The texts are UTF-8, as ours are.
void compare_icu_converting(benchmark::State &state) {
  std::string a(small.substr(0, bytes)), b(capital.substr(0, bytes));
  for (auto _ : state) {
    benchmark::DoNotOptimize(a.data());
    if (compare(wide(a), wide(b)) != 0) state.SkipWithError("the texts are equal");
  }
}

// --- Validity ---

constexpr size_t text_bytes = 4096;

std::string repeated(std::string_view part) {
  std::string text;
  while (text.size() + part.size() <= text_bytes)
    text += part;
  return text.append(text_bytes - text.size(), '.');
}

const std::string ascii = repeated("The device is managed by your organisation. ");
const std::string mixed =
    repeated("Das Gerät wird verwaltet. Устройство управляется. 装置は管理されています。😀 ");

void valid_ours(benchmark::State &state, const std::string &text) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(text.data());
    if (xp_str_txtvalid(text.data(), static_cast<int64_t>(text.size())) >= 0) state.SkipWithError("valid");
  }
}

void valid_glib(benchmark::State &state, const std::string &text) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(text.data());
    if (!g_utf8_validate_len(text.data(), text.size(), nullptr)) state.SkipWithError("valid");
  }
}

}  // namespace

BENCHMARK(compare_ours)->Name("full compare, 50 bytes of non-ASCII text/ours");
BENCHMARK(compare_icu)->Name("full compare, 50 bytes of non-ASCII text/u_strCaseCompare");
BENCHMARK(compare_icu_converting)
    ->Name("full compare, 50 bytes of non-ASCII text/u_strCaseCompare from UTF-8");
BENCHMARK_CAPTURE(valid_ours, ascii, ascii)->Name("UTF-8 validity, 4 KB ASCII/ours");
BENCHMARK_CAPTURE(valid_glib, ascii, ascii)->Name("UTF-8 validity, 4 KB ASCII/g_utf8_validate_len");
BENCHMARK_CAPTURE(valid_ours, mixed, mixed)->Name("UTF-8 validity, 4 KB mixed/ours");
BENCHMARK_CAPTURE(valid_glib, mixed, mixed)->Name("UTF-8 validity, 4 KB mixed/g_utf8_validate_len");
