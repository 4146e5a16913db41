// xp-plist end to end: what it prints, what it leaves on the disk, how it ends.

#include "tests/tools/tool_test.h"

#include <fstream>
#include <iterator>
#include <string>

namespace {

namespace fs = std::filesystem;

std::string content(const fs::path &file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

class xp_plist : public tool_test {
protected:
  size_t files() const {
    return static_cast<size_t>(
        std::distance(fs::directory_iterator(folder_.path()), fs::directory_iterator()));
  }
};

// Every command in the documentation prints what stands under it there.
TEST_F(xp_plist, does_what_its_documentation_shows) {
  std::ifstream page(CORVANE_SOURCE_DIR "/docs/property-lists.md");
  std::string line, command, expected, text;
  int commands = 0;
  bool shown = false;
  const auto finish = [&] {
    if (command.empty()) return;
    std::string printed = shell("{ " + command + "; } 2>&1");
    if (!printed.empty() && printed.back() != '\n') printed += '\n';
    EXPECT_EQ(printed, expected) << command;
    ++commands;
    command.clear();
  };
  while (std::getline(page, line)) {
    const bool fence = line.starts_with("```");
    if (shown && (fence || line.starts_with("$ "))) {
      if (command == "cat desk.json") folder_.write("desk.json", expected);
      finish();
      expected.clear();
    }
    if (fence) {
      shown = line == "```console";
    } else if (shown && line.starts_with("$ ")) {
      command = line.substr(2);
    } else if (shown) {
      expected += line + "\n";
    }
  }
  EXPECT_GT(commands, 20);
}

TEST_F(xp_plist, tells_what_is_wrong) {
  folder_.write("a.json", R"({"a":[1,null],"d":"text"})");
  folder_.write("bad.xml", "<plist><array><integer>1</array></plist>");
  const struct {
    const char *script, *printed;
  } cases[] = {
      {"xp-plist --frob",
       "2\nxp-plist: unrecognized option '--frob'\nTry 'xp-plist --help' for more information.\n"},
      {"xp-plist --to=yaml",
       "2\nxp-plist: no such style: 'yaml'\nTry 'xp-plist --help' for more information.\n"},
      {"xp-plist --to=binary",
       "2\nxp-plist: binary property lists are read, not written\nTry 'xp-plist --help' for more "
       "information.\n"},
      {"xp-plist --get=a a.json",
       "2\nxp-plist: a path begins with '/': 'a'\nTry 'xp-plist --help' for more information.\n"},
      {"xp-plist -c -s a.json 2>&-", "2\n"},
      {"xp-plist -c -o x a.json 2>&-", "2\n"},
      {"xp-plist a.json a.json 2>&-", "2\n"},
      {"xp-plist none", "1\nxp-plist: cannot read none: No such file or directory\n"},
      {"xp-plist .", "1\nxp-plist: cannot read .: Is a directory\n"},
      {"truncate -s 1073741825 big; xp-plist big", "1\nxp-plist: cannot read big: larger than 1 GiB\n"},
      {"xp-plist -g '/a/#1' a.json", "1\nxp-plist: nothing at '/a/#1' in a.json\n"},
      {"xp-plist -f binary a.json", "1\na.json: byte 0: not a binary property list\n"},
      {"xp-plist --check a.json bad.xml none - < a.json",
       "1\nbad.xml: byte 26: mismatched tag\nxp-plist: cannot read none: No such file or directory\n"},
      {"xp-plist a.json > /dev/full", "1\nxp-plist: cannot write standard output: No space left on device\n"},
      {"xp-plist --help > /dev/full", "1\nxp-plist: cannot write standard output: No space left on device\n"},
      {"xp-plist -s a.json >&-", "1\nxp-plist: cannot write standard output: Bad file descriptor\n"},
      {"exec 3>&1; { sleep 0.1; xp-plist a.json; echo $? >&3; } | true",
       "1\n0\nxp-plist: cannot write standard output: Broken pipe\n"},
  };
  for (const auto &one : cases)
    EXPECT_EQ(status(one.script), one.printed) << one.script;
}

TEST_F(xp_plist, reads_files_pipes_and_standard_input) {
  folder_.write("a.json", R"({"a":"text"})");
  for (const char *input : {"a.json", "< a.json", "- < a.json", "fifo & cat a.json > fifo; wait"})
    EXPECT_EQ(shell(std::string("mkfifo fifo; xp-plist -g /a ") + input + "; rm fifo"), "text\n") << input;
  // More than a pipe holds, in pieces.
  EXPECT_EQ(shell("{ printf '[\"'; head -c 3000000 /dev/zero | tr '\\0' x; sleep 0.1; printf '\"]'; } | "
                  "xp-plist -g '/#0' | wc -c"),
            "3000001\n");
  folder_.write("d.xml", "<plist><data>AAEC</data></plist>");
  EXPECT_EQ(shell("xp-plist -g '' d.xml"), std::string("\0\1\2", 3)) << "data as its bytes";
}

// The dearest texts of each reader, 1 MiB of each, in 64 MiB and 128 bytes for each of theirs.
TEST_F(xp_plist, takes_no_more_memory_than_its_readers_promise) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the address space is the sanitizer's";
#endif
  constexpr int64_t size = 1 << 20;
  constexpr int64_t program = 48 << 20;
  const std::string limit = "ulimit -v " + std::to_string((program + (64 << 20) + 128 * size) / 1024) + "; ";
  const struct {
    const char *style, *before, *piece, *behind;
  } texts[] = {{"json", "[", "{}", "]"},
               {"xml", "<array>", "<dict/>", "</array>"},
               {"xml", "<s:Envelope>", "<a><b/></a>", "</s:Envelope>"},
               {"items", "<list>", "<item/>", "</list>"}};
  for (const auto &one : texts) {
    std::string text = one.before;
    while (std::ssize(text) < size)
      text += one.piece;
    folder_.write("dear", text + one.behind);
    EXPECT_EQ(status(limit + "xp-plist --check --from=" + one.style + " dear"), "0\n") << one.piece;
  }
  EXPECT_EQ(status(limit + "truncate -s 400M large; xp-plist --check large"), "1\nxp-plist: out of memory\n");
}

TEST_F(xp_plist, replaces_files_whole_or_not_at_all) {
  const fs::path target = folder_.write("target", "old");
  folder_.write("a.json", "{\"a\":1}");
  folder_.write("bad.json", "{\"a\":");
  fs::permissions(target, fs::perms(0640));
  EXPECT_EQ(status("xp-plist -o target bad.json 2>&-"), "1\n");
  // The limit leaves room for the file that the thread sanitizer writes when a program starts.
  EXPECT_EQ(shell("{ printf '[\"'; head -c 3000000 /dev/zero | tr '\\0' x; printf '\"]'; } > large.json; "
                  "{ (ulimit -f 2048; xp-plist -o target large.json) 2>&1; echo $?; } | cat; rm large.json"),
            "xp-plist: cannot write target: File too large\n1\n");
  EXPECT_EQ(content(target), "old");
  EXPECT_EQ(files(), 3) << "nothing is left beside it";
  EXPECT_EQ(shell("ln -s target link; xp-plist -o link a.json; readlink link"), "target\n");
  EXPECT_EQ(content(target), "{\"a\":1}\n");
  EXPECT_EQ(fs::status(target).permissions(), fs::perms(0640));
  EXPECT_EQ(shell("umask 027; xp-plist -o new a.json; stat -c %a new"), "640\n");
  EXPECT_EQ(shell("ln -s there dangling; xp-plist -o dangling a.json; cat there"), "{\"a\":1}\n");
  EXPECT_EQ(shell("xp-plist -p -o a.json a.json; cat a.json"), "{\n\t\"a\" : 1\n}\n") << "the input itself";
  EXPECT_EQ(status("xp-plist -o /dev/full a.json"),
            "1\nxp-plist: cannot write /dev/full: No space left on device\n");
  EXPECT_EQ(status("xp-plist -o . a.json"), "1\nxp-plist: cannot write .: Is a directory\n");
  EXPECT_EQ(status("xp-plist -o none/x a.json"),
            "1\nxp-plist: cannot write none/x: No such file or directory\n");
  EXPECT_EQ(shell("xp-plist -o /dev/stdout a.json | cat"), "{\"a\":1}\n");
  const std::string longest(255, 'n');
  EXPECT_EQ(shell("xp-plist -o " + longest + " a.json; cat " + longest), "{\"a\":1}\n");
}

}  // namespace
