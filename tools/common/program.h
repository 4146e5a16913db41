// What every tool does as a program: how it starts, ends and complains.

#ifndef TOOLS_COMMON_PROGRAM_H
#define TOOLS_COMMON_PROGRAM_H

#include <string>
#include <string_view>

enum exit_status : int {
  EXIT_OK = 0,
  EXIT_FAILED = 1,  // not read, not valid, not found, not written
  EXIT_USAGE = 2,
};

// The body of main: runs the tool with signals and names set up; running out of memory is a failure like
// others.
int run_tool(int count, char **words, exit_status (*tool)(int count, char **words));

// Says something on standard error, behind the program's name. The status of a failure.
exit_status complain(const std::string &line);

// Says what is wrong with the arguments (an empty text: it has been said) and where help is. The status of
// wrong arguments.
exit_status refuse(const std::string &why);

// Writes help or a version to standard output; complains when that fails.
exit_status show(std::string_view text);

#endif
