// Cutting, copying, walking, joining, replacing and scanning.

#include "xp/string/edit.h"

#include "tests/xp/string/strings.h"
#include "xp/service/traversal.h"
#include "xp/string/parts.h"
#include "xp/string/scan.h"

#include <algorithm>
#include <vector>

namespace {

using string_edit = leak_check;

TEST_F(string_edit, substr) {
  xp::ref s = str("abcd");
  const struct {
    int64_t from, count;
    const char *expected;
  } rows[] = {{1, 2, "bc"}, {0, 4, "(same)"}, {0, -1, "(same)"}, {-3, 2, "ab"},         {2, 99, "cd"},
              {3, 1, "d"},  {4, 1, ""},       {9, -1, ""},       {1, INT64_MAX, "bcd"}, {1, 0, ""}};
  for (const auto &[from, count, expected] : rows)
    EXPECT_EQ(changed(s, xp_str_substr(s.get(), from, count)), expected) << from << " " << count;
  EXPECT_EQ(xp_str_substr(nullptr, 0, 1), nullptr);
}

TEST_F(string_edit, extract_takes_one_part_after_the_other) {
  xp::ref s = str("<A>one</a><a></A><a>rest");
  int64_t at = 0;
  auto next = [&](const char *from, const char *to) {
    const std::string part = taken(xp_str_extract(s.get(), from, to, 0, &at));
    return part + "@" + std::to_string(at);
  };
  expect({next("<a>", "</a>"), next("<a>", "</a>"), next("<a>", "</a>"), next("<a>", nullptr), next("", "")},
         "one@10 @17 null@17 rest@24 @24");
  at = 25;
  expect({next("", ""), xp_str_extract(s.get(), "<a>", "</A>", XP_FIND_EXACT, nullptr),
          changed(s, xp_str_extract(s.get(), nullptr, nullptr, 0, nullptr)),
          xp_str_extract(s.get(), nullptr, ">", 0, nullptr)},
         "null@25  (same) <A");
}

TEST_F(string_edit, bytes_and_characters) {
  xp::ref s = str("a\xC3\xA9\xE2\x82\0z\xF0\x9F"sv);
  const struct {
    int64_t at;
    int32_t byte;
    std::string_view glyph;
  } rows[] = {{-1, -1, "null"},  {0, 'a', "a"},         {1, 0xC3, "\xC3\xA9"},
              {2, 0xA9, "\xA9"}, {3, 0xE2, "\xE2\x82"}, {5, 0, "\0"sv},
              {6, 'z', "z"},     {7, 0xF0, "\xF0\x9F"}, {9, -1, "null"}};
  for (const auto &[at, byte, glyph] : rows)
    expect({xp_str_charat(s.get(), at), xp_str_glyphat(s.get(), at)},
           std::to_string(byte) + " " + std::string(glyph));
}

TEST_F(string_edit, copies_fit_their_buffers) {
  xp::ref s = str("ab\xC3\xA9");
  EXPECT_EQ(xp_str_get(s.get(), nullptr, 0), 4);
  for (int64_t size = 0; size <= 6; ++size) {
    char whole[8] = "#######", ended[8] = "#######", prefixed[8] = "#######";
    auto fits = [](int64_t room) { return room == 3 ? int64_t{2} : std::clamp<int64_t>(room, 0, 4); };
    int64_t text = fits(size), behind_one = fits(size - 1);
    EXPECT_EQ(xp_str_get(s.get(), whole, size), text);
    EXPECT_EQ(whole[text], '#');
    EXPECT_EQ(xp_str_cget(s.get(), ended, size), behind_one);
    EXPECT_EQ(ended[behind_one], size > 0 ? 0 : '#');
    EXPECT_EQ(xp_str_pget(s.get(), prefixed, size), behind_one);
    EXPECT_EQ(prefixed[0], size > 0 ? behind_one : '#');
    EXPECT_EQ(prefixed[behind_one + 1], '#');
  }
  char big[300] = {};
  expect({xp_str_pget(str(std::string(256, 'x')).get(), big, sizeof big), big[255], big[256],
          xp_str_cget(nullptr, big, 1)},
         "255 120 0 0");
}

std::vector<std::string> walk(xp_obj *t, xp_obj *(*step)(xp_obj *)) {
  std::vector<std::string> parts;
  for (xp_trav_reset(t); xp_obj *part = step(t);)
    parts.push_back(taken(part));
  return parts;
}

TEST_F(string_edit, walks_the_parts_in_both_directions) {
  struct {
    std::string_view text, separator;
    std::vector<std::string> expected;
  } rows[] = {{"", ",", {}},
              {"a", ",", {"a"}},
              {",", ",", {"", ""}},
              {",a,,b", ",", {"", "a", "", "b"}},
              {"a, b,c", ", ", {"a", "b,c"}},
              {"a\0b"sv, "\0"sv, {"a", "b"}},
              {"", "", {}},
              {"a\xC3\xA9\xE2\x82\xAC\xC3\xF0\x9F\x98\x80\x80",
               "",
               {"a", "\xC3\xA9", "\xE2\x82\xAC", "\xC3", "\xF0\x9F\x98\x80", "\x80"}}};
  for (auto &[text, separator, expected] : rows) {
    SCOPED_TRACE(text);
    xp::ref t = xp::ref::adopt(xp_str_travnew(str(text).get(), separator.data(), bytes_in(separator)));
    EXPECT_EQ(walk(t.get(), xp_trav_next), expected);
    EXPECT_EQ(xp_trav_next(t.get()), nullptr) << "one that has ended stays ended";
    EXPECT_EQ(xp_control(t.get(), XP_CTL_TRAVERSE, XP_TRAV_COUNT, nullptr), std::ssize(expected));
    std::reverse(expected.begin(), expected.end());
    EXPECT_EQ(walk(t.get(), xp_trav_prev), expected);
  }
  xp::ref t = xp::ref::adopt(xp_str_travnew(str("a,b,c").get(), ",", -1));
  expect({xp_trav_next(t.get()), xp_trav_next(t.get()), xp_trav_count(t.get()), xp_trav_prev(t.get()),
          xp_trav_prev(t.get()), xp_trav_next(t.get())},
         "a b 3 a null null");
}

TEST_F(string_edit, join) {
  expect({xp_str_join("/", "a", "", "b", nullptr), xp_str_join(nullptr, "a", "b", nullptr),
          xp_str_join("/", "a", nullptr), xp_str_join("/", nullptr)},
         "a//b ab a ");
}

TEST_F(string_edit, replace) {
  const struct {
    const char *text, *from, *to;
    uint32_t flags;
    const char *expected;
  } rows[] = {{"aXbxc", "x", "--", 0, "a--b--c"}, {"aXbxc", "x", "--", XP_FIND_EXACT, "aXb--c"},
              {"aaa", "aa", "a", 0, "aa"},        {"abab", "AB", nullptr, 0, ""},
              {"abc", "x", "y", 0, "(same)"},     {"abc", "", "y", 0, "(same)"},
              {"ab", "b", "bb", 7, "abb"},        {"ab", "a", "a", XP_FIND_EXACT, "ab"}};
  for (const auto &[text, from, to, flags, expected] : rows) {
    xp::ref s = str(text);
    EXPECT_EQ(changed(s, xp_str_replace(s.get(), from, -1, to, -1, flags)), expected) << text;
  }
  EXPECT_EQ(xp_str_replace(nullptr, "a", 1, "b", 1, 0), nullptr);
}

TEST_F(string_edit, scan_reads_fields_of_every_kind) {
  xp::ref s = str("https://host.example:8443 /a b? +17 -5 dEaD 1.5e3 [x] 100%");
  xp_obj *scheme = nullptr, *host = nullptr, *path = nullptr, *word = nullptr, *other = nullptr;
  uint64_t port = 0, hex = 0;
  int64_t plus = 0, minus = 0, at = 0, percent = 0;
  double real = 0;
  EXPECT_EQ(xp_str_scan(s.get(), "%[a-z]://%t:%u %t? %d %d %x %f %s%n %*3u%%", &scheme, &host, &port, &path,
                        &plus, &minus, &hex, &real, &word, &at),
            10);
  expect({scheme, host, path, word, port, plus, minus, hex, at},
         "https host.example /a b [x] 8443 17 -5 57005 53");
  EXPECT_EQ(real, 1500);
  EXPECT_EQ(xp_str_scan(str("1234]x").get(), "%2d%d%[^\\[[:digit:]]", &plus, &percent, &other), 3);
  expect({plus, percent, other}, "12 34 ]x");
  EXPECT_EQ(xp_str_scan(str("k=").get(), "%t=%t", nullptr, &other), 2);
  expect({other}, "");
}

TEST_F(string_edit, scan_stores_all_or_nothing) {
  auto misses = pairs_of(
      "12x>%d x>%d >%d 9223372036854775808>%d 1;>%d, 1>%d, 1>%q 1>% 1>%3 a>%[a a>%[] -1>%u "
      "+1>%x inf>%f +-1>%d 18446744073709551616>%u ->%f");
  misses.insert(misses.end(), {{"1 ", "%d"}, {" a", "%s"}});
  for (const auto &[text, pattern] : misses) {
    xp_obj *untouched = nullptr;
    EXPECT_EQ(xp_str_scan(str(text).get(), pattern.c_str(), &untouched), -1) << text << " " << pattern;
    EXPECT_EQ(untouched, nullptr);
  }
  // The word is not made, or its leak would show.
  xp_obj *word = nullptr;
  int64_t n[17] = {};
  const char *seventeen = "%n%n%n%n%n%n%n%n%n%n%n%n%n%n%n%n%n";
  xp::ref empty = str("");
  expect({xp_str_scan(str("a b c").get(), "%s %s %*d", &word, &word), xp_str_scan(nullptr, ""),
          xp_str_scan(empty.get(), ""), xp_str_scan(str("9223372036854775807").get(), "%d", n), n[0],
          xp_str_scan(empty.get(), seventeen + 2, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n),
          xp_str_scan(empty.get(), seventeen, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n)},
         "-1 -1 0 1 9223372036854775807 16 -1");
}

}  // namespace
