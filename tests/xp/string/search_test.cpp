// Comparing and searching: where orders differ, and beside naive twins on seeded texts; character classes.

#include "tests/support/objects.h"
#include "xp/string/class.h"
#include "xp/string/fold_scan.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <ctype.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using namespace std::string_view_literals;

class string_search : public leak_check {
protected:
  static constexpr unsigned seed = 20261121;

  size_t below(size_t limit) { return random_() % limit; }

  // Mostly a few letters in both cases, so that texts share parts; now and then any byte.
  std::string text(size_t longest) {
    std::string result(below(longest + 1), 0);
    for (char &c : result)
      c = below(40) == 0 ? static_cast<char>(random_()) : "aAbBz_@"[below(7)];
    return result;
  }

  // The text with a few bytes changed and letters in any case.
  std::string variant(std::string result) {
    for (char &c : result)
      if (isalpha(c) && below(2) == 0) c = static_cast<char>(c ^ 0x20);
    for (size_t changes = below(3); changes > 0 && !result.empty(); --changes)
      result[below(result.size())] = static_cast<char>(random_());
    return result;
  }

private:
  std::mt19937 random_{seed};
};

int64_t bytes_in(std::string_view text) {
  return static_cast<int64_t>(text.size());
}

std::string folded(std::string text) {
  for (char &c : text)
    c = static_cast<char>(xp_str_fold(static_cast<unsigned char>(c)));
  return text;
}

int sign(int order) {
  return (order > 0) - (order < 0);
}

// --- Orders where they differ from what twins tell ---

struct order_row {
  std::string_view a, b;
  const char *orders, *reversed;  // cmp, icmp, cmpq, icmpq
};

const order_row orders[] = {
    {"", "", "0 0 0 0", "0 0 0 0"},
    {"abc", "ABC", "1 0 1 0", "-1 0 -1 0"},
    // "_" stands between the cases: above the capitals that plain letters fold to.
    {"_", "a", "-1 1 -1 1", "1 -1 1 -1"},
    // The semicolon is not plain: both directions of case still agree with the order of code points.
    {"A;b", "a;C", "-1 -1 -1 -1", "1 1 1 1"},
    // Folded by the platform, letters are small: "_" stands below them, not above.
    {"~_", "~a", "-1 -1 -1 1", "1 1 1 -1"},
    {"\xC3\xA9xa\xC3\xA9", "\xC3\xA9xA\xC3\x89", "1 0 1 1", "-1 0 -1 -1"},
    {"K", "\xE2\x84\xAA", "-1 0 -1 -1", "1 0 1 1"},  // Kelvin sign folds to k
    {"\xC3\x9F", "ss", "1 1 1 1", "-1 -1 -1 -1"},    // simple folding only
    {"e\xCC\x81", "\xC3\xA9", "-1 -1 -1 -1", "1 1 1 1"},
    // Zero bytes are code points like any other when the length is known.
    {"a\0b"sv, "a\0c"sv, "-1 -1 -1 -1", "1 1 1 1"},
    // A sequence that the length cuts is left out; what is not UTF-8 comes first, two such texts in byte
    // order.
    {"a;\xC3", "a;", "0 0 1 1", "0 0 -1 -1"},
    {"\x80z", "\x7F", "-1 -1 1 1", "1 1 -1 -1"},
    {"\x80\x81;", "\x80\x81;", "0 0 0 0", "0 0 0 0"},
    {"\xC3(", "\xC3)", "-1 -1 -1 -1", "1 1 1 1"},
};

TEST_F(string_search, table) {
  for (const order_row &row : orders) {
    SCOPED_TRACE(std::string(row.a) + " with " + std::string(row.b));
    for (bool swapped : {false, true}) {
      std::string_view a = swapped ? row.b : row.a, b = swapped ? row.a : row.b;
      const char *expected = swapped ? row.reversed : row.orders;
      xp::ref s = str(a);
      expect({xp_str_cmp(s.get(), b.data(), bytes_in(b)), xp_str_icmp(s.get(), b.data(), bytes_in(b)),
              xp_str_cmpq(s.get(), b.data(), bytes_in(b)), xp_str_icmpq(s.get(), b.data(), bytes_in(b))},
             expected);
      expect({xp_str_txtcmp(a.data(), bytes_in(a), b.data(), bytes_in(b)),
              xp_str_txticmp(a.data(), bytes_in(a), b.data(), bytes_in(b)),
              xp_str_txtcmpq(a.data(), bytes_in(a), b.data(), bytes_in(b)),
              xp_str_txticmpq(a.data(), bytes_in(a), b.data(), bytes_in(b))},
             expected);
      for (int exact : {0, 1})
        EXPECT_EQ(xp_str_txtmatch(a.data(), bytes_in(a), b.data(), bytes_in(b), exact),
                  (exact != 0 ? xp_str_cmpq : xp_str_icmpq)(s.get(), b.data(), bytes_in(b)) == 0);
    }
  }
}

TEST_F(string_search, null_is_empty_and_lengths_below_zero_end_at_the_zero_byte) {
  xp::ref s = str("a");
  expect({xp_str_cmp(nullptr, "a", -1), xp_str_icmpq(nullptr, "", -1), xp_str_cmpq(nullptr, nullptr, 3),
          xp_str_icmp(s.get(), nullptr, 3), xp_str_txtmatch(nullptr, -1, "", -1, 1),
          xp_str_txtmatch(nullptr, 4, nullptr, 2, 0), xp_str_txtmatch(nullptr, 1, "a", 1, 0)},
         "-1 0 0 1 1 1 0");
  expect({xp_str_txticmpq("ab", -1, "ABC", 2), xp_str_txticmpq("ab", -1, "ab\0c", 4),
          xp_str_txtcmp("ab", -1, "abc", 2), xp_str_txtmatch("ab", -1, "abc", 2, 1)},
         "0 -1 0 1");
  // Objects ignore case and end at a zero byte.
  expect({xp_compare(str("abc").get(), str("ABC").get()), xp_compare(str("abc").get(), str("abd").get()),
          xp_compare(str("a\0b"sv).get(), str("a\0c"sv).get())},
         "0 -1 0");
}

TEST_F(string_search, starts_and_ends) {
  const struct {
    std::string_view text, affix;
    const char *found;  // starts, starts in any case, ends, ends in any case
  } rows[] = {{"local:x", "local:", "1 1 0 0"},
              {"local:x", "LOCAL:", "0 1 0 0"},
              {"a.JSON", ".json", "0 0 0 1"},
              {"a.json", ".json", "0 0 1 1"},
              {"ab", "ab", "1 1 1 1"},
              {"ab", "abc", "0 0 0 0"},
              {"ab", "", "0 0 0 0"},
              {"", "", "0 0 0 0"},
              {"\xC3\xA9", "\xC3\x89", "0 0 0 0"}};
  for (const auto &[text, affix, found] : rows) {
    xp::ref s = str(text);
    expect({xp_str_starts(s.get(), affix.data(), bytes_in(affix), 1),
            xp_str_starts(s.get(), affix.data(), bytes_in(affix), 0),
            xp_str_ends(s.get(), affix.data(), bytes_in(affix), 1),
            xp_str_ends(s.get(), affix.data(), bytes_in(affix), 0)},
           found);
    expect({xp_str_txtstarts(text.data(), -1, affix.data(), -1, 1),
            xp_str_txtstarts(text.data(), -1, affix.data(), -1, 0),
            xp_str_txtends(text.data(), -1, affix.data(), -1, 1),
            xp_str_txtends(text.data(), -1, affix.data(), -1, 0)},
           found);
  }
  expect({xp_str_starts(nullptr, "a", -1, 1), xp_str_txtends("a", -1, nullptr, 1, 1)}, "0 0");
}

TEST_F(string_search, finds_in_objects_and_refuses_what_cannot_be_searched) {
  xp::ref s = str("Hello");
  expect({xp_str_find(s.get(), "L", 0, 0), xp_str_find(s.get(), "L", XP_FIND_EXACT, 0),
          xp_str_find(s.get(), "L", XP_FIND_EXACT | XP_FIND_LENGTH, 0)},
         "2 -1 5");
  // Refused, not missed; and what lies beyond the length.
  expect({xp_str_find(s.get(), "o", XP_FIND_LENGTH, 5), xp_str_find(s.get(), nullptr, XP_FIND_LENGTH, 0),
          xp_str_find(nullptr, "a", XP_FIND_LENGTH, 0), xp_str_txtfind("abc", 2, "c", 0, 0)},
         "-1 -1 -1 -1");
}

// --- Twins ---

// In blocks of exactly their size, so that a sanitizer sees a read beyond them.
TEST_F(string_search, vector_scans_equal_their_plain_twins) {
  for (int round = 0; round < 20000; ++round) {
    std::string first = text(150);
    std::string second = variant(first);
    std::vector<char> a(first.begin(), first.end()), b(second.begin(), second.end());
    int64_t length = bytes_in(first);
    SCOPED_TRACE(testing::Message() << "seed " << seed << " round " << round);
    ASSERT_EQ(xps_fold_differ(a.data(), b.data(), length),
              xps_plainly::fold_differ(a.data(), b.data(), length));
    for (bool exact : {true, false}) {
      ASSERT_EQ(xps_plain_differ(a.data(), b.data(), length, exact),
                xps_plainly::plain_differ(a.data(), b.data(), length, exact));
    }
  }
}

// Every byte against every other, at each place of a block.
TEST_F(string_search, vector_scans_know_every_byte) {
  char a[16], b[16];
  for (size_t pair = 0; pair < 65536; ++pair) {
    memset(a, 'x', sizeof a);
    memset(b, 'X', sizeof b);
    a[pair % 16] = static_cast<char>(pair >> 8);
    b[pair % 16] = static_cast<char>(pair);
    ASSERT_EQ(xps_fold_differ(a, b, 16), xps_plainly::fold_differ(a, b, 16)) << pair;
    ASSERT_EQ(xps_plain_differ(a, b, 16, false), xps_plainly::plain_differ(a, b, 16, false)) << pair;
    ASSERT_EQ(xps_plain_differ(a, a, 16, true), xps_plainly::plain_differ(a, a, 16, true)) << pair;
  }
}

TEST_F(string_search, quick_comparisons_equal_those_of_the_standard_library) {
  for (int round = 0; round < 5000; ++round) {
    std::string a = text(80);
    std::string b = below(2) == 0 ? text(80) : variant(a).substr(0, below(90));
    SCOPED_TRACE(testing::Message() << "seed " << seed << " round " << round);
    ASSERT_EQ(xp_str_txtcmpq(a.data(), bytes_in(a), b.data(), bytes_in(b)), sign(a.compare(b)));
    ASSERT_EQ(xp_str_txticmpq(a.data(), bytes_in(a), b.data(), bytes_in(b)),
              sign(folded(a).compare(folded(b))));
    ASSERT_EQ(xp_str_stricmpq(a.c_str(), b.c_str()), sign(folded(a.c_str()).compare(folded(b.c_str()))));
  }
}

int64_t naive_find(const std::string &text, const std::string &needle, uint32_t flags, int64_t from) {
  bool backward = (flags & XP_FIND_BACKWARD) != 0;
  bool marked = (flags & XP_FIND_LENGTH) != 0;
  if (text.empty() || needle.empty() || (!backward && (from < 0 || from >= bytes_in(text)))) return -1;
  std::string where = (flags & XP_FIND_EXACT) != 0 ? text : folded(text);
  std::string what = (flags & XP_FIND_EXACT) != 0 ? needle : folded(needle);
  size_t at = backward ? where.rfind(what, from < 0 ? std::string::npos : static_cast<size_t>(from))
                       : where.find(what, static_cast<size_t>(from));
  if (at != std::string::npos) return static_cast<int64_t>(at);
  if (!marked) return -1;
  return !backward ? bytes_in(text) : (from >= 1 ? 0 : -1);
}

TEST_F(string_search, find_equals_the_standard_library) {
  int hits = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string where = text(120);
    std::string needle = below(2) == 0 ? text(4) : variant(where.substr(below(where.size() + 1), below(40)));
    auto flags = static_cast<uint32_t>(below(8));
    auto from = static_cast<int64_t>(below(140)) - 5;
    int64_t expected = naive_find(where, needle, flags, from);
    hits += expected >= 0;
    std::vector<char> block(where.begin(), where.end());
    ASSERT_EQ(xp_str_txtnfind(block.data(), bytes_in(where), needle.data(), bytes_in(needle), flags, from),
              expected)
        << "seed " << seed << " round " << round;
  }
  EXPECT_GT(hits, 5000) << "the texts are too far apart to prove anything";
}

TEST_F(string_search, zero_terminated_forms) {
  expect({xp_str_strcmp("abc", "ABC"), xp_str_stricmp("abc", "ABC"), xp_str_strcmpq("abc", "abd"),
          xp_str_strncmp("abcx", "abcy", 3), xp_str_strncmp("abcx", "abcy", 4),
          xp_str_strncmp("abcx", "abcy", -1), xp_str_strncmp("ab", "abc", 9),
          xp_str_strncmp(nullptr, "abc", 0), xp_str_strnicmp("\xC3\xA9xy", "\xC3\x89xz", 3)},
         "1 0 -1 0 -1 -1 -1 0 0");
  expect({xp_str_strpcmp("abc", "\3abcd"), xp_str_strpcmp("abc", "\4abcd"), xp_str_strpicmp("abc", "\3ABC"),
          xp_str_strpicmp("abc", nullptr)},
         "0 -1 0 1");
  expect({xp_str_strmatch("abc", "ABC", 0), xp_str_strmatch("abc", "ABC", 1),
          xp_str_strstarts("abc", "AB", 0), xp_str_strends("abc", "BC", 1)},
         "1 0 1 0");
  expect({xp_str_strfind("Hello", "l", XP_FIND_BACKWARD, -1), xp_str_strstr("Hello", "L"),
          xp_str_stristr("Hello", "L"), xp_str_strchr("Hello", 'o'), xp_str_strchr("Hello", 0),
          xp_str_strchr(nullptr, 'o')},
         "3 -1 2 4 -1 -1");
}

// The members of a class, in the order of their bytes.
std::string members(std::string_view pattern, uint32_t flags) {
  unsigned char table[256] = {};
  xps_charclass_add(pattern.data(), bytes_in(pattern), flags, 7, table);
  std::string result;
  for (int c = 0; c < 256; ++c) {
    EXPECT_TRUE(table[c] == 0 || table[c] == 7);
    if (table[c] != 0) result += static_cast<char>(c);
  }
  return result;
}

TEST_F(string_search, named_classes_are_those_of_the_c_locale) {
  struct row {
    std::string name;
    int (*member)(int);
  };
  const row rows[] = {{"alnum", isalnum},
                      {"alpha", isalpha},
                      {"blank", isblank},
                      {"cntrl", iscntrl},
                      {"digit", isdigit},
                      {"graph", isgraph},
                      {"lower", islower},
                      {"print", isprint},
                      {"punct", ispunct},
                      {"upper", isupper},
                      {"xdigit", isxdigit},
                      {"ascii", isascii},
                      {"space", [](int c) -> int { return c != 0 && strchr(" \t\n\r", c) != nullptr; }}};
  for (const row &r : rows) {
    std::string expected;
    for (int c = 0; c < 256; ++c)
      if (r.member(c) != 0) expected += static_cast<char>(c);
    for (uint32_t flags : {0u, uint32_t{XP_CLASS_EXACT}})
      EXPECT_EQ(members("[:" + r.name + ":]", flags), expected) << r.name << " " << flags;
  }
}

TEST_F(string_search, class_patterns) {
  // The pattern; its members, and those in any case.
  const auto rows = pairs_of(
      "ca>ac,ACac a-c>abc,ABCabc c-a>abc,ABCabc Y-_>YZ[\\]^_,YZ[\\]^_yz -a>-a,-Aa 1->-1,-1 1-3-5>-1235,-1235 "
      "\\1-3>123,123 1\\-3>-13,-13 1-\\3>123,123 1\\>1\\,1\\ \\[:digit:]>:[]dgit,:DGIT[]dgit "
      "[:digits:]>:[]dgist,:DGIST[]dgist +-[:digit:]>+-0123456789,+-0123456789 "
      "[:digit:]-[>-0123456789[,-0123456789[ \xFE-\xFF>\xFE\xFF,\xFE\xFF >, "
      "[:word:]>0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_,"
      "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz");
  for (const auto &[pattern, found] : rows)
    EXPECT_EQ(members(pattern, XP_CLASS_EXACT) + "," + members(pattern, 0), found) << pattern;
}

TEST_F(string_search, only_and_any) {
  expect({xp_str_stronly("2026", "0-9"), xp_str_stronly("2026x", "0-9"), xp_str_stronly("", "0-9"),
          xp_str_strany("x6", "0-9"), xp_str_strany("X", "x"), xp_str_strany(nullptr, "x"),
          xp_str_txtonly("12x", 2, "0-9"), xp_str_txtany("12x", 2, "x")},
         "1 0 0 1 0 0 1 0");
  xp::ref s = str("1\0"sv);
  expect({xp_str_only(s.get(), "0-9"), xp_str_any(s.get(), "0-9"), xp_str_only(nullptr, "0-9"),
          xp_str_any(s.get(), nullptr)},
         "0 1 0 0");
}

}  // namespace
