// Orders and searches where they differ from what search_test.cpp and unicode_test.cpp compare with twins.

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

namespace {

using namespace std::string_view_literals;
using string_order = leak_check;

int64_t size(std::string_view text) {
  return static_cast<int64_t>(text.size());
}

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

TEST_F(string_order, table) {
  for (const order_row &row : orders) {
    SCOPED_TRACE(std::string(row.a) + " with " + std::string(row.b));
    for (bool swapped : {false, true}) {
      std::string_view a = swapped ? row.b : row.a, b = swapped ? row.a : row.b;
      const char *expected = swapped ? row.reversed : row.orders;
      xp::ref s = str(a);
      expect({xp_str_cmp(s.get(), b.data(), size(b)), xp_str_icmp(s.get(), b.data(), size(b)),
              xp_str_cmpq(s.get(), b.data(), size(b)), xp_str_icmpq(s.get(), b.data(), size(b))},
             expected);
      expect({xp_str_txtcmp(a.data(), size(a), b.data(), size(b)),
              xp_str_txticmp(a.data(), size(a), b.data(), size(b)),
              xp_str_txtcmpq(a.data(), size(a), b.data(), size(b)),
              xp_str_txticmpq(a.data(), size(a), b.data(), size(b))},
             expected);
      for (int exact : {0, 1})
        EXPECT_EQ(xp_str_txtmatch(a.data(), size(a), b.data(), size(b), exact),
                  (exact != 0 ? xp_str_cmpq : xp_str_icmpq)(s.get(), b.data(), size(b)) == 0);
    }
  }
}

TEST_F(string_order, null_is_empty_and_lengths_below_zero_end_at_the_zero_byte) {
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

TEST_F(string_order, starts_and_ends) {
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
    expect({xp_str_starts(s.get(), affix.data(), size(affix), 1),
            xp_str_starts(s.get(), affix.data(), size(affix), 0),
            xp_str_ends(s.get(), affix.data(), size(affix), 1),
            xp_str_ends(s.get(), affix.data(), size(affix), 0)},
           found);
    expect({xp_str_txtstarts(text.data(), -1, affix.data(), -1, 1),
            xp_str_txtstarts(text.data(), -1, affix.data(), -1, 0),
            xp_str_txtends(text.data(), -1, affix.data(), -1, 1),
            xp_str_txtends(text.data(), -1, affix.data(), -1, 0)},
           found);
  }
  expect({xp_str_starts(nullptr, "a", -1, 1), xp_str_txtends("a", -1, nullptr, 1, 1)}, "0 0");
}

TEST_F(string_order, find) {
  xp::ref s = str("Hello");
  expect({xp_str_find(s.get(), "L", 0, 0), xp_str_find(s.get(), "L", XP_FIND_EXACT, 0),
          xp_str_find(s.get(), "L", XP_FIND_EXACT | XP_FIND_LENGTH, 0)},
         "2 -1 5");
  // Refused, not missed; and what lies beyond the length.
  expect({xp_str_find(s.get(), "o", XP_FIND_LENGTH, 5), xp_str_find(s.get(), nullptr, XP_FIND_LENGTH, 0),
          xp_str_find(nullptr, "a", XP_FIND_LENGTH, 0), xp_str_txtfind("abc", 2, "c", 0, 0)},
         "-1 -1 -1 -1");
}

}  // namespace
