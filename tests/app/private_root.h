// A private root of a test's own, removed with everything in it.

#ifndef TESTS_APP_PRIVATE_ROOT_H
#define TESTS_APP_PRIVATE_ROOT_H

#include "tests/standin/standin_process.h"

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

class private_root {
public:
  private_root() : path_((std::filesystem::temp_directory_path() / "corvane-test.XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr || make_private_root(path_) < 0)
      throw std::runtime_error("no private root in " + path_);
  }
  private_root(const private_root &) = delete;
  private_root &operator=(const private_root &) = delete;
  ~private_root() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] const std::string &path() const { return path_; }

private:
  std::string path_;
};

#endif
