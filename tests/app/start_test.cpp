// What is decided before the toolkit starts: the command line and the places of files.

#include "app/bundle.h"
#include "app/main_bundle.h"
#include "app/options.h"
#include "tests/support/leak_check.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using start_test = leak_check;
using words = std::vector<const char *>;

cv_options read(const words &arguments) {
  return cv_read_options(arguments);
}

TEST_F(start_test, reads_the_options_as_they_are_spelt) {
  const auto none = read({"corvane-settings"});
  EXPECT_TRUE(none.error.empty() && none.screenshot.empty() && !none.help && !none.version &&
              !none.safe_graphics);

  const auto all =
      read({"corvane-settings", "--safe-graphics", "--screenshot", "--help", "--version", "--help"});
  EXPECT_EQ(all.screenshot, "--help") << "what follows the option is its file, whatever it looks like";
  EXPECT_TRUE(all.error.empty() && all.safe_graphics && all.version && all.help);

  EXPECT_EQ(read({"corvane-settings", "--screenshot"}).error, "--screenshot needs the name of a file");
  EXPECT_EQ(read({"corvane-settings", "--screenshot", ""}).error, "--screenshot needs the name of a file");
  for (const char *word : {"--hel", "--helpp", "--HELP", "-h", "file", "", "--install-extensio"}) {
    EXPECT_EQ(read({"corvane-settings", word}).error, std::string("unknown option ") + word);
  }
}

TEST_F(start_test, finds_the_extension_option_exactly_and_anywhere_behind_the_name) {
  EXPECT_TRUE(cv_wants_extension(words{"corvane-settings", "--install-extension"}));
  EXPECT_TRUE(cv_wants_extension(words{"corvane-settings", "--bogus", "--install-extension"}));
  EXPECT_TRUE(cv_wants_extension(words{"", "--screenshot", "--install-extension"}));
  EXPECT_FALSE(cv_wants_extension(words{"--install-extension"}));
  EXPECT_FALSE(cv_wants_extension(words{"--install-extension", "--Install-Extension", "--install-ext"}));
  EXPECT_FALSE(cv_wants_extension({}));
}

TEST_F(start_test, finds_resources_and_programs_where_they_lie) {
  namespace fs = std::filesystem;
  std::string name = (fs::temp_directory_path() / "corvane.XXXXXX").string();
  ASSERT_NE(mkdtemp(name.data()), nullptr);
  const fs::path root = name;
  EXPECT_EQ(cv_resources_of(root / "bin" / "corvane-settings"), "");
  fs::create_directories(root / "share/corvane-settings/Resources");
  EXPECT_EQ(cv_resources_of(root / "bin" / "corvane-settings"), root / "share/corvane-settings/Resources");

  const fs::path program = root / "Corvane.app/Contents/MacOS/Corvane";
  EXPECT_EQ(cv_bundle_executable(root / "Corvane.app"), "");
  fs::create_directories(program);
  EXPECT_EQ(cv_bundle_executable(root / "Corvane.app"), "") << "a folder is no program";
  fs::remove(program);
  std::ofstream(program) << "#!/bin/sh\n";
  EXPECT_EQ(cv_bundle_executable(root / "Corvane.app"), program);
  fs::remove_all(root);
}

}  // namespace
