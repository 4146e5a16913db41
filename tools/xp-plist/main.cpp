// xp-plist: converts, prints, checks and sums up property lists.

#include "tools/common/program.h"
#include "tools/xp-plist/arguments.h"
#include "tools/xp-plist/commands.h"

namespace {

exit_status xp_plist(int count, char **words) {
  arguments wanted;
  const auto done = parse_arguments(count, words, wanted);
  return done ? *done : run(wanted);
}

}  // namespace

int main(int argc, char **argv) {
  return run_tool(argc, argv, xp_plist);
}
