// A folder of a test's own, removed with everything in it.

#ifndef TESTS_SUPPORT_TEMP_FOLDER_H
#define TESTS_SUPPORT_TEMP_FOLDER_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

class temp_folder {
public:
  temp_folder() {
    std::string name = std::filesystem::temp_directory_path() / "corvane-test-XXXXXX";
    path_ = mkdtemp(name.data());
  }
  temp_folder(const temp_folder &) = delete;
  temp_folder &operator=(const temp_folder &) = delete;
  ~temp_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] const std::filesystem::path &path() const { return path_; }

  // Writes a file below the folder, making the folders on the way.
  std::filesystem::path write(const std::filesystem::path &name, std::string_view text) const {
    const std::filesystem::path file = path_ / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
    return file;
  }

private:
  std::filesystem::path path_;
};

#endif
