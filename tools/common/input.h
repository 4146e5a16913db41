// What the tools read: a file, a pipe or standard input, whole.

#ifndef TOOLS_COMMON_INPUT_H
#define TOOLS_COMMON_INPUT_H

#include <stdint.h>

#include <string>

constexpr int64_t largest_input = int64_t{1} << 30;  // bytes

// Reads all of a file, of standard input for "-". An empty text, or what went wrong.
std::string read_input(const std::string &file, std::string &bytes);

// How messages call a file: on one line, whatever its name holds.
std::string shown_name(const std::string &file);

#endif
