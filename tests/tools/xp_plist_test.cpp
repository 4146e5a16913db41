// xp-plist end to end: what it prints, what it leaves on the disk, how it ends.

#include "tests/tools/tool_test.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

class xp_plist : public tool_test {
protected:
  struct example {
    std::string script, printed;
  };

  // What scripts print, their status and errors last.
  void expect_all(const std::vector<example> &examples) const {
    for (const example &one : examples)
      EXPECT_EQ(status(one.script), one.printed) << one.script;
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
  expect_all({
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
      {"xp-plist $(printf 'a\\\\\\033[2J\\302\\233\\303\\251')",
       "1\nxp-plist: cannot read a\\\\\\x1b[2J\\xc2\\x9b\u00e9: No such file or directory\n"},
      {"xp-plist .", "1\nxp-plist: cannot read .: Is a directory\n"},
      {"truncate -s 1073741825 big; xp-plist big", "1\nxp-plist: cannot read big: larger than 1 GiB\n"},
      {"xp-plist -g '/a/#1' a.json", "1\nxp-plist: nothing at '/a/#1' in a.json\n"},
      {"xp-plist -g $(printf '/\\033') a.json", "1\nxp-plist: nothing at '/\\x1b' in a.json\n"},
      {"xp-plist -f binary a.json", "1\na.json: byte 0: not a binary property list\n"},
      {"xp-plist --check a.json bad.xml none - < a.json",
       "1\nbad.xml: byte 26: mismatched tag\nxp-plist: cannot read none: No such file or directory\n"},
      {"xp-plist a.json > /dev/full", "1\nxp-plist: cannot write standard output: No space left on device\n"},
      {"xp-plist --help > /dev/full", "1\nxp-plist: cannot write standard output: No space left on device\n"},
      {"xp-plist -s a.json >&-", "1\nxp-plist: cannot write standard output: Bad file descriptor\n"},
      {"exec 3>&1; { sleep 0.1; xp-plist a.json; echo $? >&3; } | true",
       "1\n0\nxp-plist: cannot write standard output: Broken pipe\n"},
  });
}

TEST_F(xp_plist, reads_files_pipes_and_standard_input) {
  folder_.write("a.json", R"({"a":"text"})");
  folder_.write("d.xml", "<plist><data>AAEC</data></plist>");
  expect_all({
      {"xp-plist -g /a a.json", "text\n0\n"},
      {"xp-plist -g /a < a.json", "text\n0\n"},
      {"xp-plist -g /a - < a.json", "text\n0\n"},
      {"mkfifo fifo; cat a.json > fifo & xp-plist -g /a fifo", "text\n0\n"},
      {"xp-plist -g '' d.xml | od -An -tx1", " 00 01 02\n0\n"},
      // More than a pipe holds, in pieces.
      {R"({ printf '["'; head -c 3000000 /dev/zero | tr '\0' x; sleep 0.1; printf '"]'; } | )"
       "xp-plist -g '/#0' | wc -c",
       "3000001\n0\n"},
      // The last style of several counts; this binary list is true.
      {R"(printf 'bplist00\t\010\0\0\0\0\0\0\1\1\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\t' | )"
       "xp-plist -f json -f binary -t json",
       "true\n0\n"},
  });
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
  folder_.write("a.json", "{\"a\":1}");
  folder_.write("bad.json", "{\"a\":");
  folder_.write("large.json", "[\"" + std::string(3000000, 'x') + "\"]");
  fs::permissions(folder_.write("target", "old"), fs::perms(0640));
  const std::string longest(255, 'n');
  expect_all({
      {"xp-plist -o target bad.json 2>&-", "1\n"},
      // The limit leaves room for the file that the thread sanitizer writes when a program starts.
      {"(ulimit -f 2048; xp-plist -o target large.json)",
       "1\nxp-plist: cannot write target: File too large\n"},
      {"cat target; ls -A", "olda.json\nbad.json\nlarge.json\ntarget\n0\n"},
      {"ln -s target link; xp-plist -o link a.json; readlink link; cat target; stat -c %a target",
       "target\n{\"a\":1}\n640\n0\n"},
      {"umask 027; xp-plist -o new a.json; stat -c %a new", "640\n0\n"},
      {"ln -s there dangling; xp-plist -o dangling a.json; cat there", "{\"a\":1}\n0\n"},
      {"xp-plist -p -o a.json a.json; cat a.json", "{\n\t\"a\" : 1\n}\n0\n"},
      {"xp-plist -o " + longest + " a.json; cat " + longest, "{\"a\":1}\n0\n"},
      {"xp-plist -o /dev/full a.json", "1\nxp-plist: cannot write /dev/full: No space left on device\n"},
      {"xp-plist -o /dev/fd/1 a.json | cat", "{\"a\":1}\n0\n"},
      {"{ echo before; xp-plist -o /dev/stdout a.json; echo behind; } > out; cat out",
       "before\n{\"a\":1}\nbehind\n0\n"},
      {"xp-plist -o . a.json", "1\nxp-plist: cannot write .: Is a directory\n"},
      {"xp-plist -o none/x a.json", "1\nxp-plist: cannot write none/x: No such file or directory\n"},
  });
}

}  // namespace
