// Cutting, copying, walking, joining, replacing and scanning.

#include "xp/string/edit.h"

#include "tests/support/objects.h"
#include "xp/service/traversal.h"
#include "xp/string/parts.h"
#include "xp/string/scan.h"

#include <algorithm>
#include <random>
#include <vector>

namespace {

using namespace std::string_view_literals;

using string_edit = leak_check;

// The text of a new reference; "(same)" for the string it was made from.
std::string text_unless(xp_obj *obj, const xp::ref &source) {
  xp::ref s = xp::ref::adopt(obj);
  return s.get() == source.get() ? "(same)" : text_of(s.get());
}

TEST_F(string_edit, substr) {
  xp::ref s = str("abcd");
  struct {
    int64_t from, count;
    const char *expected;
  } rows[] = {{1, 2, "bc"}, {0, 4, "(same)"}, {0, -1, "(same)"}, {-3, 2, "ab"},         {2, 99, "cd"},
              {3, 1, "d"},  {4, 1, ""},       {9, -1, ""},       {1, INT64_MAX, "bcd"}, {1, 0, ""}};
  for (const auto &r : rows)
    EXPECT_EQ(text_unless(xp_str_substr(s.get(), r.from, r.count), s), r.expected)
        << r.from << " " << r.count;
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
  expect({next("", "")}, "null@25");
  expect({xp_str_extract(s.get(), "<a>", "</A>", XP_FIND_EXACT, nullptr),
          text_unless(xp_str_extract(s.get(), nullptr, nullptr, 0, nullptr), s),
          xp_str_extract(s.get(), nullptr, ">", 0, nullptr)},
         " (same) <A");
}

TEST_F(string_edit, bytes_and_characters) {
  xp::ref s = str("a\xC3\xA9\xE2\x82\0z\xF0\x9F"sv);
  struct {
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
  EXPECT_EQ(xp_str_pget(str(std::string(256, 'x')).get(), big, sizeof big), 255);
  EXPECT_EQ(big[255], 'x');
  EXPECT_EQ(big[256], 0);
  EXPECT_EQ(xp_str_cget(nullptr, big, 1), 0);
}

std::vector<std::string> walk(xp_obj *t, xp_obj *(*step)(xp_obj *)) {
  std::vector<std::string> parts;
  for (xp_trav_reset(t); xp_obj *part = step(t);)
    parts.push_back(taken(part));
  return parts;
}

TEST_F(string_edit, walks_the_parts_in_both_directions) {
  using parts = std::vector<std::string>;
  struct {
    std::string_view text, separator;
    parts expected;
  } rows[] = {{"", ",", {}},
              {"a", ",", {"a"}},
              {",", ",", {"", ""}},
              {"a,,b", ",", {"a", "", "b"}},
              {",a,", ",", {"", "a", ""}},
              {"a, b,c", ", ", {"a", "b,c"}},
              {"a\0b"sv, "\0"sv, {"a", "b"}},
              {"", "", {}},
              {"a\xC3\xA9\xE2\x82\xAC\xC3\xF0\x9F\x98\x80\x80",
               "",
               {"a", "\xC3\xA9", "\xE2\x82\xAC", "\xC3", "\xF0\x9F\x98\x80", "\x80"}}};
  for (auto &r : rows) {
    SCOPED_TRACE(r.text);
    xp::ref t = xp::ref::adopt(
        xp_str_travnew(str(r.text).get(), r.separator.data(), static_cast<int64_t>(r.separator.size())));
    EXPECT_EQ(walk(t.get(), xp_trav_next), r.expected);
    EXPECT_EQ(xp_trav_next(t.get()), nullptr) << "one that has ended stays ended";
    EXPECT_EQ(xp_control(t.get(), XP_CTL_TRAVERSE, XP_TRAV_COUNT, nullptr),
              static_cast<int64_t>(r.expected.size()));
    std::reverse(r.expected.begin(), r.expected.end());
    EXPECT_EQ(walk(t.get(), xp_trav_prev), r.expected);
  }
  xp::ref t = xp::ref::adopt(xp_str_travnew(str("a,b,c").get(), ",", -1));
  expect({xp_trav_next(t.get()), xp_trav_next(t.get()), xp_trav_count(t.get()), xp_trav_prev(t.get()),
          xp_trav_prev(t.get())},
         "a b 3 a null");
}

TEST_F(string_edit, join) {
  expect({xp_str_join("/", "a", "", "b", nullptr), xp_str_join(nullptr, "a", "b", nullptr),
          xp_str_join("/", "a", nullptr), xp_str_join("/", nullptr)},
         "a//b ab a ");
}

TEST_F(string_edit, replace) {
  struct {
    const char *text, *from, *to;
    uint32_t flags;
    const char *expected;
  } rows[] = {{"aXbxc", "x", "--", 0, "a--b--c"}, {"aXbxc", "x", "--", XP_FIND_EXACT, "aXb--c"},
              {"aaa", "aa", "a", 0, "aa"},        {"abab", "AB", nullptr, 0, ""},
              {"abc", "x", "y", 0, "(same)"},     {"abc", "", "y", 0, "(same)"},
              {"ab", "b", "bb", 7, "abb"},        {"ab", "a", "a", XP_FIND_EXACT, "ab"}};
  for (const auto &r : rows) {
    xp::ref s = str(r.text);
    EXPECT_EQ(text_unless(xp_str_replace(s.get(), r.from, -1, r.to, -1, r.flags), s), r.expected) << r.text;
  }
  EXPECT_EQ(xp_str_replace(nullptr, "a", 1, "b", 1, 0), nullptr);
}

// What the walk parts, replacing does again in one step.
TEST_F(string_edit, replacing_separators_is_joining_the_parts_anew) {
  constexpr unsigned seed = 7;
  std::mt19937 random(seed);
  for (int round = 0; round < 2000; ++round) {
    std::string text(1 + random() % 60, 0);
    for (char &c : text)
      c = "ab;:"[random() % 4];
    const std::string separator = random() % 2 == 0 ? ";" : ";:";
    xp::ref s = str(text);
    xp::ref t = xp::ref::adopt(xp_str_travnew(s.get(), separator.data(), -1));
    std::string joined;
    for (const std::string &part : walk(t.get(), xp_trav_next))
      joined += part + "<>";
    joined.resize(joined.size() - 2);
    xp::ref replaced = xp::ref::adopt(xp_str_replace(s.get(), separator.data(), -1, "<>", 2, XP_FIND_EXACT));
    ASSERT_EQ(text_of(replaced.get()), joined) << "seed " << seed << " round " << round;
  }
}

TEST_F(string_edit, clean) {
  struct {
    std::string_view text, expected;
  } rows[] = {{"a\tb c\x7F", "(same)"},
              {"a\nb\x01\x1F", "a b  "},
              {"", "(same)"},
              {"\n\0\n"sv, " \0\n"sv},
              {"a\0\n"sv, "(same)"}};
  for (const auto &r : rows) {
    xp::ref s = str(r.text);
    EXPECT_EQ(text_unless(xp_str_clean(s.get()), s), r.expected);
  }
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
  EXPECT_EQ(xp_str_scan(str("a b c").get(), "%s %s %*d", &word, &word), -1);
  int64_t n[17] = {};
  const std::string sixteen = "%n%n%n%n%n%n%n%n%n%n%n%n%n%n%n%n";
  EXPECT_EQ(xp_str_scan(str("").get(), sixteen.c_str(), n, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n), 16);
  EXPECT_EQ(
      xp_str_scan(str("").get(), (sixteen + "%n").c_str(), n, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n),
      -1);
  EXPECT_EQ(xp_str_scan(nullptr, ""), -1);
  EXPECT_EQ(xp_str_scan(str("").get(), ""), 0);
  EXPECT_EQ(xp_str_scan(str("9223372036854775807").get(), "%d", n), 1);
  EXPECT_EQ(n[0], INT64_MAX);
}

}  // namespace
