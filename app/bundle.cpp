#include "app/bundle.h"

#include <system_error>

std::filesystem::path cv_bundle_executable(const std::filesystem::path &bundle) {
  const auto executable = bundle / "Contents" / "MacOS" / bundle.stem();
  std::error_code ignored;
  return std::filesystem::is_regular_file(executable, ignored) ? executable : std::filesystem::path();
}
