// Where the tools write.

#ifndef TOOLS_COMMON_OUTPUT_H
#define TOOLS_COMMON_OUTPUT_H

#include <string>
#include <string_view>

// Writes everything to a descriptor; 0, or the errno of the write that failed.
int write_all(int descriptor, std::string_view bytes);

// Writes to standard output. An empty text, or what went wrong.
std::string write_standard_output(std::string_view bytes);

#endif
