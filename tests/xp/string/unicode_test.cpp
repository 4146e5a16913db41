// Order, validity, repair, case and normal forms against ICU and the Unicode character database.

#include "tests/xp/string/strings.h"
#include "xp/string/mapping.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <stdio.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <vector>

namespace {

constexpr char32_t last_point = 0x10FFFF;

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
  // The semicolon sends plain texts to the Unicode order, too.
  const std::string x = ";" + utf8(a), y = ";" + utf8(b);
  ASSERT_EQ(xp_str_txticmp(x.data(), bytes_in(x), y.data(), bytes_in(y)), sign(folded(a).compare(folded(b))))
      << x << " " << y;
  ASSERT_EQ(xp_str_txtcmp(x.data(), bytes_in(x), y.data(), bytes_in(y)), sign(a.compare(b)));
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
  for (int64_t at = 0; at < bytes_in(text);) {
    int64_t from = at;
    UChar32 point;
    U8_NEXT(text.data(), at, bytes_in(text), point);
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
    ASSERT_EQ(xp_str_txtvalid(block.get(), bytes_in(text)), fault);
    ASSERT_EQ(taken(xp_str_txtrepair(block.get(), bytes_in(text))), repaired);
  }
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

// The lines of a file of the database, packed or not, that have at least so many fields.
std::vector<std::vector<std::string>> rows_of(const std::string &file, size_t least) {
  std::vector<std::vector<std::string>> rows;
  std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(("bzip2 -dcf /usr/share/unicode/" + file).c_str(), "r"),
                                              pclose);
  for (char line[4096]; pipe && fgets(line, sizeof line, pipe.get()) != nullptr;) {
    if (auto row = fields(line, ';'); row.size() >= least) rows.push_back(row);
  }
  return rows;
}

// Upper and lower case of each code point that has one: the simple mappings, then the full ones that know no
// condition.
std::map<char32_t, std::u32string> mappings(size_t simple_field, size_t full_field) {
  std::map<char32_t, std::u32string> result;
  for (const auto &row : rows_of("UnicodeData.txt", simple_field + 1)) {
    if (!row[simple_field].empty()) result[points_of(row[0])[0]] = points_of(row[simple_field]);
  }
  for (const auto &row : rows_of("SpecialCasing.txt", 5)) {
    if (row[4] == " ") result[points_of(row[0])[0]] = points_of(row[full_field]);
  }
  return result;
}

// A line of its own for each code point, which keeps neighbours from having an influence.
TEST_F(unicode, case_of_every_code_point) {
  const struct {
    std::map<char32_t, std::u32string> mapped;
    xp_obj *(*transform)(xp_obj *);
  } rows[] = {{mappings(12, 3), xp_str_upper}, {mappings(13, 1), xp_str_lower}};
  for (const auto &[mapped, transform] : rows) {
    ASSERT_GT(mapped.size(), 1300u);
    std::string text, expected;
    for (char32_t point = 0; point <= last_point; ++point) {
      if (is_surrogate(point)) continue;
      auto found = mapped.find(point);
      text += utf8({point, U'\n'});
      expected += utf8((found != mapped.end() ? found->second : std::u32string{point}) + U'\n');
    }
    EXPECT_TRUE(taken(transform(str(text).get())) == expected);
  }
}

// Columns: the text, then its normal forms C, D, KC, KD. Of the five, forms C and D of the last two are those
// of KC and KD.
TEST_F(unicode, normal_forms_of_the_databases_test) {
  const auto rows = rows_of("NormalizationTest.txt.bz2", 5);
  EXPECT_GT(rows.size(), 18000u);
  for (const auto &row : rows) {
    for (size_t column = 0; column < 5; ++column) {
      xp::ref s = str(utf8(points_of(row[column])));
      for (size_t form = 0; form < 4; ++form) {
        const size_t same = column >= 3 && form < 2 ? form + 3 : form + 1;
        ASSERT_EQ(taken(xp_str_normalize(s.get(), static_cast<int32_t>(form))), utf8(points_of(row[same])))
            << "form " << form << " of " << row[column];
      }
    }
  }
}

TEST_F(unicode, other_forms_and_faulty_texts_stay) {
  const struct {
    std::string_view text;
    int32_t form;
    const char *expected;
  } rows[] = {{"e\u0301", 0, "\u00E9"},    {"e\u0301", -1, "(same)"}, {"e\u0301", 4, "(same)"},
              {"e\u0301", 7, "(same)"},    {"\u00E9", 0, "(same)"},   {"ascii", 1, "(same)"},
              {"e\u0301\x80", 0, "(same)"}};
  for (const auto &[text, form, expected] : rows) {
    xp::ref s = str(text);
    EXPECT_EQ(changed(s, xp_str_normalize(s.get(), form)), expected) << text << " " << form;
  }
  EXPECT_EQ(xp_str_normalize(nullptr, 0), nullptr);
}

}  // namespace
