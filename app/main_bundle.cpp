#include "app/main_bundle.h"

#include <system_error>

std::filesystem::path cv_resources_of(const std::filesystem::path &executable) {
  const auto folder = executable.parent_path().parent_path() / "share" / "corvane-settings" / "Resources";
  std::error_code ignored;
  return std::filesystem::is_directory(folder, ignored) ? folder : std::filesystem::path();
}

std::filesystem::path cv_main_resources() {
  std::error_code error;
  const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::filesystem::path() : cv_resources_of(executable);
}
