// Property lists between independent programs: what we write goes through plistutil and comes back, and what
// others write, in XML and in binary, is the same tree to us.

#include "tests/support/leak_check.h"
#include "tests/support/program.h"
#include "tests/support/temp_folder.h"
#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/boolean.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/checksum.h"
#include "xp/plist/plist.h"
#include "xp/service/data.h"
#include "xp/string/string.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
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

// What our XML keeps: no dates, which it writes as strings, no nulls.
class generator {
public:
  xp::ref tree(int levels) {
    switch (levels > 0 ? below(5) : 2 + below(3)) {
      case 0: return dict(levels);
      case 1: return array(levels);
      case 2: return text();
      case 3: return number();
      default: return bytes();
    }
  }

private:
  int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random_); }

  xp::ref dict(int levels) {
    xp::ref result = xp::ref::adopt(xp_dict_new(0));
    for (int i = below(8); i > 0; --i)
      xp_dict_store(result.get(), xp_str_getptr(text().get()), -1, tree(levels - 1).get());
    return result;
  }

  xp::ref array(int levels) {
    xp::ref result = xp::ref::adopt(xp_array_new(0));
    for (int i = below(8); i > 0; --i)
      xp_array_insert(result.get(), tree(levels - 1).get(), -1);
    return result;
  }

  xp::ref text() {
    static constexpr const char *parts[] = {
        "name", "\xC3\xB6", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80", "<&>", "\"'", "]]>", "a\nb", "\t", " "};
    std::string result = "k";
    for (int i = below(6); i > 0; --i)
      result += parts[below(std::ssize(parts))];
    return xp::ref::adopt(xp_str_make(result.data(), std::ssize(result)));
  }

  xp::ref number() {
    const auto any = static_cast<int64_t>(random_() >> below(64));
    if (below(4) == 0) return xp::ref::adopt(xp_boolean_new(any & 1));
    if (below(2) == 0) return xp::ref::adopt(xp_number_new(any));
    return xp::ref::adopt(xp_number_newfloat(static_cast<double>(any % 100000) + 0.015625 * below(64)));
  }

  xp::ref bytes() {
    std::string content;
    for (int i = below(80); i > 0; --i)
      content += static_cast<char>(below(256));
    return xp::ref::adopt(xp_data_new(content.data(), std::ssize(content)));
  }

  std::mt19937_64 random_{seed};
};

TEST_F(plist_differential, our_xml_through_another_program) {
  generator source;
  const xp::ref root = xp::ref::adopt(xp_array_new(0));
  for (int i = 0; i < 300; ++i)
    xp_array_insert(root.get(), source.tree(1 + i % 4).get(), -1);
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
