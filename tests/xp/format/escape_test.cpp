// The string stage.

#include "print.h"
#include "tests/support/leak_check.h"

#include <ctype.h>
#include <stdio.h>

#include <random>
#include <string_view>

namespace {

using namespace std::string_view_literals;

class format_escape : public leak_check {};

struct row {
  const char *format;
  std::string_view text, expected;
};

// All the formats take a length and a text.
const row rows[] = {
    {"%S{:^_}", "aZ@[\xC3\xA9", "AZ@[\xC3\xA9"},
    {"%S{:_}", "aZ@[", "az@["},
    {"%+S", "a b/c", "a%20b%2Fc"},
    {"%+S{:~}", "\"\xC3\xA9\0"sv, "%22%C3%A9%00"},
    {"%S{:~}", "a\tb\nc\rd\r\ne\n\rf\0"sv, "a\\tb\\nc\\nd\\ne\\n\\nf "},
    {"%S{:~}", "\xC3\"", "?\\\""},
    {"%S{:~}", "\x80\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\xFF", "???????????"},
    {"%S{:~&@/<`'}", "\"&'", "<![CDATA[\\\"&']]>"},
    {"%S{:&}", "<a&b>", "%lt;a%amp;b%gt;"},
    {"%S{:<}", "]]>]]>>]>", "<![CDATA[]] ]] >]>]]>"},
    {"%S{:<`}", "a\nb", "a b"},
    {"%S{:<`}", "a'\n", "<![CDATA[a'\n]]>"},
    {"%S{:''}", "it's", "it''s"},
    // Padding counts what is printed; the precision counts what is read
    {"%8S{:~}|", "a\n", "     a\\n|"},
    {"%-8S{:~}|", "a\n", "a\\n     |"},
    {"%.2S{:~}", "\"\"\"", "\\\"\\\""},
    {"%20S{:<}", "&", "       <![CDATA[&]]>"},
};

TEST_F(format_escape, table) {
  for (const row &r : rows) {
    SCOPED_TRACE(std::string(r.format) + " of " + std::string(r.text));
    EXPECT_EQ(print(r.format, static_cast<int>(r.text.size()), r.text.data()), r.expected);
  }
}

TEST_F(format_escape, escapes_are_not_cut) {
  struct cut {
    const char *format;
    const char *text;
    int64_t size;
    const char *expected;
  };
  const cut cuts[] = {
      {"%s{:~}", "ab\n", 4, "ab"},
      {"%s{:~}", "ab\n", 5, "ab\\n"},
      {"%s{:&}", "a<", 5, "a"},
      {"%s{:&}", "a<", 6, "a%lt;"},
      {"%+s", "a/", 4, "a"},
      {"%+s", "a/", 5, "a%2F"},
      {"%s{:''}", "a'", 3, "a"},
      {"%s{:''}", "a'", 4, "a''"},
      {"%s{:<}", "&", 10, "<![CDATA["},
      {"%s{:<}", "&", 9, ""},
      {"%s{:<}", "&", 13, "<![CDATA[&"},
      {"%s{:<}", "&", 14, "<![CDATA[&]]>"},
      {"%s{:@}", "\xFF", 6, ""},
      {"%s{:@}", "\xFF", 7, "%#255;"},
      {"%s{:^}", "a\xC3\xA9", 3, "A"},
      {"%s{:~}", "a\xC3\xA9", 3, "a"},
  };
  for (const cut &c : cuts) {
    char buffer[32];
    SCOPED_TRACE(testing::Message() << c.format << " in " << c.size);
    EXPECT_EQ(xp_fmt_format(buffer, c.size, c.format, c.text), static_cast<int64_t>(strlen(c.expected)));
    EXPECT_STREQ(buffer, c.expected);
  }
}

// --- The stage once more, byte by byte ---

std::string percent(unsigned char c) {
  char text[4];
  snprintf(text, sizeof text, "%%%02X", c);
  return text;
}

std::string entity(unsigned char c) {
  switch (c) {
    case '"': return "%dquo;";
    case '&': return "%amp;";
    case '\'': return "%#39;";
    case '<': return "%lt;";
    case '>': return "%gt;";
    default: return c < 0x80 ? std::string(1, static_cast<char>(c)) : "%#" + std::to_string(c) + ";";
  }
}

// What becomes of one byte that is no part of a sequence.
std::string model_byte(char option, const std::string &text, size_t at) {
  const char c = text[at];
  const auto byte = static_cast<unsigned char>(c);
  const std::string same(1, c);
  const bool control = byte < 32;
  const bool markup = std::string_view("\"%&'<>").find(c) != std::string_view::npos;
  const bool unreserved = isalnum(byte) != 0 || std::string_view("-._~").find(c) != std::string_view::npos;
  switch (option) {
    case '+': return unreserved ? same : percent(byte);
    case '~':
      if (byte >= 0x80) return "?";
      if (c == '\t') return "\\t";
      if (c == '\r' || c == '\n') return c == '\n' && at > 0 && text[at - 1] == '\r' ? "" : "\\n";
      return control ? " " : (c == '"' || c == '\\' ? "\\" + same : same);
    case '&': return entity(byte);
    case '@': return byte >= 0x80 ? entity(byte) : (markup ? percent(byte) : same);
    case '/': return byte >= 0x80 || markup ? percent(byte) : same;
    case '<': return c == '>' && at > 1 && text.compare(at - 2, 2, "]]") == 0 ? " " : same;
    case '`': return c == '\'' ? "`" : (control && c != '\t' ? " " : same);
    case '3': return c == '\\' || c == '"' ? "\\" + same : same;
    case '2': return c == '\'' ? "''" : same;
    case '1': return c == '\\' || c == '\'' ? "\\" + same : same;
    default: return same;
  }
}

std::string model(char option, const std::string &text, bool upper) {
  const bool checked = std::string_view("~&@/").find(option) != std::string_view::npos;
  std::string result;
  for (size_t at = 0; at < text.size();) {
    const auto left = static_cast<int64_t>(text.size() - at);
    const auto whole = checked ? static_cast<size_t>(xp_str_sequence(text.data() + at, left)) : 0;
    std::string piece = whole > 1 ? text.substr(at, whole) : model_byte(option, text, at);
    if (upper && piece.size() == 1) piece[0] = static_cast<char>(toupper(piece[0]));
    result += piece;
    at += whole > 1 ? whole : 1;
  }
  if (option != '<') return result;
  return text.find_first_of("\"%&'<>") == std::string::npos ? text : "<![CDATA[" + result + "]]>";
}

TEST_F(format_escape, as_the_model) {
  constexpr uint64_t seed = 20261121;
  std::mt19937_64 random(seed);
  constexpr std::string_view pieces[] = {
      "\"",   "%",    "&",    "'", "<",    ">",        "]]>",          "\\",       "\t",   "\n",  "\r",
      "\r\n", "\x01", "\x1F", " ", "\x7F", "\xC3\xA9", "\xE2\x82\xAC", "\xE2\x82", "\x80", "\xFF"};
  // The option that decides, two formats; the second maps the case too.
  const struct {
    char option;
    const char *format, *upper;
  } modes[] = {{'+', "%+S", "%+S{:^~}"},      {'~', "%S{:~&@/}", "%S{:~^}"},
               {'&', "%S{:&@/`}", "%S{:&^}"}, {'@', "%S{:@/'}", "%S{:@^}"},
               {'/', "%S{:/`}", "%S{:/^}"},   {'<', "%S{:<}", nullptr},
               {'`', "%S{:`'''}", "%S{:`^}"}, {'3', "%S{:'''}", "%S{:''''^}"},
               {'2', "%S{:''}", "%S{:''^}"},  {'1', "%S{:'}", "%S{:'^}"},
               {'0', "%S", "%S{:^}"}};
  for (int round = 0; round < 4000; ++round) {
    std::string text;
    for (auto count = random() % 12; count > 0; --count) {
      if (random() % 2 == 0) {
        text += pieces[random() % std::size(pieces)];
      } else {
        text.append(random() % 24, static_cast<char>('b' + random() % 20));
      }
    }
    const auto &mode = modes[random() % std::size(modes)];
    const bool upper = mode.upper != nullptr && random() % 3 == 0;
    ASSERT_EQ(print(upper ? mode.upper : mode.format, static_cast<int>(text.size()), text.data()),
              model(mode.option, text, upper))
        << mode.option << " of \"" << text << "\", seed " << seed << ", round " << round;
  }
}

TEST_F(format_escape, long_texts_in_blocks) {
  // Characters of two bytes at odd places: every block boundary of the copy falls into one.
  std::string text = "x";
  for (int i = 0; i < 2000; ++i)
    text += "\xC3\xA9";
  EXPECT_EQ(print("%s{:^~}", text.c_str()), "X" + text.substr(1));
  EXPECT_EQ(print("%s{:~}", text.c_str()), text);
}

}  // namespace
