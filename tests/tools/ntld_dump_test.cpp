// ntld-dump end to end, and its search for faults against records whose faults are known.

#include "tests/ipc/records.h"
#include "tests/tools/tool_test.h"
#include "tools/ntld-dump/records.h"

#include <random>
#include <vector>

namespace {

using ntld_dump = tool_test;

const std::string long_one = record("numb", "long", be32(1));

TEST_F(ntld_dump, prints_a_tree) {
  const std::string parameters =
      record("tag ", "ctag", "HXrf") + record("text", "text", "h\xC3\xBC \"\n\x1B\xE2\x80\xAE\xFF") +
      record("quad", "quad", be32(0xFFFFFFFF) + be32(0xFFFFFFFB)) +
      record("sub1", "data", record("flag", "bool", be32(1) + be32(0)) + record("odd!", "long", "abc")) +
      record("none", "data", "") + record("raw1", "data", "0123456789abcdefg");
  const std::string message =
      record("msgd", "data", record("call", "long", "APIC") + record("ipcp", "data", parameters));
  folder_.write("exchange", message + record("msgd", "data", long_one));
  EXPECT_EQ(status("ntld-dump exchange"), R"(msgd data 180
  call long 4  1095780675 'APIC'
  ipcp data 152
    'tag ' ctag 4  HXrf
    text text 11  "hü \"\n\x1b\xe2\x80\xae\xff"
    quad quad 8  -5
    sub1 data 36
      flag bool 8  true
      odd! long 3  61 62 63  |abc|
    none data 0
    raw1 data 17
      000000  30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66  |0123456789abcdef|
      000010  67                                               |g|
msgd data 16
  numb long 4  1
0
)");
  EXPECT_EQ(
      shell("ntld-dump -o -d 1 < exchange"),
      "       0  msgd data 180\n      12    call long 4  1095780675 'APIC'\n      28    ipcp data 152 ...\n"
      "     192  msgd data 16\n     204    numb long 4  1\n");
  EXPECT_EQ(shell("ntld-dump --skip=192 - exchange < exchange | grep -c msgd"), "2\n");
  EXPECT_EQ(shell("ntld-dump -l 2 exchange | grep more"),
            "    text text 11  \"h\" ... 10 more\n        ... 1 more\n      ... 15 more\n");
}

TEST_F(ntld_dump, tells_the_first_fault) {
  const struct {
    std::string bytes;
    const char *fault;
  } cases[] = {
      {"", "byte 0: no record"},
      {long_one.substr(0, 11), "byte 0: no record"},
      {long_one + "abc", "byte 16: 3 bytes behind the last record"},
      {long_one.substr(0, 14), "byte 14: 2 bytes of 'numb' missing"},
      {record("msgd", "data", lying("text", "text", 5, "abcd") + long_one),
       "byte 29: the padding of 'text' is not zero"},
      {record("msgd", "data", lying("text", "text", 21, "abcd") + long_one),
       "byte 20: 'text' reaches 1 byte beyond 'msgd'"},
      {lying("msgd", "data", 18, long_one + "ab") + "\0\0"s, "byte 28: 2 bytes left in 'msgd'"},
      {lying("msgd", "data", 14, lying("text", "text", 1, "a") + "\0"s) + "\0\0"s,
       "byte 25: the padding of 'text' is cut"},
      {lying("msgd", "data", 13, lying("text", "text", 1, "a")) + "\0\0\1"s,
       "byte 27: the padding of 'msgd' is not zero"},
      // The lower of two.
      {lying("msgd", "data", 60, record("ipcp", "data", lying("numb", "long", 9, "four"))),
       "byte 32: 'numb' reaches 5 bytes beyond 'ipcp'"},
  };
  for (const auto &one : cases) {
    folder_.write("file", one.bytes);
    const std::string told = "file: "s + one.fault + "\n";
    EXPECT_EQ(status("ntld-dump --check file"), "1\n" + told) << one.fault;
    EXPECT_EQ(status("ntld-dump file > out"), "1\n" + told) << one.fault;
  }
  EXPECT_EQ(status("ntld-dump --depth=x"),
            "2\nntld-dump: not a number: 'x'\nTry 'ntld-dump --help' for more information.\n");
  EXPECT_EQ(status("ntld-dump none; ntld-dump file > /dev/full"),
            "1\nntld-dump: cannot read none: No such file or directory\n"
            "ntld-dump: cannot write standard output: No space left on device\n");
}

struct collected : record_visitor {
  void record(const found_record &found) override { found_.push_back(found); }
  void loose(size_t, size_t, std::string_view bytes) override { loose_ += bytes.size(); }
  std::vector<found_record> found_;
  size_t loose_ = 0;
};

std::string random_tree(std::mt19937 &random, int depth) {
  std::string children;
  for (auto left = random() % 4; left > 0; --left) {
    const bool inner = depth > 0 && random() % 2 == 0;
    children += inner ? record("tree", "data", long_one + random_tree(random, depth - 1))
                      : record("leaf", "text", std::string(random() % 9, 'x'));
  }
  return children;
}

// A length that was raised is found where it stands, unless the record only swallows what follows it.
TEST_F(ntld_dump, finds_every_lying_length) {
  for (unsigned seed = 1; seed <= 200; ++seed) {
    std::mt19937 random(seed);
    const std::string tree = record("msgd", "data", long_one + random_tree(random, 4));
    collected whole;
    ASSERT_EQ(find_records(tree, 0, whole).reason, "") << seed;
    ASSERT_EQ(whole.loose_, 0u) << seed;
    for (const found_record &one : whole.found_) {
      std::string lie = tree;
      lie.replace(one.offset + 8, 4, be32(static_cast<uint32_t>(tree.size())));
      collected ignored;
      EXPECT_EQ(find_records(lie, 0, ignored).offset, one.depth == 0 ? tree.size() : one.offset + 8) << seed;
    }
  }
}

}  // namespace
