#include "tools/ntld-dump/arguments.h"

#include <getopt.h>

#include <charconv>
#include <string_view>

namespace {

constexpr std::string_view help_text =
    R"(Usage: ntld-dump [OPTION]... [FILE]...

Prints NTLD records and messages as a tree: one line for each record with its name,
type, length and value. Without FILE, or when FILE is -, standard input is read.
Several records may follow each other, as in a captured exchange.

  -c, --check        print nothing but what is wrong
  -d, --depth=N      print N levels of containers inside the outermost records
  -l, --limit=N      print at most N bytes of a value (256); 0: all of it
  -o, --offsets      begin each line with the offset of its record
  -s, --skip=N       begin behind the first N bytes
  -h, --help         show this text
  -V, --version      show the version

For each FILE that is not well formed there is one line on standard error:
FILE: byte N: reason   (bytes count from 0; of several faults the first)

Exit status: 0 well formed, 1 not well formed or a file that cannot be read or
written, 2 wrong arguments.
)";

constexpr std::string_view version_text = "ntld-dump (Corvane Settings) " CORVANE_VERSION "\n";

constexpr option long_options[] = {
    {"check", no_argument, nullptr, 'c'},       {"depth", required_argument, nullptr, 'd'},
    {"limit", required_argument, nullptr, 'l'}, {"offsets", no_argument, nullptr, 'o'},
    {"skip", required_argument, nullptr, 's'},  {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},     {nullptr, 0, nullptr, 0},
};

bool take_number(std::string_view text, size_t &number) {
  const char *const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
}

// One option. False when its value is wrong.
bool take(int letter, const char *value, dump_arguments &wanted) {
  switch (letter) {
    case 'c': wanted.check = true; return true;
    case 'o': wanted.offsets = true; return true;
    case 'd': return take_number(value, wanted.depth);
    case 's': return take_number(value, wanted.skip);
    default: break;
  }
  if (!take_number(value, wanted.limit)) return false;
  if (wanted.limit == 0) wanted.limit = SIZE_MAX;
  return true;
}

}  // namespace

std::optional<exit_status> parse_arguments(int count, char **words, dump_arguments &wanted) {
  for (;;) {
    const int letter = getopt_long(count, words, "cd:l:os:hV", long_options, nullptr);
    if (letter < 0) break;
    if (letter == 'h') return show(help_text);
    if (letter == 'V') return show(version_text);
    if (letter == '?') return refuse({});
    if (!take(letter, optarg, wanted)) return refuse("not a number: '" + std::string(optarg) + "'");
  }
  wanted.files.assign(words + optind, words + count);
  if (wanted.files.empty()) wanted.files.emplace_back("-");
  return std::nullopt;
}
