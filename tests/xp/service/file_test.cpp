#include "xp/service/file.h"

#include "tests/support/leak_check.h"
#include "xp/object/ref.h"
#include "xp/service/folder.h"
#include "xp/service/system_root.h"
#include "xp/string/string.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

using xp::ref;
namespace fs = std::filesystem;

// A folder of its own for each test, and the environment as it was afterwards.
class file_test : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    std::string pattern = (fs::temp_directory_path() / "file_test_XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }

  void TearDown() override {
    fs::remove_all(folder_);
    unsetenv("XDG_CONFIG_DIRS");
    unsetenv("CORVANE_ROOT");
    leak_check::TearDown();
  }

  std::string path(const std::string &name) const { return folder_ + "/" + name; }

  void write(const std::string &name, const std::string &content) const {
    fs::create_directories(fs::path(path(name)).parent_path());
    std::ofstream(path(name), std::ios::binary) << content;
  }

private:
  std::string folder_;
};

std::string text(xp_obj *taken) {
  ref s = ref::adopt(taken);
  return s ? std::string(xp_str_getptr(s.get()), static_cast<size_t>(xp_str_length(s.get()))) : "(null)";
}

TEST_F(file_test, whole_files_come_up_to_the_limit) {
  std::string large;
  for (int i = 0; large.size() < 100000; ++i)
    large += std::to_string(i) + '\0';
  write("large", large);
  write("empty", "");
  auto size = static_cast<int64_t>(large.size());
  EXPECT_EQ(text(xp_file_read(path("large").c_str(), -1)), large);
  EXPECT_EQ(text(xp_file_read(path("large").c_str(), size)), large);
  EXPECT_EQ(text(xp_file_read(path("large").c_str(), size - 1)), "(null)");
  EXPECT_EQ(text(xp_file_read(path("empty").c_str(), 0)), "");
  // The file system tells a size of 0 for these.
  EXPECT_NE(text(xp_file_read("/proc/self/status", -1)).find("Name:"), std::string::npos);
}

TEST_F(file_test, what_is_no_readable_regular_file_is_null) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  write("plain", "content");
  fs::create_symlink(path("plain"), path("link"));
  EXPECT_EQ(xp_file_read(path("pipe").c_str(), -1), nullptr);
  EXPECT_EQ(xp_file_read(path("").c_str(), -1), nullptr);
  EXPECT_EQ(xp_file_read(path("absent").c_str(), -1), nullptr);
  EXPECT_EQ(xp_file_read("/dev/zero", -1), nullptr);
  EXPECT_EQ(xp_file_read(nullptr, -1), nullptr);
  EXPECT_EQ(text(xp_file_read(path("link").c_str(), -1)), "content");
}

TEST_F(file_test, preferences_come_from_the_first_folder_that_holds_them) {
  write("b/Corvane/words.json", "{}");
  write("c/Corvane/words.json", "{}");
  fs::create_directories(path("a/Corvane"));
  std::string fallback = "/etc/xdg/Corvane/words.json";
  std::string dirs = path("a") + "::" + fs::relative(path("c")).string() + ":" + path("b") + "/:" + path("c");
  struct {
    std::string dirs;
    std::string expected;
  } const cases[] = {
      {dirs, path("b/Corvane/words.json")},
      {path("c"), path("c/Corvane/words.json")},
      {path("a"), fallback},
      {"", fallback},
      {":", fallback},
  };
  for (const auto &[value, expected] : cases) {
    setenv("XDG_CONFIG_DIRS", value.c_str(), 1);
    EXPECT_EQ(text(xp_file_preferences("Corvane", "words.json")), expected) << value;
  }
  unsetenv("XDG_CONFIG_DIRS");
  EXPECT_EQ(text(xp_file_preferences("Corvane", "words.json")), fallback);
  EXPECT_EQ(xp_file_preferences(nullptr, "words.json"), nullptr);
}

TEST_F(file_test, the_clients_files_lie_below_the_root_that_is_set) {
  const char *app = "/Library/Corvane/Corvane.app";
  EXPECT_EQ(text(xp_root_path(app)), app);
  setenv("CORVANE_ROOT", "", 1);
  EXPECT_EQ(text(xp_root_path(app)), app);
  setenv("CORVANE_ROOT", "/tmp/root", 1);
  EXPECT_EQ(text(xp_root_path(app)), "/tmp/root/Library/Corvane/Corvane.app");
  setenv("CORVANE_ROOT", "/tmp/root//", 1);
  EXPECT_EQ(text(xp_root_path(app)), "/tmp/root/Library/Corvane/Corvane.app");
  EXPECT_EQ(xp_root_path(nullptr), nullptr);
}

}  // namespace
