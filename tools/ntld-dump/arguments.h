// The command line of ntld-dump.

#ifndef TOOLS_NTLD_DUMP_ARGUMENTS_H
#define TOOLS_NTLD_DUMP_ARGUMENTS_H

#include "tools/common/program.h"

#include <stddef.h>
#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

struct dump_arguments {
  bool check = false;              // print no records
  bool offsets = false;            // begin each line with the record's offset
  size_t depth = SIZE_MAX;         // the deepest level that is printed, the outermost being 0
  size_t limit = 256;              // bytes of a value that are printed
  size_t skip = 0;                 // bytes before the first record
  std::vector<std::string> files;  // at least one; "-" is standard input
};

// Reads the command line. A status when the program is done with it: help and version have been shown, or
// what is wrong has been said.
std::optional<exit_status> parse_arguments(int count, char **words, dump_arguments &wanted);

#endif
