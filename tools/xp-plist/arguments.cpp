#include "tools/xp-plist/arguments.h"

#include "tools/xp-plist/style_name.h"

#include <getopt.h>

#include <string_view>

namespace {

constexpr std::string_view help_text =
    R"(Usage: xp-plist [OPTION]... [FILE]
       xp-plist --check [OPTION]... [FILE]...
       xp-plist --checksum [OPTION]... [FILE]...

Reads a property list, written in one of nine styles or binary, and writes it in
its own style or another. Without FILE, or when FILE is -, standard input is read.

  -t, --to=STYLE     write in this style
  -p, --pretty       write the form of the style that has one item per line
  -g, --get=PATH     print what is at PATH (/name, /name/#index, ...): a text as it
                     is, a container in the style
  -c, --check        print nothing; for each FILE that is not valid one line:
                     FILE: byte N: reason   (bytes count from 0)
  -s, --checksum     print a checksum of the values, which no order of keys and no
                     white space changes
  -f, --from=STYLE   read as this style, or as "binary", instead of detecting it
  -n, --nulls        write keys whose value is null, where the style has a null
  -o, --output=FILE  write to FILE, whole or not at all; it may be the input
  -h, --help         show this text
  -V, --version      show the version

STYLE is a name or its number:
  0 xml             XML property list       5 css             name { name: value; }
  1 json            JSON on one line        6 items           item list XML
  2 json-indented   JSON in lines           7 items-indented  item list XML in lines
  3 sections        [name] and name=value   8 json-bare       JSON without line end
  4 query           name=value&name=value

Exit status: 0 done, 1 not valid, nothing at PATH, or a file that cannot be read
or written, 2 wrong arguments.
)";

constexpr std::string_view version_text = "xp-plist (Corvane Settings) " CORVANE_VERSION "\n";

constexpr option long_options[] = {
    {"to", required_argument, nullptr, 't'},
    {"pretty", no_argument, nullptr, 'p'},
    {"get", required_argument, nullptr, 'g'},
    {"check", no_argument, nullptr, 'c'},
    {"checksum", no_argument, nullptr, 's'},
    {"from", required_argument, nullptr, 'f'},
    {"nulls", no_argument, nullptr, 'n'},
    {"output", required_argument, nullptr, 'o'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

bool take_style(const char *name, std::optional<int32_t> &style) {
  style = style_by_name(name);
  return style.has_value();
}

// One option. False when its value is wrong.
bool take(int letter, const char *value, arguments &wanted) {
  switch (letter) {
    case 't': return take_style(value, wanted.to);
    case 'f':
      wanted.binary = std::string_view(value) == "binary";
      wanted.from.reset();
      return wanted.binary || take_style(value, wanted.from);
    case 'g':
      wanted.wanted = action::get;
      wanted.path = value;
      return wanted.path.empty() || wanted.path[0] == '/';
    case 'c': wanted.wanted = action::check; break;
    case 's': wanted.wanted = action::checksum; break;
    case 'p': wanted.pretty = true; break;
    case 'n': wanted.nulls = true; break;
    default: wanted.output = value; break;
  }
  return true;
}

std::string wrong_value(int letter, const std::string &value) {
  if (letter == 'g') return "a path begins with '/': '" + value + "'";
  if (letter == 't' && value == "binary") return "binary property lists are read, not written";
  return "no such style: '" + value + "'";
}

// What is wrong with the whole; empty when nothing is.
std::string contradiction(const arguments &wanted, int actions) {
  const bool many = wanted.wanted == action::check || wanted.wanted == action::checksum;
  if (actions > 1) return "--get, --check and --checksum exclude each other";
  if (!many && wanted.files.size() > 1) return "more than one file: '" + wanted.files[1] + "'";
  if (many && (wanted.to || wanted.pretty || wanted.nulls || wanted.output != "-"))
    return "--check and --checksum write no list";
  if (wanted.output.empty()) return "an empty name of a file";
  return {};
}

}  // namespace

std::optional<exit_status> parse_arguments(int count, char **words, arguments &wanted) {
  int actions = 0;
  for (;;) {
    const int letter = getopt_long(count, words, "t:pg:csf:no:hV", long_options, nullptr);
    if (letter < 0) break;
    if (letter == 'h') return show(help_text);
    if (letter == 'V') return show(version_text);
    if (letter == '?') return refuse({});
    actions += letter == 'g' || letter == 'c' || letter == 's' ? 1 : 0;
    if (!take(letter, optarg, wanted)) return refuse(wrong_value(letter, optarg));
  }
  wanted.files.assign(words + optind, words + count);
  if (wanted.files.empty()) wanted.files.emplace_back("-");
  const std::string wrong = contradiction(wanted, actions);
  if (!wrong.empty()) return refuse(wrong);
  return std::nullopt;
}
