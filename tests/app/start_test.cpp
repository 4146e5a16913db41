// What is decided before the toolkit starts: the command line and the places of files.

#include "app/bundle.h"
#include "app/main_bundle.h"
#include "app/options.h"
#include "tests/support/leak_check.h"
#include "tests/support/temp_folder.h"

#include <vector>

namespace {

using start_test = leak_check;
using texts = std::vector<const char *>;

TEST_F(start_test, reads_the_options_as_they_are_spelt) {
  const auto all = cv_read_options(texts{"name", "--safe-graphics", "--screenshot", "--help", "--version"});
  EXPECT_EQ(all.screenshot, "--help") << "what follows the option is its file, whatever it looks like";
  EXPECT_TRUE(all.error.empty() && all.safe_graphics && all.version && !all.help);
  const std::string needs = "--screenshot needs the name of a file";
  EXPECT_EQ(cv_read_options(texts{"name", "--screenshot"}).error, needs);
  EXPECT_EQ(cv_read_options(texts{"name", "--screenshot", ""}).error, needs);
  for (const char *word : {"--hel", "--helpp", "--HELP", "file", "", "--install-extension"})
    EXPECT_EQ(cv_read_options(texts{"name", word}).error, std::string("unknown option ") + word);
}

TEST_F(start_test, finds_the_extension_option_exactly_and_anywhere_behind_the_name) {
  EXPECT_TRUE(cv_wants_extension(texts{"", "--screenshot", "--install-extension"}));
  EXPECT_FALSE(cv_wants_extension(texts{"--install-extension", "--Install-Extension", "--install-ext"}));
  EXPECT_FALSE(cv_wants_extension({}));
}

TEST_F(start_test, finds_resources_and_programs_where_they_lie) {
  namespace fs = std::filesystem;
  const temp_folder folder;
  const fs::path &root = folder.path(), resources = root / "share/corvane-settings/Resources";
  EXPECT_EQ(cv_resources_of(root / "bin/corvane-settings"), "");
  fs::create_directories(resources);
  EXPECT_EQ(cv_resources_of(root / "bin/corvane-settings"), resources);

  const fs::path program = root / "Corvane.app/Contents/MacOS/Corvane";
  fs::create_directories(program);
  EXPECT_EQ(cv_bundle_executable(root / "Corvane.app"), "") << "a folder is no program";
  fs::remove(program);
  folder.write(program, "#!/bin/sh\n");
  EXPECT_EQ(cv_bundle_executable(root / "Corvane.app"), program);
}

}  // namespace
