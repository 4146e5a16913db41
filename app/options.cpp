#include "app/options.h"

#include <algorithm>
#include <string_view>

namespace {

struct switch_row {
  std::string_view name;
  bool cv_options::*flag;         // set by a switch,
  std::string cv_options::*text;  // or takes what follows; neither: not read here
  std::string_view operand;
  std::string_view help;
};

constexpr switch_row switches[] = {
    {"--help", &cv_options::help, nullptr, "", "Show this help and exit"},
    {"--version", &cv_options::version, nullptr, "", "Show the version and exit"},
    {"--screenshot", nullptr, &cv_options::screenshot, " FILE",
     "Write a picture of the window (PNG) to FILE, print what the page received\n"
     "                      (JSON) and exit: 0, or 3 when the client does not answer"},
    {"--safe-graphics", &cv_options::safe_graphics, nullptr, "",
     "Draw without the graphics processor, for when the window stays blank"},
    {"--install-extension", nullptr, nullptr, "", "Activate the client's system extension, without a window"},
};

// Reads one option with `rest` behind it. How many arguments it took, 0 when it is none.
size_t read_one(std::string_view name, std::span<const char *const> rest, cv_options &options) {
  const auto *const row = std::ranges::find(switches, name, &switch_row::name);
  if (row == std::end(switches) || (row->flag == nullptr && row->text == nullptr)) {
    options.error = "unknown option " + std::string(name);
    return 0;
  }
  if (row->flag != nullptr) {
    options.*row->flag = true;
    return 1;
  }
  if (rest.empty() || *rest.front() == '\0') {
    options.error = std::string(name) + " needs the name of a file";
    return 0;
  }
  options.*row->text = rest.front();
  return 2;
}

}  // namespace

bool cv_wants_extension(std::span<const char *const> arguments) {
  if (arguments.empty()) return false;
  const auto given = arguments.subspan(1);
  return std::ranges::any_of(
      given, [](const char *text) { return std::string_view(text) == "--install-extension"; });
}

cv_options cv_read_options(std::span<const char *const> arguments) {
  cv_options options;
  if (!arguments.empty()) arguments = arguments.subspan(1);
  while (!arguments.empty() && options.error.empty()) {
    const size_t taken = read_one(arguments.front(), arguments.subspan(1), options);
    arguments = arguments.subspan(taken);
  }
  return options;
}

std::string cv_help_text() {
  std::string text =
      "Usage: corvane-settings [OPTION...]\n\n"
      "The settings of the managed-computer client on this computer.\n\n";
  for (const auto &row : switches) {
    std::string left = "  " + std::string(row.name) + std::string(row.operand);
    left.resize(std::max<size_t>(left.size() + 1, 22), ' ');
    text += left + std::string(row.help) + "\n";
  }
  return text;
}
