#include "xp/service/file.h"

#include "tests/support/leak_check.h"
#include "xp/array/array.h"
#include "xp/object/ref.h"
#include "xp/service/folder.h"
#include "xp/service/system_root.h"
#include "xp/service/traversal.h"
#include "xp/string/string.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

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
  ref obj = ref::adopt(taken);
  ref s = ref::adopt(xp_str_coerce(obj.get()));
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

ref at(const std::string &path) {
  return ref::adopt(xp_file_new(path.c_str(), -1));
}

TEST_F(file_test, paths_are_tidied_and_taken_apart) {
  const struct {
    const char *path, *kept, *name, *parent;
  } cases[] = {
      {"/", "/", "/", "(null)"},
      {"//./", "/", "/", "(null)"},
      {"/a", "/a", "a", "/"},
      {"//a/./b//", "/a/b", "b", "/a"},
      {"a", "a", "a", "."},
      {"./a/..", "a/..", "..", "a/../.."},
      {".", ".", ".", ".."},
      {"..", "..", "..", "../.."},
      {"a/b", "a/b", "b", "a"},
      {"/a/.b", "/a/.b", ".b", "/a"},
      {"/a/../b", "/a/../b", "b", "/a/.."},
  };
  for (const auto &[path, kept, name, parent] : cases) {
    const ref f = at(path);
    EXPECT_EQ(text(xp_file_path(f.get())), kept);
    EXPECT_EQ(text(xp_file_name(f.get())), name);
    EXPECT_EQ(text(xp_file_parent(f.get())), parent);
  }
  EXPECT_EQ(xp_file_new("", -1), nullptr);
  EXPECT_EQ(xp_file_new("a\0b", 3), nullptr);
  const ref root = ref::adopt(xp_file_root());
  EXPECT_EQ(text(xp_file_drive(at("/a").get())), "/");
  EXPECT_EQ(text(xp_file_child(root.get(), "a", -1)), "/a");
  for (const char *bad : {"", ".", "..", "a/b", "/"})
    EXPECT_EQ(xp_file_child(root.get(), bad, -1), nullptr) << bad;
  EXPECT_EQ(xp_file_child(root.get(), "a\0", 2), nullptr);
  EXPECT_EQ(xp_compare(at("/a/").get(), at("//a").get()), 0);
  EXPECT_LT(xp_compare(at("/B").get(), at("/a").get()), 0);
  const ref f = at("/x");
  EXPECT_EQ(xp_type(f.get()), xp_code("\\:*/"));
  EXPECT_EQ(ref::adopt(xp_file_coerce(f.get())).get(), f.get());
}

TEST_F(file_test, folders_are_made_listed_and_removed) {
  const ref deep = at(path("a/b/c"));
  EXPECT_EQ(xp_file_mkdir(deep.get(), 0), XP_ERR_ABSENT);
  EXPECT_EQ(xp_file_mkdir(deep.get(), XP_FILE_PARENTS), 0);
  EXPECT_EQ(xp_file_mkdir(deep.get(), XP_FILE_PARENTS), 0);
  EXPECT_EQ(xp_file_mkdir(deep.get(), 0), XP_ERR_EXISTS);
  EXPECT_EQ(xp_file_isdir(deep.get()), 1);
  write("a/B", "12345");
  write("a/.c", "");
  fs::create_symlink("nowhere", path("a/d"));
  const ref folder = at(path("a"));
  const ref walk = ref::adopt(xp_trav_make(folder.get()));
  EXPECT_EQ(xp_trav_count(walk.get()), 4);
  for (const char *name : {".c", "B", "b", "d"})
    EXPECT_EQ(text(xp_file_name(ref::adopt(xp_trav_next(walk.get())).get())), name);
  EXPECT_EQ(xp_trav_next(walk.get()), nullptr);
  EXPECT_EQ(xp_array_length(ref::adopt(xp_file_list(deep.get())).get()), 0);
  EXPECT_EQ(xp_file_list(at(path("a/B")).get()), nullptr);
  EXPECT_EQ(xp_file_list(at(path("none")).get()), nullptr);

  EXPECT_EQ(xp_file_size(at(path("a/B")).get()), 5);
  EXPECT_EQ(xp_file_size(folder.get()), XP_ERR_KIND);
  EXPECT_EQ(xp_file_size(at(path("a/d")).get()), XP_ERR_ABSENT);
  EXPECT_EQ(xp_file_exists(at(path("a/d")).get()), 0);
  EXPECT_EQ(xp_file_remove(at(path("a/d")).get()), 0);
  EXPECT_EQ(xp_file_remove(at(path("a/b")).get()), XP_ERR_BUSY);
  EXPECT_EQ(xp_file_remove(deep.get()), 0);
  EXPECT_EQ(xp_file_remove(deep.get()), XP_ERR_ABSENT);
  EXPECT_EQ(xp_file_mkdir(at(path("a/B/x")).get(), XP_FILE_PARENTS), XP_ERR_KIND);
  EXPECT_EQ(xp_file_mkdir(at(path("a/B")).get(), XP_FILE_PARENTS), XP_ERR_EXISTS);
}

TEST_F(file_test, files_are_replaced_and_renamed_in_one_step) {
  const ref f = at(path("f"));
  EXPECT_EQ(xp_file_replace(f.get(), "one", 3), 0);
  EXPECT_EQ(fs::status(path("f")).permissions(), static_cast<fs::perms>(0644));
  fs::permissions(path("f"), static_cast<fs::perms>(0600));
  fs::create_symlink(path("f"), path("link"));
  EXPECT_EQ(xp_file_replace(f.get(), "two", 3), 0);
  EXPECT_EQ(fs::status(path("f")).permissions(), static_cast<fs::perms>(0600));
  EXPECT_EQ(xp_file_replace(at(path("link")).get(), nullptr, 0), 0);
  EXPECT_FALSE(fs::is_symlink(path("link")));
  EXPECT_EQ(text(xp_file_load(f.get(), 3)), "two");
  EXPECT_EQ(text(xp_file_load(f.get(), 2)), "(null)");
  EXPECT_EQ(xp_file_replace(at(path("none/f")).get(), "x", 1), XP_ERR_ABSENT);
  fs::create_directory(path("full"));
  write("full/x", "");
  EXPECT_EQ(xp_file_replace(at(path("full")).get(), "x", 1), XP_ERR_KIND);
  EXPECT_EQ(xp_file_rename(f.get(), at(path("link")).get()), 0);
  EXPECT_EQ(xp_file_rename(f.get(), at(path("link")).get()), XP_ERR_ABSENT);
  EXPECT_EQ(text(xp_file_load(at(path("link")).get(), -1)), "two");
  // Nothing was left beside them.
  EXPECT_EQ(xp_array_length(ref::adopt(xp_file_list(at(path(".")).get())).get()), 2);
}

TEST_F(file_test, folders_have_codes) {
  const std::string home = path("home");
  const std::string set = path("set");
  write("set/App/x", "");
  const char *old_home = getenv("HOME");
  const std::string before = old_home == nullptr ? "" : old_home;
  setenv("HOME", home.c_str(), 1);
  const struct {
    uint32_t code;
    const char *variable;
    std::string without;
  } cases[] = {
      {XP_FOLDER_PREFERENCES, "XDG_CONFIG_HOME", home + "/.config"},
      {XP_FOLDER_DATA, "XDG_DATA_HOME", home + "/.local/share"},
      {XP_FOLDER_STATE, "XDG_STATE_HOME", home + "/.local/state"},
      {XP_FOLDER_CACHE, "XDG_CACHE_HOME", home + "/.cache"},
      {XP_FOLDER_RUNTIME, "XDG_RUNTIME_DIR", "(null)"},
      {XP_FOLDER_TEMPORARY, "TMPDIR", "/tmp"},
      {XP_FOLDER_MACHINE_PREFERENCES, "XDG_CONFIG_DIRS", "/etc/xdg"},
  };
  for (const auto &[code, variable, without] : cases) {
    const char *old = getenv(variable);
    const std::string kept = old == nullptr ? "" : old;
    unsetenv(variable);
    EXPECT_EQ(text(xp_file_folder(code)), without) << variable;
    setenv(variable, "relative", 1);
    EXPECT_EQ(text(xp_file_folder(code)), without) << variable;
    setenv(variable, set.c_str(), 1);
    EXPECT_EQ(text(xp_file_folder(code)), set) << variable;
    EXPECT_EQ(text(xp_file_find(code, "App", "x")), set + "/App/x") << variable;
    if (old == nullptr) {
      unsetenv(variable);
    } else {
      setenv(variable, kept.c_str(), 1);
    }
  }
  EXPECT_EQ(text(xp_file_folder(XP_FOLDER_HOME)), home);
  EXPECT_EQ(text(xp_file_folder(XP_FOLDER_ROOT)), "/");
  EXPECT_EQ(text(xp_file_find(XP_FOLDER_HOME, nullptr, "x")), home + "/x");
  EXPECT_EQ(xp_file_find(XP_FOLDER_HOME, "..", "x"), nullptr);
  EXPECT_EQ(xp_file_folder(xp_code("none")), nullptr);
  setenv("HOME", before.c_str(), 1);
}

}  // namespace
