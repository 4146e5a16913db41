// The format engine: a socket's name, a version, a real number, a text of 60 bytes, and a text that is quoted
// and escaped. Everybody writes into a large buffer and puts a zero byte behind the text.

#include "xp/format/format.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <glib.h>

#include <array>
#include <cstdint>
#include <cstdio>

namespace {

using text_buffer = std::array<char, 256>;

const char *const volatile folder = "/var/run/corvane/";
const char *const volatile sixty = "/usr/share/corvane-settings/Resources/en/pages/overview.html";
const char *const volatile quotable =
    "He said \"stay\",\tthen left by C:\\Users\\guest\nand was not seen again.";

// Numbers whose lengths change from call to call.
struct numbers {
  uint32_t state = 1;
  uint32_t next() { return state = state * 1664525 + 1013904223; }
  int part() { return static_cast<int>(next() >> 22); }
  double real() { return next() / 1024.0 / (1 << (state & 15)); }
};

template <typename Print>
void row(const char *name, Print print) {
  benchmark::RegisterBenchmark(name, [print](benchmark::State &state) {
    text_buffer text;
    numbers source;
    for (auto _ : state) {
      print(text.data(), text.size(), source);
      benchmark::DoNotOptimize(text);
    }
  });
}

void register_name() {
  row("format a socket's name/ours", [](char *to, size_t size, numbers &n) {
    xp_fmt_format(to, static_cast<int64_t>(size), "%s%08X-%08X", folder, n.next(), 0xC0FFEEU);
  });
  row("format a socket's name/snprintf", [](char *to, size_t size, numbers &n) {
    std::snprintf(to, size, "%s%08X-%08X", folder, n.next(), 0xC0FFEEU);
  });
  row("format a socket's name/fmt", [](char *to, size_t, numbers &n) {
    *fmt::format_to(to, "{}{:08X}-{:08X}", folder, n.next(), 0xC0FFEEU) = '\0';
  });
}

void register_version() {
  row("format a version/ours", [](char *to, size_t size, numbers &n) {
    xp_fmt_format(to, static_cast<int64_t>(size), "%d.%d.%d.%d", n.part(), n.part(), n.part(), n.part());
  });
  row("format a version/snprintf", [](char *to, size_t size, numbers &n) {
    std::snprintf(to, size, "%d.%d.%d.%d", n.part(), n.part(), n.part(), n.part());
  });
  row("format a version/fmt", [](char *to, size_t, numbers &n) {
    *fmt::format_to(to, "{}.{}.{}.{}", n.part(), n.part(), n.part(), n.part()) = '\0';
  });
}

void register_real() {
  row("format a real/ours", [](char *to, size_t size, numbers &n) {
    xp_fmt_format(to, static_cast<int64_t>(size), "%.6f", n.real());
  });
  row("format a real/snprintf",
      [](char *to, size_t size, numbers &n) { std::snprintf(to, size, "%.6f", n.real()); });
  row("format a real/fmt",
      [](char *to, size_t, numbers &n) { *fmt::format_to(to, "{:.6f}", n.real()) = '\0'; });
}

void register_text() {
  row("format 60 bytes of text/ours",
      [](char *to, size_t size, numbers &) { xp_fmt_format(to, static_cast<int64_t>(size), "%s", sixty); });
  row("format 60 bytes of text/snprintf",
      [](char *to, size_t size, numbers &) { std::snprintf(to, size, "%s", sixty); });
  row("format 60 bytes of text/fmt",
      [](char *to, size_t, numbers &) { *fmt::format_to(to, "{}", sixty) = '\0'; });
}

void register_quoted() {
  row("format a quoted text/ours", [](char *to, size_t size, numbers &) {
    xp_fmt_format(to, static_cast<int64_t>(size), "\"%s{:~}\"", quotable);
  });
  row("format a quoted text/g_strescape", [](char *to, size_t size, numbers &) {
    char *escaped = g_strescape(quotable, nullptr);
    std::snprintf(to, size, "\"%s\"", escaped);
    g_free(escaped);
  });
}

const bool registered = [] {
  register_name();
  register_version();
  register_real();
  register_text();
  register_quoted();
  return true;
}();

}  // namespace
