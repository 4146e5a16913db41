// The string stage.

#include "print.h"
#include "tests/support/leak_check.h"

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
    // Case
    {"%S{:^}", "aZ\xC3\xA9[", "AZ\xC3\xA9["},
    {"%S{:_}", "aZ@[", "az@["},
    {"%S{:^_}", "aZ", "AZ"},
    // "+" goes before everything else, high bytes included
    {"%+S", "a b/c", "a%20b%2Fc"},
    {"%+S", "AZaz09-._~", "AZaz09-._~"},
    {"%+S{:~}", "\"\xC3\xA9\0"sv, "%22%C3%A9%00"},
    {"%+S{:^}", "a/", "A%2F"},
    // "~"
    {"%S{:~}", "a\tb\nc\rd\r\ne\n\rf", "a\\tb\\nc\\nd\\ne\\n\\nf"},
    {"%S{:~}", "\r", "\\n"},
    {"%S{:~}", "\"\\'/\x7F", "\\\"\\\\'/\x7F"},
    {"%S{:~}", "\0\x01\x1F !"sv, "    !"},
    {"%S{:~}", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
    {"%S{:~}", "\xC3\"", "?\\\""},
    {"%S{:~}", "\x80\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\xFF", "???????????"},
    {"%S{:~}", "a\xE2\x82", "a??"},
    {"%S{:~&@/<`'}", "\"&'", "<![CDATA[\\\"&']]>"},
    {"%S{:~^}", "a\n", "A\\n"},
    // "&"
    {"%S{:&}", "<a&b>", "%lt;a%amp;b%gt;"},
    {"%S{:&}", "\"'%\n\\", "%dquo;%#39;%\n\\"},
    {"%S{:&}",
     "\xC3\xA9\xC3\x80\xFF"
     "a\x80",
     "\xC3\xA9\xC3\x80%#255;a%#128;"},
    {"%S{:&@}", "<", "%lt;"},
    // "@" and "/"
    {"%S{:@}", "\"%&'<>a\n", "%22%25%26%27%3C%3Ea\n"},
    {"%S{:@}", "\xC3\xA9\xE9", "\xC3\xA9%#233;"},
    {"%S{:/}", "\"%&'<>\xC3\xA9\xE9/", "%22%25%26%27%3C%3E\xC3\xA9%E9/"},
    {"%S{:@/}", "\xE9", "%#233;"},
    // CDATA
    {"%S{:<}", "plain\n", "plain\n"},
    {"%S{:<}", "a&b", "<![CDATA[a&b]]>"},
    {"%S{:<}", "]]>]]>>]>", "<![CDATA[]] ]] >]>]]>"},
    {"%S{:<}", "", ""},
    {"%S{:<`}", "a\nb", "a b"},
    {"%S{:<`}", "a'\n", "<![CDATA[a'\n]]>"},
    // "`"
    {"%S{:`}", "it's\t\n\x01\"", "it`s\t  \""},
    {"%S{:`'}", "'", "`"},
    // Quotes
    {"%S{:'}", "it's \\ \"", "it\\'s \\\\ \""},
    {"%S{:''}", "it's", "it''s"},
    {"%S{:''}", "\\\"", "\\\""},
    {"%S{:'''}", "it's \\ \"", "it's \\\\ \\\""},
    {"%S{:''''}", "'\"", "'\\\""},
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

std::string literal_of(unsigned char c) {
  if (c == '\t') return "\\t";
  if (c == '\n' || c == '\r') return "\\n";
  if (c < 33) return " ";
  if (c == '"' || c == '\\') return {'\\', static_cast<char>(c)};
  return {c < 0x80 ? static_cast<char>(c) : '?'};
}

TEST_F(format_escape, every_byte_at_every_place_of_a_word) {
  for (int c = 0; c < 256; ++c) {
    for (size_t at = 0; at < 18; ++at) {
      std::string text(18, 'x');
      text[at] = static_cast<char>(c);
      std::string expected =
          text.substr(0, at) + literal_of(static_cast<unsigned char>(c)) + text.substr(at + 1);
      char buffer[32];
      xp_fmt_format(buffer, sizeof buffer, "%S{:~}", 18, text.data());
      ASSERT_EQ(buffer, expected) << "byte " << c << " at " << at;
    }
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

TEST_F(format_escape, numbers_know_only_the_case) {
  EXPECT_EQ(print("%x{:^}|%X{:_}|%#x{:^}|%e{:^}", 0xab, 0xAB, 0xab, 1.0), "AB|ab|0XAB|1.000000E+00");
  EXPECT_EQ(print("%+d{:+}|%+d|%+d{:~&@/}", 5, -5, 6), "+5|-5|+6") << "a sign is never encoded";
  EXPECT_EQ(print("%'lld{:$}|%,d|%'d", 1234567LL, 1234567, 1234567), "1234567|1234567|1234567");
}

}  // namespace
