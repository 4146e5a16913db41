// Property lists between independent programs: what we write goes through plistutil and comes back, and what
// others write, in XML, in binary and as XML-RPC, is the same tree to us.

#include "tests/support/leak_check.h"
#include "tests/support/program.h"
#include "tests/support/temp_folder.h"
#include "tests/xp/plist/random_tree.h"
#include "xp/plist/checksum.h"
#include "xp/plist/plist.h"
#include "xp/string/string.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

namespace fs = std::filesystem;

using plist_differential = leak_check;

constexpr uint32_t seed = 20261121;

std::string bytes_of(const fs::path &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

int64_t checksum_of(const fs::path &path) {
  const std::string bytes = bytes_of(path);
  xp_plist_fault fault{};
  const xp::ref list =
      xp::ref::adopt(xp_plist_read(bytes.data(), std::ssize(bytes), XP_PLIST_DETECT, &fault));
  EXPECT_TRUE(list) << path << ": " << fault.offset << ": " << (list ? "" : fault.reason);
  return xp_plist_checksum(list.get());
}

// Another program's binary and XML of a list.
void convert(const fs::path &from, const fs::path &binary, const fs::path &xml) {
  EXPECT_EQ(run_program({"plistutil", "-i", from, "-o", binary, "-f", "bin"}).status, 0) << from;
  EXPECT_EQ(run_program({"plistutil", "-i", binary, "-o", xml, "-f", "xml"}).status, 0) << from;
}

TEST_F(plist_differential, our_xml_through_another_program) {
  // What our XML keeps: no dates, which it writes as strings, no nulls. Theirs writes carriage returns as
  // they are, which every reader takes for line breaks.
  random_trees trees({.kinds = "ihbdsAADD", .returns = false}, seed);
  const xp::ref root = xp::ref::adopt(xp_array_new(0));
  for (int i = 0; i < 300; ++i)
    xp_array_insert(root.get(), trees.value(1 + i % 4).get(), -1);
  const xp::ref text = xp::ref::adopt(xp_plist_string(root.get(), XP_PLIST_XML, 0));
  const temp_folder folder;
  const fs::path ours =
      folder.write("ours.xml", {xp_str_getptr(text.get()), static_cast<size_t>(xp_str_length(text.get()))});
  convert(ours, folder.path() / "theirs.binary", folder.path() / "theirs.xml");
  const xp::ref list = xp::ref::adopt(xp_plist_make(root.get()));
  xp_plist_setstyle(list.get(), XP_PLIST_XML);
  for (const char *name : {"ours.xml", "theirs.binary", "theirs.xml"})
    EXPECT_EQ(checksum_of(folder.path() / name), xp_plist_checksum(list.get())) << name << ", seed " << seed;
}

TEST_F(plist_differential, lists_of_independent_writers) {
  const temp_folder folder;
  const program_result written = run_program(
      {"python3", CORVANE_SOURCE_DIR "/tests/xp/plist/lists.py", folder.path(), std::to_string(seed), "60"});
  ASSERT_EQ(written.status, 0) << written.err;
  int sums = 0;
  for (const auto &entry : fs::directory_iterator(folder.path())) {
    if (entry.path().extension() != ".sum") continue;
    const fs::path list = entry.path().parent_path() / entry.path().stem();
    EXPECT_EQ(checksum_of(list), std::stoll(bytes_of(entry.path()))) << list << ", seed " << seed;
    ++sums;
  }
  EXPECT_EQ(sums, 180);
}

TEST_F(plist_differential, real_files) {
  const temp_folder folder;
  const fs::path source = folder.write("source.c",
                                       "int f(int *p) { int x; if (p) x = 1; return x; }\n"
                                       "int g(void) { int *q = 0; return *q; }\n");
  const fs::path report = folder.path() / "report.plist";
  const words analysis{"clang-14", "--analyze", "-Xclang", "-analyzer-output=plist", "-o", report, source};
  ASSERT_EQ(run_program(analysis).status, 0);
  std::vector<fs::path> files{report};
  for (const auto &entry : fs::directory_iterator("/usr/share")) {
    const fs::path file = entry.path() / "Templates" / "AppleInfo.plist";
    if (entry.path().filename().string().starts_with("cmake-") && fs::exists(file)) files.push_back(file);
  }
  EXPECT_GE(files.size(), 2U);
  for (const fs::path &file : files) {
    convert(file, folder.path() / "theirs.binary", folder.path() / "theirs.xml");
    for (const char *name : {"theirs.binary", "theirs.xml"})
      EXPECT_EQ(checksum_of(folder.path() / name), checksum_of(file)) << file << " as " << name;
  }
}

}  // namespace
