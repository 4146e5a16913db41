#include "xp/service/file.h"

#include "tests/support/objects.h"
#include "tests/support/temp_folder.h"
#include "xp/array/array.h"
#include "xp/service/folder.h"
#include "xp/service/system_root.h"
#include "xp/service/traversal.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <map>
#include <optional>

namespace {

using xp::ref;
namespace fs = std::filesystem;

// A folder of its own for each test, and the environment as it was afterwards.
class file_test : public leak_check {
protected:
  void TearDown() override {
    for (const auto &[name, value] : before_)
      value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    leak_check::TearDown();
  }

  std::string path(const std::string &name) const { return folder_.path() / name; }
  ref at(const std::string &name) const {
    return ref::adopt(xp_file_new(name.starts_with('/') ? name.c_str() : path(name).c_str(), -1));
  }
  void write(const std::string &name, const std::string &content) const { folder_.write(name, content); }

  // Sets a variable of the environment, or takes it out.
  void set(const std::string &name, const char *value) {
    const char *old = getenv(name.c_str());
    before_.try_emplace(name, old == nullptr ? std::nullopt : std::optional<std::string>(old));
    value == nullptr ? unsetenv(name.c_str()) : setenv(name.c_str(), value, 1);
  }

private:
  temp_folder folder_;
  std::map<std::string, std::optional<std::string>> before_;
};

TEST_F(file_test, whole_regular_files_come_up_to_the_limit) {
  std::string large;
  for (int i = 0; large.size() < 100000; ++i)
    large += std::to_string(i) + '\0';
  write("large", large);
  write("empty", "");
  fs::create_symlink(path("large"), path("link"));
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  const auto read = [this](const char *name, int64_t limit) {
    return xp_file_read(path(name).c_str(), limit);
  };
  auto size = static_cast<int64_t>(large.size());
  expect({read("large", size), read("large", size - 1), read("empty", 0), read("link", -1)},
         large + " null  " + large);
  expect({read("pipe", -1), read("", -1), read("absent", -1), xp_file_read("/dev/zero", -1),
          xp_file_read(nullptr, -1)},
         "null null null null null");
  // The file system tells a size of 0 for these.
  EXPECT_NE(taken(xp_file_read("/proc/self/status", -1)).find("Name:"), std::string::npos);
}

TEST_F(file_test, preferences_come_from_the_first_folder_that_holds_them) {
  write("b/Corvane/words.json", "{}");
  write("c/Corvane/words.json", "{}");
  fs::create_directories(path("a/Corvane"));
  std::string fallback = "/etc/xdg/Corvane/words.json";
  std::string dirs = path("a") + "::" + fs::relative(path("c")).string() + ":" + path("b") + "/:" + path("c");
  const std::pair<std::string, std::string> cases[] = {{dirs, path("b/Corvane/words.json")},
                                                       {path("c"), path("c/Corvane/words.json")},
                                                       {path("a"), fallback},
                                                       {"", fallback},
                                                       {":", fallback}};
  for (const auto &[value, expected] : cases) {
    set("XDG_CONFIG_DIRS", value.c_str());
    EXPECT_EQ(taken(xp_file_preferences("Corvane", "words.json")), expected) << value;
  }
  set("XDG_CONFIG_DIRS", nullptr);
  expect({xp_file_preferences("Corvane", "words.json"), xp_file_preferences(nullptr, "words.json")},
         fallback + " null");
}

TEST_F(file_test, the_clients_files_lie_below_the_root_that_is_set) {
  const std::string app = "/Library/Corvane/Corvane.app";
  for (const auto &[root, prefix] : {std::pair<const char *, std::string>(nullptr, ""),
                                     {"", ""},
                                     {"/tmp/root", "/tmp/root"},
                                     {"/tmp/root//", "/tmp/root"}}) {
    set("CORVANE_ROOT", root);
    EXPECT_EQ(taken(xp_root_path(app.c_str())), prefix + app);
  }
  EXPECT_EQ(xp_root_path(nullptr), nullptr);
}

TEST_F(file_test, paths_are_tidied_and_taken_apart) {
  // The path; then the path, name and parent that it has.
  for (const auto &[path, parts] : pairs_of(
           "/>/,/,null //./>/,/,null /a>/a,a,/ //a/./b//>/a/b,b,/a a>a,a,. ./a/..>a/..,..,a/../.. .>.,.,.. "
           "..>..,..,../.. a/b>a/b,b,a /a/.b>/a/.b,.b,/a /a/../b>/a/../b,b,/a/..")) {
    const ref f = ref::adopt(xp_file_new(path.c_str(), -1));
    EXPECT_EQ(taken(xp_file_path(f.get())) + "," + taken(xp_file_name(f.get())) + "," +
                  taken(xp_file_parent(f.get())),
              parts);
  }
  const ref root = ref::adopt(xp_file_root());
  for (const char *bad : {"", ".", "..", "a/b", "/"})
    EXPECT_EQ(xp_file_child(root.get(), bad, -1), nullptr) << bad;
  expect({xp_file_child(root.get(), "a", -1), xp_file_child(root.get(), "a\0", 2), xp_file_new("", -1),
          xp_file_new("a\0b", 3), xp_file_drive(at("/a").get())},
         "/a null null null /");
  EXPECT_EQ(xp_compare(at("/a/").get(), at("//a").get()), 0);
  EXPECT_LT(xp_compare(at("/B").get(), at("/a").get()), 0);
  EXPECT_EQ(xp_type(root.get()), xp_code("\\:*/"));
  EXPECT_EQ(ref::adopt(xp_file_coerce(root.get())).get(), root.get());
}

TEST_F(file_test, folders_are_made_listed_and_removed) {
  const ref deep = at("a/b/c");
  EXPECT_EQ(xp_file_mkdir(deep.get(), 0), XP_ERR_ABSENT);
  EXPECT_EQ(xp_file_mkdir(deep.get(), XP_FILE_PARENTS), 0);
  EXPECT_EQ(xp_file_mkdir(deep.get(), XP_FILE_PARENTS), 0);
  EXPECT_EQ(xp_file_mkdir(deep.get(), 0), XP_ERR_EXISTS);
  EXPECT_EQ(xp_file_isdir(deep.get()), 1);
  write("a/B", "12345");
  write("a/.c", "");
  fs::create_symlink("nowhere", path("a/d"));
  const ref folder = at("a");
  const ref walk = ref::adopt(xp_trav_make(folder.get()));
  EXPECT_EQ(xp_trav_count(walk.get()), 4);
  for (const char *name : {".c", "B", "b", "d"})
    EXPECT_EQ(taken(xp_file_name(ref::adopt(xp_trav_next(walk.get())).get())), name);
  EXPECT_EQ(xp_trav_next(walk.get()), nullptr);
  EXPECT_EQ(xp_array_length(ref::adopt(xp_file_list(deep.get())).get()), 0);
  EXPECT_EQ(xp_file_list(at("a/B").get()), nullptr);
  EXPECT_EQ(xp_file_list(at("none").get()), nullptr);

  EXPECT_EQ(xp_file_size(at("a/B").get()), 5);
  EXPECT_EQ(xp_file_size(folder.get()), XP_ERR_KIND);
  EXPECT_EQ(xp_file_size(at("a/d").get()), XP_ERR_ABSENT);
  EXPECT_EQ(xp_file_exists(at("a/d").get()), 0);
  EXPECT_EQ(xp_file_remove(at("a/d").get()), 0);
  EXPECT_EQ(xp_file_remove(at("a/b").get()), XP_ERR_BUSY);
  EXPECT_EQ(xp_file_remove(deep.get()), 0);
  EXPECT_EQ(xp_file_remove(deep.get()), XP_ERR_ABSENT);
  EXPECT_EQ(xp_file_mkdir(at("a/B/x").get(), XP_FILE_PARENTS), XP_ERR_KIND);
  EXPECT_EQ(xp_file_mkdir(at("a/B").get(), XP_FILE_PARENTS), XP_ERR_EXISTS);
}

TEST_F(file_test, files_are_replaced_and_renamed_in_one_step) {
  const ref f = at("f");
  EXPECT_EQ(xp_file_replace(f.get(), "one", 3), 0);
  EXPECT_EQ(fs::status(path("f")).permissions(), static_cast<fs::perms>(0644));
  fs::permissions(path("f"), static_cast<fs::perms>(0600));
  fs::create_symlink(path("f"), path("link"));
  EXPECT_EQ(xp_file_replace(f.get(), "two", 3), 0);
  EXPECT_EQ(fs::status(path("f")).permissions(), static_cast<fs::perms>(0600));
  EXPECT_EQ(xp_file_replace(at("link").get(), nullptr, 0), 0);
  EXPECT_FALSE(fs::is_symlink(path("link")));
  EXPECT_EQ(taken(xp_file_load(f.get(), 3)), "two");
  EXPECT_EQ(taken(xp_file_load(f.get(), 2)), "null");
  EXPECT_EQ(xp_file_replace(at("none/f").get(), "x", 1), XP_ERR_ABSENT);
  fs::create_directory(path("full"));
  write("full/x", "");
  EXPECT_EQ(xp_file_replace(at("full").get(), "x", 1), XP_ERR_KIND);
  EXPECT_EQ(xp_file_rename(f.get(), at("link").get()), 0);
  EXPECT_EQ(xp_file_rename(f.get(), at("link").get()), XP_ERR_ABSENT);
  EXPECT_EQ(taken(xp_file_load(at("link").get(), -1)), "two");
  // Nothing was left beside them.
  EXPECT_EQ(xp_array_length(ref::adopt(xp_file_list(at(".").get())).get()), 2);
}

TEST_F(file_test, folders_have_codes) {
  const std::string home = path("home");
  const std::string named = path("set");
  write("set/App/x", "");
  set("HOME", home.c_str());
  const struct {
    uint32_t code;
    const char *variable;
    std::string without;
  } cases[] = {{XP_FOLDER_PREFERENCES, "XDG_CONFIG_HOME", home + "/.config"},
               {XP_FOLDER_DATA, "XDG_DATA_HOME", home + "/.local/share"},
               {XP_FOLDER_STATE, "XDG_STATE_HOME", home + "/.local/state"},
               {XP_FOLDER_CACHE, "XDG_CACHE_HOME", home + "/.cache"},
               {XP_FOLDER_RUNTIME, "XDG_RUNTIME_DIR", "null"},
               {XP_FOLDER_TEMPORARY, "TMPDIR", "/tmp"},
               {XP_FOLDER_MACHINE_PREFERENCES, "XDG_CONFIG_DIRS", "/etc/xdg"}};
  for (const auto &[code, variable, without] : cases) {
    for (const char *value : {static_cast<const char *>(nullptr), "relative"}) {
      set(variable, value);
      EXPECT_EQ(taken(xp_file_folder(code)), without) << variable;
    }
    set(variable, named.c_str());
    expect({xp_file_folder(code), xp_file_find(code, "App", "x")}, named + " " + named + "/App/x");
  }
  expect({xp_file_folder(XP_FOLDER_HOME), xp_file_folder(XP_FOLDER_ROOT),
          xp_file_find(XP_FOLDER_HOME, nullptr, "x"), xp_file_find(XP_FOLDER_HOME, "..", "x"),
          xp_file_folder(xp_code("none"))},
         home + " / " + home + "/x null null");
}

}  // namespace
