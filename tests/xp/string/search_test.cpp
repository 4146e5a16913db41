// Comparing and searching: where orders differ, and beside naive twins on seeded texts; character classes.

#include "tests/xp/string/strings.h"
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

class string_search : public leak_check {
protected:
  static constexpr unsigned seed = 20261121;

  size_t below(size_t limit) { return random_() % limit; }
  char byte() { return static_cast<char>(random_()); }

  // Mostly a few letters in both cases, so that texts share parts; now and then a byte at which a rule begins
  // or ends, or any other.
  std::string text(size_t longest) {
    constexpr auto edges = "\0\x1F 9:;?@AZ[_`az{\x7F\x80\xC1\xE1\xFF"sv;
    std::string result(below(longest + 1), 0);
    for (char &c : result) {
      const size_t choice = below(40);
      c = choice > 4 ? "aAbBz"[choice % 5] : choice > 0 ? edges[below(edges.size())] : byte();
    }
    return result;
  }

  // The text with letters in any case, sometimes other bytes changed as if they were letters, and a few
  // changed altogether.
  std::string variant(std::string result) {
    for (char &c : result)
      if (below(isalpha(c) ? 2 : 8) == 0) c = static_cast<char>(c ^ 0x20);
    for (size_t changes = below(3); changes > 0 && !result.empty(); --changes)
      result[below(result.size())] = byte();
    return result;
  }

private:
  std::mt19937 random_{seed};
};

std::string folded(std::string text) {
  for (char &c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return text;
}

int sign(int order) {
  return (order > 0) - (order < 0);
}

// --- Orders where they differ from what twins tell ---

const struct {
  std::string_view a, b;
  const char *orders, *reversed;  // cmp, icmp, cmpq, icmpq
} orders[] = {
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

TEST_F(string_search, orders) {
  for (const auto &[first, second, straight, reversed] : orders) {
    for (bool swapped : {false, true}) {
      std::string_view a = swapped ? second : first, b = swapped ? first : second;
      const char *expected = swapped ? reversed : straight;
      SCOPED_TRACE(std::string(a) + " with " + std::string(b));
      const int64_t alength = bytes_in(a), blength = bytes_in(b);
      xp::ref s = str(a);
      expect({xp_str_cmp(s.get(), b.data(), blength), xp_str_icmp(s.get(), b.data(), blength),
              xp_str_cmpq(s.get(), b.data(), blength), xp_str_icmpq(s.get(), b.data(), blength)},
             expected);
      expect({xp_str_txtcmp(a.data(), alength, b.data(), blength),
              xp_str_txticmp(a.data(), alength, b.data(), blength),
              xp_str_txtcmpq(a.data(), alength, b.data(), blength),
              xp_str_txticmpq(a.data(), alength, b.data(), blength)},
             expected);
      for (int exact : {0, 1})
        EXPECT_EQ(xp_str_txtmatch(a.data(), alength, b.data(), blength, exact),
                  (exact != 0 ? xp_str_cmpq : xp_str_icmpq)(s.get(), b.data(), blength) == 0);
      if (a.find('\0') != a.npos) continue;
      expect({xp_str_strcmp(a.data(), b.data()), xp_str_stricmp(a.data(), b.data()),
              xp_str_strcmpq(a.data(), b.data()), xp_str_stricmpq(a.data(), b.data())},
             expected);
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
    expect({xp_str_strstarts(text.data(), affix.data(), 1), xp_str_strstarts(text.data(), affix.data(), 0),
            xp_str_strends(text.data(), affix.data(), 1), xp_str_strends(text.data(), affix.data(), 0)},
           found);
  }
  expect({xp_str_starts(nullptr, "a", -1, 1), xp_str_txtends("a", -1, nullptr, 1, 1),
          xp_str_txtstarts("ab", 1, "ab", 2, 1), xp_str_txtends("ab", 1, "b", 1, 1)},
         "0 0 0 0");
}

// Refused, not missed; and what lies beyond the length.
TEST_F(string_search, finds_in_objects_and_refuses_what_cannot_be_searched) {
  xp::ref s = str("Hello");
  expect({xp_str_find(s.get(), "L", 0, 0), xp_str_find(s.get(), "L", XP_FIND_EXACT | XP_FIND_LENGTH, 0),
          xp_str_find(s.get(), "o", XP_FIND_LENGTH, 5), xp_str_find(s.get(), nullptr, XP_FIND_LENGTH, 0),
          xp_str_find(nullptr, "a", XP_FIND_LENGTH, 0), xp_str_txtfind("abc", 2, "c", 0, 0)},
         "2 5 -1 -1 -1 -1");
}

// --- Twins ---

// In blocks of exactly their size, so that a sanitizer sees a read beyond them.
TEST_F(string_search, comparisons_equal_their_plain_twins_and_the_standard_library) {
  for (int round = 0; round < 20000; ++round) {
    SCOPED_TRACE(testing::Message() << "seed " << seed << " round " << round);
    std::string first = text(150), second = variant(first);
    std::vector<char> a(first.begin(), first.end()), b(second.begin(), second.end());
    int64_t length = bytes_in(first);
    ASSERT_EQ(xps_fold_differ(a.data(), b.data(), length),
              xps_plainly::fold_differ(a.data(), b.data(), length));
    for (bool exact : {true, false})
      ASSERT_EQ(xps_plain_differ(a.data(), b.data(), length, exact),
                xps_plainly::plain_differ(a.data(), b.data(), length, exact));

    if (below(2) == 0) second = text(150);
    second.resize(std::min(second.size(), below(150)));
    ASSERT_EQ(xp_str_txtcmpq(a.data(), length, second.data(), bytes_in(second)), sign(first.compare(second)));
    ASSERT_EQ(xp_str_txticmpq(a.data(), length, second.data(), bytes_in(second)),
              sign(folded(first).compare(folded(second))));
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

// Where they say more than the forms that they stand on.
TEST_F(string_search, zero_terminated_forms) {
  expect({xp_str_strncmp("abcx", "abcy", 3), xp_str_strncmp("abcx", "abcy", 4),
          xp_str_strncmp("abcx", "abcy", -1), xp_str_strncmp("ab", "abc", 9),
          xp_str_strncmp(nullptr, "abc", 0), xp_str_strnicmp("\xC3\xA9xy", "\xC3\x89xz", 3)},
         "0 -1 -1 -1 0 0");
  expect(
      {xp_str_strpcmp("abc", "\3abcd"), xp_str_strpcmp("abc", "\4abcd"), xp_str_strpicmp("abc", "\3ABC"),
       xp_str_strpicmp("abc", nullptr), xp_str_strmatch("abc", "ABC", 0), xp_str_strmatch("abc", "ABC", 1)},
      "0 -1 0 1 1 0");
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
  const std::pair<const char *, int (*)(int)> rows[] = {
      {"alnum", isalnum},
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
  for (const auto &[name, is_member] : rows) {
    std::string expected;
    for (int c = 0; c < 256; ++c)
      if (is_member(c) != 0) expected += static_cast<char>(c);
    for (uint32_t flags : {0u, uint32_t{XP_CLASS_EXACT}})
      EXPECT_EQ(members("[:" + std::string(name) + ":]", flags), expected) << name << " " << flags;
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
  xp::ref s = str("1\0"sv);
  expect({xp_str_stronly("2026", "0-9"), xp_str_stronly("2026x", "0-9"), xp_str_stronly("", "0-9"),
          xp_str_strany("x6", "0-9"), xp_str_strany("X", "x"), xp_str_strany(nullptr, "x"),
          xp_str_txtonly("12x", 2, "0-9"), xp_str_txtany("12x", 2, "x"), xp_str_only(s.get(), "0-9"),
          xp_str_any(s.get(), "0-9"), xp_str_only(nullptr, "0-9"), xp_str_any(s.get(), nullptr)},
         "1 0 0 1 0 0 1 0 0 1 0 0");
}

}  // namespace
