// Property lists between independent programs: what we write goes through plistutil and comes back, and what
// others write, in XML and in binary, is the same tree to us.

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

xp::ref read(const fs::path &path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  xp_plist_fault fault{};
  xp::ref list = xp::ref::adopt(xp_plist_read(bytes.data(), std::ssize(bytes), XP_PLIST_DETECT, &fault));
  EXPECT_TRUE(list) << path << ": " << fault.offset << ": " << (list ? "" : fault.reason);
  return list;
}

void expect_same(const fs::path &a, const fs::path &b) {
  const xp::ref x = read(a);
  const xp::ref y = read(b);
  EXPECT_EQ(xp_plist_checksum(x.get()), xp_plist_checksum(y.get())) << a << " and " << b << ", seed " << seed;
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
  for (const char *name : {"ours.xml", "theirs.binary", "theirs.xml"}) {
    const xp::ref back = read(folder.path() / name);
    EXPECT_EQ(xp_plist_checksum(back.get()), xp_plist_checksum(list.get())) << name << ", seed " << seed;
  }
}

TEST_F(plist_differential, binary_and_xml_of_an_independent_writer) {
  const temp_folder folder;
  constexpr int count = 60;
  const program_result written = run_program({"python3", CORVANE_SOURCE_DIR "/tests/xp/plist/lists.py",
                                              folder.path(), std::to_string(seed), std::to_string(count)});
  ASSERT_EQ(written.status, 0) << written.err;
  for (int i = 0; i < count; ++i) {
    const std::string name = std::to_string(i);
    expect_same(folder.path() / (name + ".binary"), folder.path() / (name + ".xml"));
  }
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
    expect_same(file, folder.path() / "theirs.binary");
    expect_same(file, folder.path() / "theirs.xml");
  }
}

}  // namespace
