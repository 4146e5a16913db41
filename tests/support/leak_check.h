// A fixture that fails when a runtime object or a descriptor which the test made outlives it. The shared
// numbers and booleans, which live for ever, are made before the count is taken. Tests of one process run one
// after the other, so whatever is there at the end and was not at the start belongs to the test.

#ifndef TESTS_SUPPORT_LEAK_CHECK_H
#define TESTS_SUPPORT_LEAK_CHECK_H

#include <gtest/gtest.h>
#include <stdint.h>

#include <map>
#include <string>

class leak_check : public testing::Test {
public:
  // Makes the objects that live for ever.
  static void warm_up();

protected:
  void SetUp() override;
  void TearDown() override;

  // Takes what is open and alive now as the new start: for descriptors and objects that a test leaves on
  // purpose (a library that opens one on first use).
  void forgive();

private:
  // What is open now and was not at the start.
  std::map<int, std::string> leaked_descriptors() const;

  int64_t objects_ = 0;
  std::map<int, std::string> descriptors_;  // number and what it refers to
};

#endif
