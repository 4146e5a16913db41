// The command line of xp-plist.

#ifndef TOOLS_XP_PLIST_ARGUMENTS_H
#define TOOLS_XP_PLIST_ARGUMENTS_H

#include "tools/common/program.h"

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

enum class action {
  write,
  get,
  check,
  checksum,
};

struct arguments {
  action wanted = action::write;
  bool binary = false;          // the input is a binary property list
  std::optional<int32_t> from;  // style of the input; none: detected
  std::optional<int32_t> to;    // style of the output; none: that of the input
  bool pretty = false;
  bool nulls = false;
  std::string path;
  std::string output = "-";
  std::vector<std::string> files;  // at least one; "-" is standard input
};

// Reads the command line. A status when the program is done with it: help and version have been shown, or
// what is wrong has been said.
std::optional<exit_status> parse_arguments(int count, char **words, arguments &wanted);

#endif
