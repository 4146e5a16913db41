// Memory that runs out at every place in turn. A script runs once with all its allocations granted and tells
// what came out of each of its steps; then again and again, with the first allocation failing, the second,
// and so on until a run asks for fewer. Each time every step must tell what it told at first, or that it
// failed, and no block may stay behind.

#ifndef TESTS_XP_SWEEP_SWEEP_H
#define TESTS_XP_SWEEP_SWEEP_H

#include "xp/object/object.h"

#include <gtest/gtest.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace sweep {

// What a script tells, step by step. The number of steps must not depend on what fails.
class story {
public:
  // A made object, whose reference is taken over: its text, or null. `failed`: another text that tells of a
  // failure.
  void made(xp_obj *obj, const char *failed = "null");

  // A made container, whose reference is taken over, or a borrowed one: its members, of which some may be
  // missing after a failure.
  void made_of(xp_obj *container);
  void holds(xp_obj *container);

  // A plain result; -1, 0 and `failed` tell of a failure.
  void gave(int64_t result, int64_t failed = -1);
  void wrote(const std::string &text);

  // Compares with what was told when nothing failed.
  void expect_like(const story &whole) const;

private:
  struct step {
    std::string text;    // empty for members
    std::string failed;  // the text that tells of a failure
    std::vector<std::string> members;
  };
  std::vector<step> steps_;
};

using script = void (*)(story &told);

void run(script play);

}  // namespace sweep

#endif
