// xp-plist: converts, prints, checks and sums up property lists.

#include "tools/xp-plist/arguments.h"
#include "tools/xp-plist/commands.h"

#include <errno.h>
#include <signal.h>

#include <new>

int main(int argc, char **argv) {
  // A reader that has gone and a file at its size limit are told by the failing write.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  try {
    argv[0] = program_invocation_short_name;
    arguments wanted;
    const auto done = parse_arguments(argc, argv, wanted);
    return done ? *done : run(wanted);
  } catch (const std::bad_alloc &) {
    return complain("out of memory");
  }
}
