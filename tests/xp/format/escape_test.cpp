// The string stage.

#include "print.h"
#include "tests/support/leak_check.h"

#include <ctype.h>
#include <stdio.h>
#include <string.h>

#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

class format_escape : public leak_check {};

TEST_F(format_escape, case_wraps_and_padding) {
  EXPECT_EQ(print("%s{:_}", "aZ@[\xC3\x89"), "az@[\xC3\x89");
  EXPECT_EQ(print("%s{:~&@/<`'}", "\"&'"), "<![CDATA[\\\"&']]>");
  // Padding counts what is printed; the precision counts what is read.
  EXPECT_EQ(print("%8s{:~}|%-8s{:~}|%.2s{:~}", "a\n", "a\n", "\"\"\""), "     a\\n|a\\n     |\\\"\\\"");
  EXPECT_EQ(print("%20s{:<}", "&"), "       <![CDATA[&]]>");
}

// --- The stage once more, byte by byte ---

std::string printed(const char *format, unsigned char c) {
  char text[8];
  snprintf(text, sizeof text, format, c);
  return text;
}

const std::map<char, std::string> entities = {
    {'"', "%dquo;"}, {'&', "%amp;"}, {'\'', "%#39;"}, {'<', "%lt;"}, {'>', "%gt;"}};

// What becomes of one byte that is no part of a sequence.
std::string model_byte(char option, const std::string &text, size_t at) {
  const char c = text[at];
  const auto byte = static_cast<unsigned char>(c);
  const std::string same(1, c);
  const bool control = byte < 32;
  const bool markup = std::string_view("\"%&'<>").find(c) != std::string_view::npos;
  const bool unreserved = isalnum(byte) != 0 || std::string_view("-._~").find(c) != std::string_view::npos;
  switch (option) {
    case '+': return unreserved ? same : printed("%%%02X", byte);
    case '~':
      if (byte >= 0x80) return "?";
      if (c == '\t') return "\\t";
      if (c == '\r' || c == '\n') return c == '\n' && at > 0 && text[at - 1] == '\r' ? "" : "\\n";
      return control ? " " : (c == '"' || c == '\\' ? "\\" + same : same);
    case '&':
      if (byte >= 0x80) return printed("%%#%u;", byte);
      return markup && c != '%' ? entities.at(c) : same;
    case '@': return byte >= 0x80 ? printed("%%#%u;", byte) : (markup ? printed("%%%02X", byte) : same);
    case '/': return byte >= 0x80 || markup ? printed("%%%02X", byte) : same;
    case '<': return c == '>' && at > 1 && text.compare(at - 2, 2, "]]") == 0 ? " " : same;
    case '`': return c == '\'' ? "`" : (control && c != '\t' ? " " : same);
    case '3': return c == '\\' || c == '"' ? "\\" + same : same;
    case '2': return c == '\'' ? "''" : same;
    case '1': return c == '\\' || c == '\'' ? "\\" + same : same;
    default: return same;
  }
}

// The pieces of the text that the stage makes: a full buffer ends it before the first that does not fit.
std::vector<std::string> model(char option, const std::string &text, bool upper) {
  const bool wrapped = option == '<' && text.find_first_of("\"%&'<>") != std::string::npos;
  if (option == '<' && !wrapped) option = '0';
  std::vector<std::string> result(wrapped ? 1 : 0, "<![CDATA[");
  for (size_t at = 0; at < text.size();) {
    const int32_t sequence = xp_str_sequence(text.data() + at, static_cast<int64_t>(text.size() - at));
    const auto bytes = static_cast<size_t>(option == '+' || sequence == 0 ? 1 : sequence);
    result.push_back(bytes > 1 ? text.substr(at, bytes) : model_byte(option, text, at));
    if (upper && result.back().size() == 1) result.back()[0] = static_cast<char>(toupper(result.back()[0]));
    at += bytes;
  }
  if (wrapped) result.emplace_back("]]>");
  return result;
}

TEST_F(format_escape, as_the_model) {
  constexpr uint64_t seed = 20261121;
  std::mt19937_64 random(seed);
  // Characters of two bytes behind an odd one: every block boundary of the copy falls into one of them.
  std::string accents = "x";
  for (int i = 0; i < 300; ++i)
    accents += "\xC3\xA9";
  const std::string_view bytes("\"%&'<>\\\t\n\r\x01\x1F \x7F\x80\xC0\xFF\0", 19);
  const std::string_view pieces[] = {accents,        "]]>",      "\r\n",    "\xC3\xA9",
                                     "\xE2\x82\xAC", "\xE2\x82", "\xED\xA0"};
  // The option that decides, two formats; the second maps the case too.
  const struct {
    char option;
    const char *format, *upper;
  } modes[] = {{'+', "%+S", "%+S{:^~}"},      {'~', "%S{:~&@/}", "%S{:~^_}"},  {'&', "%S{:&@/`}", "%S{:&^}"},
               {'@', "%S{:@/'}", "%S{:@^}"},  {'/', "%S{:/`}", "%S{:/^}"},     {'<', "%S{:<}", "%S{:<^}"},
               {'`', "%S{:`'''}", "%S{:`^}"}, {'3', "%S{:'''}", "%S{:''''^}"}, {'2', "%S{:''}", "%S{:''^}"},
               {'1', "%S{:'}", "%S{:'^}"},    {'0', "%S", "%S{:^_}"}};
  for (int round = 0; round < 6000; ++round) {
    std::string text;
    for (auto count = random() % 12; count > 0; --count) {
      switch (random() % 4) {
        case 0: text += pieces[random() % std::size(pieces)]; break;
        case 1: text += bytes[random() % bytes.size()]; break;
        default: text.append(random() % 24, static_cast<char>('b' + random() % 20));
      }
    }
    const auto &mode = modes[random() % std::size(modes)];
    const bool upper = random() % 3 == 0;
    const char *format = upper ? mode.upper : mode.format;
    const auto length = static_cast<int>(text.size());
    std::string buffer(1 + random() % (2 * text.size() + 2), '#'), beginning, whole;
    for (const std::string &piece : model(mode.option, text, upper)) {
      if (beginning.size() == whole.size() && whole.size() + piece.size() < buffer.size()) beginning += piece;
      whole += piece;
    }
    text += "\n\x80";  // behind the text, where nobody looks
    SCOPED_TRACE(testing::Message() << format << " of \"" << text << "\", seed " << seed);
    ASSERT_EQ(print(format, length, text.data()), whole);
    // Where a mode does not look at UTF-8, half a character may take what follows with it.
    if (strchr("+~&@/", mode.option) == nullptr && xp_str_txtvalid(text.data(), length) >= 0) continue;
    const int64_t written = xp_fmt_format(buffer.data(), std::ssize(buffer), format, length, text.data());
    ASSERT_EQ(buffer.substr(0, static_cast<size_t>(written)), beginning) << "in " << buffer.size();
  }
}

}  // namespace
