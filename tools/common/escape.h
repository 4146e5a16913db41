// Text from outside, fit for a terminal.

#ifndef TOOLS_COMMON_ESCAPE_H
#define TOOLS_COMMON_ESCAPE_H

#include <string>
#include <string_view>

// The bytes as they stand in quotes (quote 0: in none): with a backslash before the quote and itself, and as
// "\n" or "\x1b" what is not a whole character or not a harmless one (controls, marks without width or that
// turn the direction).
std::string escaped(std::string_view bytes, char quote);

#endif
