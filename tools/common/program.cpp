#include "tools/common/program.h"

#include "tools/common/output.h"

#include <errno.h>
#include <signal.h>
#include <stdio.h>

#include <new>

int run_tool(int count, char **words, exit_status (*tool)(int count, char **words)) {
  // A reader that has gone and a file at its size limit are told by the failing write.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  try {
    words[0] = program_invocation_short_name;
    return tool(count, words);
  } catch (const std::bad_alloc &) {
    return complain("out of memory");
  }
}

exit_status complain(const std::string &line) {
  fprintf(stderr, "%s: %s\n", program_invocation_short_name, line.c_str());
  return EXIT_FAILED;
}

exit_status refuse(const std::string &why) {
  if (!why.empty()) complain(why);
  fprintf(stderr, "Try '%s --help' for more information.\n", program_invocation_short_name);
  return EXIT_USAGE;
}

exit_status show(std::string_view text) {
  const std::string failure = write_standard_output(text);
  return failure.empty() ? EXIT_OK : complain("cannot write standard output: " + failure);
}
