// A folder in which a test runs the tools of this build from a shell.

#ifndef TESTS_TOOLS_TOOL_TEST_H
#define TESTS_TOOLS_TOOL_TEST_H

#include "tests/support/program.h"
#include "tests/support/temp_folder.h"

#include <gtest/gtest.h>

#include <string>

class tool_test : public testing::Test {
protected:
  // Runs a shell script in the test's folder: what it printed, errors last.
  std::string shell(const std::string &script) const {
    const std::string prepared = "PATH=" CORVANE_TOOLS_FOLDER ":$PATH; cd " + folder_.path().string() + "; ";
    const program_result result = run_program({"/bin/sh", "-c", prepared + script});
    return result.out + result.err;
  }

  // The status, too, on a line of its own.
  std::string status(const std::string &script) const { return shell(script + "; echo $?"); }

  temp_folder folder_;
};

#endif
