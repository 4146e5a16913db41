// Comparing and searching.

#include "tests/support/leak_check.h"
#include "xp/object/ref.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

using namespace std::string_view_literals;

class string_order : public leak_check {};

int64_t size(std::string_view text) {
  return static_cast<int64_t>(text.size());
}

xp::ref make(std::string_view text) {
  return xp::ref::adopt(xp_str_make(text.data(), size(text)));
}

struct order_row {
  std::string_view a, b;
  int cmp, icmp, cmpq, icmpq;
};

const order_row orders[] = {
    {"", "", 0, 0, 0, 0},
    {"", "a", -1, -1, -1, -1},
    {"abc", "abc", 0, 0, 0, 0},
    {"abc", "abcd", -1, -1, -1, -1},
    {"abc", "ABC", 1, 0, 1, 0},
    {"B", "a", -1, 1, -1, 1},
    // "_" stands between the cases: above the capitals that plain letters fold to.
    {"_", "a", -1, 1, -1, 1},
    {"a:@_ 9", "A:@_ 9", 1, 0, 1, 0},
    // The semicolon is not plain: both directions of case still agree with the order of code points.
    {"a;", "A;", 1, 0, 1, 0},
    {"A;b", "a;C", -1, -1, -1, -1},
    // Folded by the platform, letters are small: "_" stands below them, not above.
    {"~_", "~a", -1, -1, -1, 1},
    {"\xC3\xA9", "\xC3\x89", 1, 0, 1, 1},  // e acute, small and capital
    {"\xCF\x83", "\xCF\x82", 1, 0, 1, 1},  // sigma and final sigma
    {"K", "\xE2\x84\xAA", -1, 0, -1, -1},  // Kelvin sign folds to k
    {"\xC3\xA9xa\xC3\xA9", "\xC3\xA9xA\xC3\x89", 1, 0, 1, 1},
    {"\xE2\x82\xAC", "\xE2\x82\xAD", -1, -1, -1, -1},
    {"\xEF\xBF\xBD", "\xF0\x90\x80\x80", -1, -1, -1, -1},  // beyond 16 bits comes last
    {"\xC3\xA9", "z", 1, 1, 1, 1},
    {"e\xCC\x81", "\xC3\xA9", -1, -1, -1, -1},  // no normalisation
    {"\xC3\x9F", "ss", 1, 1, 1, 1},             // simple folding only
    // Zero bytes are code points like any other when the length is known.
    {"a\0b"sv, "a\0c"sv, -1, -1, -1, -1},
    {"a\0"sv, "a", 1, 1, 1, 1},
    // A sequence that the length cuts is left out ...
    {"a;\xC3", "a;", 0, 0, 1, 1},
    // ... and what is not UTF-8 comes first; two such texts stand in byte order.
    {"\x80z", "\x7F", -1, -1, 1, 1},
    {"a;\x80", "a;", -1, -1, 1, 1},
    {"\x80\x81;", "\x80\x81;", 0, 0, 0, 0},
    {"\xC3(", "\xC3)", -1, -1, -1, -1},
};

TEST_F(string_order, table) {
  for (const order_row &r : orders) {
    SCOPED_TRACE(std::string(r.a) + " with " + std::string(r.b));
    for (bool swapped : {false, true}) {
      std::string_view a = swapped ? r.b : r.a;
      std::string_view b = swapped ? r.a : r.b;
      int sign = swapped ? -1 : 1;
      xp::ref s = make(a);
      EXPECT_EQ(xp_str_cmp(s.get(), b.data(), size(b)), sign * r.cmp);
      EXPECT_EQ(xp_str_icmp(s.get(), b.data(), size(b)), sign * r.icmp);
      EXPECT_EQ(xp_str_cmpq(s.get(), b.data(), size(b)), sign * r.cmpq);
      EXPECT_EQ(xp_str_icmpq(s.get(), b.data(), size(b)), sign * r.icmpq);
      EXPECT_EQ(xp_str_txtcmp(a.data(), size(a), b.data(), size(b)), sign * r.cmp);
      EXPECT_EQ(xp_str_txticmp(a.data(), size(a), b.data(), size(b)), sign * r.icmp);
      EXPECT_EQ(xp_str_txtcmpq(a.data(), size(a), b.data(), size(b)), sign * r.cmpq);
      EXPECT_EQ(xp_str_txticmpq(a.data(), size(a), b.data(), size(b)), sign * r.icmpq);
      EXPECT_EQ(xp_str_txtmatch(a.data(), size(a), b.data(), size(b), 1), r.cmpq == 0);
      EXPECT_EQ(xp_str_txtmatch(a.data(), size(a), b.data(), size(b), 0), r.icmpq == 0);
    }
  }
}

TEST_F(string_order, null_is_empty) {
  xp::ref s = make("a");
  EXPECT_EQ(xp_str_cmp(nullptr, "a", -1), -1);
  EXPECT_EQ(xp_str_icmpq(nullptr, "", -1), 0);
  EXPECT_EQ(xp_str_cmpq(nullptr, nullptr, 3), 0);
  EXPECT_EQ(xp_str_icmp(s.get(), nullptr, 3), 1);
  EXPECT_EQ(xp_str_txtmatch(nullptr, -1, "", -1, 1), 1);
  EXPECT_EQ(xp_str_txtmatch(nullptr, 4, nullptr, 2, 0), 1);
  EXPECT_EQ(xp_str_txtmatch(nullptr, 1, "a", 1, 0), 0);
}

TEST_F(string_order, lengths_below_zero_end_at_the_zero_byte) {
  EXPECT_EQ(xp_str_txticmpq("ab", -1, "ABC", 2), 0);
  EXPECT_EQ(xp_str_txticmpq("ab", -1, "ab\0c", 4), -1);
  EXPECT_EQ(xp_str_txtcmp("ab", -1, "abc", 2), 0);
  EXPECT_EQ(xp_str_txtmatch("ab", -1, "abc", 2, 1), 1);
}

TEST_F(string_order, objects_ignore_case_and_end_at_a_zero_byte) {
  EXPECT_EQ(xp_compare(make("abc").get(), make("ABC").get()), 0);
  EXPECT_LT(xp_compare(make("abc").get(), make("abd").get()), 0);
  EXPECT_EQ(xp_compare(make("a\0b"sv).get(), make("a\0c"sv).get()), 0);
}

struct affix_row {
  std::string_view text, affix;
  int starts, starts_folded, ends, ends_folded;
};

TEST_F(string_order, starts_and_ends) {
  const affix_row rows[] = {
      {"local:x", "local:", 1, 1, 0, 0},
      {"local:x", "LOCAL:", 0, 1, 0, 0},
      {"a.JSON", ".json", 0, 0, 0, 1},
      {"a.json", ".json", 0, 0, 1, 1},
      {"ab", "ab", 1, 1, 1, 1},
      {"ab", "abc", 0, 0, 0, 0},
      {"ab", "", 0, 0, 0, 0},
      {"", "", 0, 0, 0, 0},
      {"\xC3\xA9", "\xC3\x89", 0, 0, 0, 0},
  };
  for (const affix_row &r : rows) {
    SCOPED_TRACE(r.affix);
    xp::ref s = make(r.text);
    EXPECT_EQ(xp_str_starts(s.get(), r.affix.data(), size(r.affix), 1), r.starts);
    EXPECT_EQ(xp_str_starts(s.get(), r.affix.data(), size(r.affix), 0), r.starts_folded);
    EXPECT_EQ(xp_str_ends(s.get(), r.affix.data(), size(r.affix), 1), r.ends);
    EXPECT_EQ(xp_str_ends(s.get(), r.affix.data(), size(r.affix), 0), r.ends_folded);
    EXPECT_EQ(xp_str_txtstarts(r.text.data(), -1, r.affix.data(), -1, 1), r.starts);
    EXPECT_EQ(xp_str_txtends(r.text.data(), -1, r.affix.data(), -1, 0), r.ends_folded);
  }
  EXPECT_EQ(xp_str_starts(nullptr, "a", -1, 1), 0);
  EXPECT_EQ(xp_str_txtends("a", -1, nullptr, 1, 1), 0);
}

// Hits and misses of every kind are compared with a naive search in search_test.cpp.
TEST_F(string_order, find) {
  xp::ref s = make("Hello");
  EXPECT_EQ(xp_str_find(s.get(), "L", 0, 0), 2);
  EXPECT_EQ(xp_str_find(s.get(), "L", XP_FIND_EXACT, 0), -1);
  EXPECT_EQ(xp_str_find(s.get(), "L", XP_FIND_EXACT | XP_FIND_LENGTH, 0), 5);
  EXPECT_EQ(xp_str_find(s.get(), "o", XP_FIND_LENGTH, 5), -1) << "refused, not missed";
  EXPECT_EQ(xp_str_find(s.get(), nullptr, XP_FIND_LENGTH, 0), -1);
  EXPECT_EQ(xp_str_find(nullptr, "a", XP_FIND_LENGTH, 0), -1);
  EXPECT_EQ(xp_str_txtfind("abc", 2, "c", 0, 0), -1) << "beyond the length";
}

}  // namespace
