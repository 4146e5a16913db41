// Order, validity, repair, case and normal forms against ICU and the Unicode character database.

#include "tests/support/objects.h"
#include "xp/string/mapping.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <stdio.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <vector>

namespace {

constexpr char32_t last_point = 0x10FFFF;
const std::string data_folder = "/usr/share/unicode/";

using unicode = leak_check;

bool is_surrogate(char32_t point) {
  return point >= 0xD800 && point < 0xE000;
}

std::string utf8(const std::u32string &points) {
  std::string text;
  for (char32_t point : points) {
    char bytes[U8_MAX_LENGTH];
    int length = 0;
    U8_APPEND_UNSAFE(bytes, length, static_cast<UChar32>(point));
    text.append(bytes, static_cast<size_t>(length));
  }
  return text;
}

int64_t size(const std::string &text) {
  return static_cast<int64_t>(text.size());
}

// --- Order ---

std::u32string folded(std::u32string points) {
  for (char32_t &point : points)
    point = static_cast<char32_t>(u_foldCase(static_cast<UChar32>(point), U_FOLD_CASE_DEFAULT));
  return points;
}

int sign(int order) {
  return (order > 0) - (order < 0);
}

void expect_order(const std::u32string &a, const std::u32string &b) {
  std::string x = utf8(a), y = utf8(b);
  // The semicolon sends plain texts to the Unicode order, too.
  ASSERT_EQ(xp_str_txticmp((";" + x).data(), size(x) + 1, (";" + y).data(), size(y) + 1),
            sign(folded(a).compare(folded(b))))
      << x << " " << y;
  ASSERT_EQ(xp_str_txtcmp((";" + x).data(), size(x) + 1, (";" + y).data(), size(y) + 1), sign(a.compare(b)));
}

TEST_F(unicode, order_of_sampled_texts) {
  for (unsigned seed = 1; seed <= 20000; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    std::u32string a;
    for (size_t length = random() % 20; a.size() < length;) {
      uint64_t plane = random() % 2 ? random() % 17 << 16 : 0;
      uint64_t point = random() % 2 ? random() % 0x600 : plane + random() % 0x10000;
      if (!is_surrogate(static_cast<char32_t>(point))) a += static_cast<char32_t>(point);
    }
    std::u32string b = a;
    for (char32_t &point : b) {
      if (random() % 2) point = static_cast<char32_t>(u_toupper(static_cast<UChar32>(point)));
      if (random() % 16 == 0 && point < 0xD000) point += 1;
    }
    if (random() % 4 == 0) b.resize(random() % (b.size() + 1));
    expect_order(a, b);
    expect_order(b, a);
  }
}

// --- Validity and repair ---

// The macro narrows to bytes on purpose, which the compiler cannot see.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"

// The platform's reading: the offset of the first fault, or -1, and the repaired text.
std::pair<int64_t, std::string> read_utf8(const std::string &text) {
  std::pair<int64_t, std::string> result{-1, {}};
  for (int64_t at = 0; at < size(text);) {
    int64_t from = at;
    UChar32 point;
    U8_NEXT(text.data(), at, size(text), point);
    if (point < 0 && result.first < 0) result.first = from;
    result.second += utf8({point < 0 ? U'\uFFFD' : static_cast<char32_t>(point)});
  }
  return result;
}

#pragma GCC diagnostic pop

TEST_F(unicode, validity_and_repair_of_sampled_bytes) {
  // The bytes at which the rules change.
  const unsigned char edges[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xEC, 0xED, 0xEE,
                                 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFF};
  const std::u32string points = U"a\u0080\u07FF\u0800\uD7FF\uE000\uFFFF\U00010000\U0010FFFFz";
  for (unsigned seed = 1; seed <= 40000; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    std::string text(random() % 100, 'x');
    for (size_t length = random() % 60; length > 0; --length)
      text += utf8({points[random() % points.size()]});
    if (random() % 2) text.append(random() % 300, 'y');
    for (size_t faults = random() % 4; faults > 0 && !text.empty(); --faults)
      text[random() % text.size()] = static_cast<char>(edges[random() % sizeof edges]);
    if (random() % 4 == 0) text.resize(random() % (text.size() + 1));
    // A block of just this size, so that a sanitizer sees a byte read beyond it.
    std::unique_ptr<char[]> block(new char[text.size()]);
    std::copy(text.begin(), text.end(), block.get());
    auto [fault, repaired] = read_utf8(text);
    ASSERT_EQ(xp_str_txtvalid(block.get(), size(text)), fault);
    ASSERT_EQ(taken(xp_str_txtrepair(block.get(), size(text))), repaired);
  }
}

TEST_F(unicode, repair_keeps_what_is_well_formed) {
  xp::ref good = str("a\xC3\xA9");
  EXPECT_EQ(xp::ref::adopt(xp_str_repair(good.get())).get(), good.get());
  expect({xp_str_repair(str("\xE2\x82:").get()), xp_str_strrepair("\xF0\x80\x80"),
          xp_str_txtrepair(nullptr, 3), xp_str_repair(nullptr)},
         utf8(U"\uFFFD: \uFFFD\uFFFD\uFFFD  null"));
  expect({xp_str_strvalid("a\xE2\x82"), xp_str_strvalid("a\xC3\xA9")}, "1 -1");
}

// --- The character database ---

std::vector<std::string> fields(const std::string &line, char mark) {
  std::vector<std::string> result;
  std::istringstream rest(line.substr(0, line.find('#')));
  for (std::string field; std::getline(rest, field, mark);)
    result.push_back(field);
  return result;
}

std::u32string points_of(const std::string &field) {
  std::u32string result;
  for (const std::string &word : fields(field, ' ')) {
    if (!word.empty()) result += static_cast<char32_t>(std::stoul(word, nullptr, 16));
  }
  return result;
}

// Upper and lower case of each code point that has one: the simple mappings, then the full ones that know no
// condition.
std::map<char32_t, std::u32string> mappings(size_t simple_field, size_t full_field) {
  std::map<char32_t, std::u32string> result;
  std::ifstream simple(data_folder + "UnicodeData.txt"), full(data_folder + "SpecialCasing.txt");
  for (std::string line; std::getline(simple, line);) {
    std::vector<std::string> row = fields(line, ';');
    if (row.size() > simple_field && !row[simple_field].empty())
      result[points_of(row[0])[0]] = points_of(row[simple_field]);
  }
  for (std::string line; std::getline(full, line);) {
    std::vector<std::string> row = fields(line, ';');
    if (row.size() == 5 && row[4] == " ") result[points_of(row[0])[0]] = points_of(row[full_field]);
  }
  return result;
}

// A line of its own for each code point of a plane but those of `skipped`, and what becomes of it. The line
// break keeps neighbours from having an influence.
template <typename Skipped>
std::pair<std::string, std::string> plane(char32_t first, const std::map<char32_t, std::u32string> &mapped,
                                          const Skipped &skipped) {
  std::pair<std::string, std::string> result;
  for (char32_t point = first; point < first + 0x10000; ++point) {
    if (is_surrogate(point) || skipped.contains(point)) continue;
    auto found = mapped.find(point);
    result.first += utf8({point, U'\n'});
    result.second += utf8((found != mapped.end() ? found->second : std::u32string{point}) + U'\n');
  }
  return result;
}

TEST_F(unicode, case_of_every_code_point) {
  const auto uppers = mappings(12, 3), lowers = mappings(13, 1);
  ASSERT_GT(std::min(uppers.size(), lowers.size()), 1300u);
  for (char32_t first = 0; first < last_point; first += 0x10000) {
    auto [text, upper] = plane(first, uppers, std::set<char32_t>());
    auto [same, lower] = plane(first, lowers, std::set<char32_t>());
    EXPECT_TRUE(taken(xp_str_upper(str(text).get())) == upper) << "plane " << first / 0x10000;
    EXPECT_TRUE(taken(xp_str_lower(str(text).get())) == lower) << "plane " << first / 0x10000;
  }
}

TEST_F(unicode, case_mapping_gives_the_string_itself_when_it_stays) {
  for (const std::string &text : {std::string("ABC 1"), utf8(U"\u00C9\u4E2D"), std::string("a\x80")}) {
    xp::ref s = str(text);
    EXPECT_EQ(xp::ref::adopt(xp_str_upper(s.get())).get(), s.get()) << text;
  }
  expect({xp_str_upper(str("aZ@[`{z").get()), xp_str_lower(str("aZ@[`{z").get()),
          xp_str_lower(str(utf8(U"\u0391\u03A3 \u03A3")).get()), xp_str_upper(nullptr)},
         "AZ@[`{Z az@[`{z " + utf8(U"\u03B1\u03C2 \u03C3 null"));
  // At the size of the buffer on the stack and one past it.
  for (size_t length : {510u, 511u, 600u})
    EXPECT_EQ(taken(xp_str_upper(str(std::string(length, 'a') + "\xC3\xA9").get())),
              std::string(length, 'A') + "\xC3\x89");
}

void expect_form(const std::string &text, int32_t form, const std::string &expected) {
  ASSERT_EQ(taken(xp_str_normalize(str(text).get(), form)), expected) << "form " << form << " of " << text;
}

TEST_F(unicode, normalization_test) {
  std::unique_ptr<FILE, int (*)(FILE *)> pipe(
      popen(("bzip2 -dc " + data_folder + "NormalizationTest.txt.bz2").c_str(), "r"), pclose);
  ASSERT_TRUE(pipe);
  std::set<char32_t> listed;  // in part 1: every other code point stays as it is
  bool part1 = false;
  int rows = 0;
  for (char line[4096]; fgets(line, sizeof line, pipe.get()) != nullptr;) {
    if (line[0] == '@') part1 = std::string(line).starts_with("@Part1");
    std::vector<std::string> row = fields(line, ';');
    if (row.size() < 5) continue;
    ++rows;
    if (part1) listed.insert(points_of(row[0])[0]);
    std::string c[5];
    std::transform(row.begin(), row.begin() + 5, c, [](const auto &field) { return utf8(points_of(field)); });
    for (int i = 0; i < 5; ++i) {
      expect_form(c[i], 0, i < 3 ? c[1] : c[3]);
      expect_form(c[i], 1, i < 3 ? c[2] : c[4]);
      expect_form(c[i], 2, c[3]);
      expect_form(c[i], 3, c[4]);
    }
  }
  EXPECT_GT(rows, 18000);
  for (char32_t first = 0; first < last_point; first += 0x10000) {
    xp::ref s = str(plane(first, {}, listed).first);
    for (int32_t form = 0; form < 4; ++form)
      EXPECT_EQ(xp::ref::adopt(xp_str_normalize(s.get(), form)).get(), s.get())
          << "plane " << first / 0x10000;
  }
}

TEST_F(unicode, other_forms_and_faulty_texts_stay) {
  for (std::string_view text : {"e\xCC\x81", "e\xCC\x81\x80"}) {
    xp::ref s = str(text);
    for (int32_t form : {-1, text.size() > 3 ? 0 : 4, 7})
      EXPECT_EQ(xp::ref::adopt(xp_str_normalize(s.get(), form)).get(), s.get());
  }
  EXPECT_EQ(xp_str_normalize(nullptr, 0), nullptr);
}

}  // namespace
