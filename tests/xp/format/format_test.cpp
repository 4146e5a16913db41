// Directives, arguments and the entry points.

#include "xp/format/format.h"

#include "print.h"
#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "xp/object/boolean.h"
#include "xp/service/data.h"

#include <limits.h>

#include <algorithm>
#include <string_view>

namespace {

class format : public leak_check {};

TEST_F(format, text_characters_and_codes) {
  EXPECT_EQ(print("100%% of %s%", "it"), "100% of it");
  EXPECT_EQ(print("%s|%5s|%-5s|%.2s|%05s|%.s|%.0s", "abc", "abc", "abc", "abc", "abc", "abc", "abc"),
            "abc|  abc|abc  |ab|  abc||");
  EXPECT_EQ(print("%s|%3s|%-3s|", nullptr, nullptr, nullptr), "|   |   |");
  EXPECT_EQ(print("%.*s|%.*s|%*s|%*s|", 2, "abc", -2, "abc", 5, "abc", -5, "abc"), "ab|abc|  abc|abc  |");
  EXPECT_EQ(print("%c%c%c|%3c|", 'a', 0, 'b', 'c'), "ab|  c|");
  EXPECT_EQ(print("%T|%T|%T|%d{T}|%6T", xp_code("dict"), 0, xp_code("ab"), xp_code("list"), xp_code("wxyz")),
            "dict||ab|list|  wxyz");
  EXPECT_EQ(print("%S|%S|%S|%p{S}", 2, "abc", 0, "abc", -1, "abc", 3, "abc"), "ab|||abc");
  EXPECT_EQ(print("%P|%p{P}|%P", "\3abcd", "\0abc", nullptr), "abc||");
  // A text that the precision limits has no zero byte behind it.
  const char bare[] = {'a', 'b'};
  EXPECT_EQ(print("%.2s", bare), "ab");
}

TEST_F(format, precision_never_cuts_a_character) {
  const char *text = "a\xC3\xA9\xE2\x82\xAC";
  const std::string_view expected[] = {"", "a", "a", "a\xC3\xA9", "a\xC3\xA9", "a\xC3\xA9", text, text};
  for (int precision = 0; precision < 8; ++precision) {
    EXPECT_EQ(print("%.*s", precision, text), expected[precision]) << precision;
    EXPECT_EQ(print("%.*S", precision, 6, text), expected[precision]) << precision;
    EXPECT_EQ(print("%.*ls", precision, u"a\u00e9\u20ac"), expected[precision]) << precision;
  }
}

TEST_F(format, wide_text) {
  EXPECT_EQ(print("%ls|%5ls|%ls", u"a\u00e9\u20ac\U0001F600", u"\u00e9", nullptr),
            "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80|   \xC3\xA9|");
  EXPECT_EQ(print("%lS|%lc|%lc|", 1, u"\u00e9xyz", 0x20AC, 0), "\xC3\xA9|\xE2\x82\xAC||");
  const char16_t lone[] = {0xD800, '|', 0xDC00, 0xDC00, 0xD83D, 0};
  EXPECT_EQ(print("%ls", lone), "\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(print("%ls{:^}", u"\u00e9z\n"), "\xC3\xA9Z\n");
  EXPECT_EQ(print("%ls", std::u16string(1000, u'\u20ac').c_str()).size(), 3000u);
}

TEST_F(format, pointers_and_objects) {
  void *const beef = reinterpret_cast<void *>(0xBEEF);
  EXPECT_EQ(print("%p|%10p|%010p|%p{q}|%p|%6p|%-6p|%.0p", beef, beef, beef, beef, nullptr, nullptr, nullptr,
                  nullptr),
            "0xbeef|    0xbeef|0x0000beef|0xbeef|0|     0|0     |0");
  const xp::ref s = str("a\"\xC3\xA9"), n = num(-75), b = xp::ref::adopt(xp_boolean_new(1));
  EXPECT_EQ(print("%O|%p{O}|%O|%O|%O", s.get(), s.get(), n.get(), b.get(), nullptr),
            "a\"\xC3\xA9|a\"\xC3\xA9|-75|true|");
  EXPECT_EQ(print("%p{O:~}|%p{O:~^}|%6O|%-6O|%.1O", s.get(), s.get(), n.get(), n.get(), n.get()),
            "a\\\"\xC3\xA9|A\\\"\xC3\xA9|   -75|-75   |-");
  EXPECT_EQ(print("%O{:^}|%5O{:^}|%+O|%O{::none}|%O{::none}", b.get(), b.get(), s.get(), nullptr, b.get()),
            "true| true|a%22%C3%A9|none|true");
  // Bytes that are no text of the object show where escapes or "-" ask for what it points to.
  const xp::ref d = xp::ref::adopt(xp_data_new("ab", 2)), large = str(std::string(3000, 'x'));
  EXPECT_EQ(print("%O|%4O|%-4O|%O{:~}", d.get(), d.get(), d.get(), d.get()), "|    |ab  |ab");
  EXPECT_EQ(print("<%O%O{:~}%3001O", large.get(), large.get(), large.get()).size(), 9002u);
}

TEST_F(format, bytes) {
  const unsigned char bytes[] = {0x00, 0xAB, 0xFF, 0xFE, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 0xF0};
  EXPECT_EQ(print("%H|%h|% H|%+ H|%H|%h", 3, bytes, 3, bytes, 3, bytes, 2, bytes, 0, bytes, -1, bytes),
            "00ABFF|00abff|00 AB FF|00AB||");
  EXPECT_EQ(print("%.*p{H}|%.2p{h}|%p{H}|%.*p{H}|%.*p{h}|", 2, bytes, bytes, bytes, -3, bytes, 4, nullptr),
            "00AB|00ab||||");
  EXPECT_EQ(print("%8H|%-8H|%H{:_}|%H", 2, bytes, 2, bytes, 2, bytes, 5, nullptr), "    00AB|00AB    |00ab|");
  EXPECT_EQ(
      print("%.*p{B}|%.*p{b}|%.4p{B}|%.*p{B}|%+.4p{B}", 3, bytes + 1, 4, bytes, bytes, -1, bytes, bytes),
      "q//+|AKv__g|AKv//g==||AKv%2F%2Fg%3D%3D");
  // Longer than the pieces that they are made in.
  const std::string many(399, 'a');
  std::string dump, base64;
  while (base64.size() < 4 * 133)
    dump += "616161", base64 += "YWFh";
  EXPECT_EQ(print("%.399p{H}|%.399p{B}", many.c_str(), many.c_str()), dump + "|" + base64);
  EXPECT_EQ(print("%p{U}|%p{U}|", bytes, nullptr), "00abfffe-0405-0607-0809-0a0b0c0d0ef0||");
}

TEST_F(format, braces_only_in_their_shapes) {
  EXPECT_EQ(print("%d{d|%d{}|%d{ab}|%d{", 1, 2, 3, 4), "1{d|2{}|3{ab}|4{");
  EXPECT_EQ(print("%d{x}|%d{:}|%d{::}|%d{x:?:p}|%s{^}|%s{:^~", 1, 2, 3, 4, "a", "b"), "1|2|3|4|a|b{:^~");
  EXPECT_EQ(print("%%{:^}|%s{:^:a:b}|%s {:^}", "x", "y"), "%{:^}|X|y {:^}");
}

TEST_F(format, unknown_conversions_print_themselves_and_skip_one_argument) {
  int untouched = 5;
  EXPECT_EQ(print("%n|%d", &untouched, 1), "n|1");
  EXPECT_EQ(untouched, 5);
  EXPECT_EQ(print("%a|%A|%k|%L|%I|%Id|%d", 1.5, 2.5, 3, 4, 5, 6, 7), "a|A|k|L|I|Id|7");
}

TEST_F(format, numbered_arguments) {
  EXPECT_EQ(print("%2$s %1$s", "a", "b"), "b a");
  EXPECT_EQ(print("%3$d %1$s %s %d", "a", "b", 7), "7 a b 7") << "unnumbered ones go on behind";
  EXPECT_EQ(print("%d %s %1$d", 5, "x"), "5 x 5");
  // Types of skipped arguments are learnt from the rest of the format.
  EXPECT_EQ(print("%3$s %2$.1f %1$lld %1$d", 1LL << 40 | 5, 2.5, "z"), "z 2.5 1099511627781 5");
  EXPECT_EQ(print("%2$*d|%1$s", "a", 4, 7), "   7|a") << "the width comes first";
  EXPECT_EQ(print("%4$d", 1, 2, 3, 4), "4");
  EXPECT_EQ(print("%33$d|%99999999999$s|%0$d", 8), "0||0") << "beyond every table";
}

TEST_F(format, widths_saturate) {
  const std::string_view huge = "%99999999999s";
  expect({xp_fmt_format(nullptr, 0, huge.data(), "x"), xp_fmt_format(nullptr, 0, "%*s", INT_MIN, "x"),
          xp_fmt_format(nullptr, 0, "%.99999999999d", -1), xp_fmt_format(nullptr, 0, "%.*f", INT_MAX, 1.5),
          xp_fmt_format(nullptr, 0, "%.*e", INT_MAX, 1.5), xp_fmt_format(nullptr, 0, "%#.*g", INT_MAX, 1.5)},
         "2147483647 2147483647 2147483648 2147483649 2147483653 2147483648");
  char buffer[16];
  expect({xp_fmt_format(buffer, 8, "%999999999d", 5), buffer}, "7        ");
}

TEST_F(format, buffers) {
  char buffer[8] = "#";
  expect({xp_fmt_format(buffer, 0, "%s", "x"), xp_fmt_format(buffer, -5, "%s", "x"),
          xp_fmt_append(buffer, 0, 0, "x"), buffer, xp_fmt_format(nullptr, 5, "%s", "seven77"),
          xp_fmt_format(buffer, 5, "%s", "seven77"), buffer, xp_fmt_format(buffer, 5, nullptr)},
         "0 0 0 # 7 4 seve 0");
  // A full buffer ends the text: what would fit behind an escape that does not is not written.
  expect({xp_fmt_format(buffer, 4, "%s{:~}b", "aa\""), buffer,
          xp_fmt_format(buffer, 3, "a%sb", "\xE2\x82\xAC"), buffer},
         "2 aa 1 a");
  expect(
      {xp_fmt_append(buffer, 8, 0, "%d", 123), xp_fmt_append(buffer, 8, 3, "%s", "abcdef"),
       xp_fmt_append(buffer, 8, 7, "x"), xp_fmt_append(buffer, 8, 8, "x"), xp_fmt_append(buffer, 8, 100, "x"),
       xp_fmt_appendtext(buffer, 8, 7, "x", 1), xp_fmt_appendtext(buffer, 8, 8, "x", 1), buffer},
      "3 7 7 7 7 7 7 123abcd");
  expect({xp_fmt_append(nullptr, 0, 5, "%s", "abc"), xp_fmt_appendtext(nullptr, 0, 5, "abc", -1),
          xp_fmt_text(buffer, 8, "xyz", 2), xp_fmt_appendtext(buffer, 8, 2, "\xC3\xA9\xC3\xA9\xC3\xA9", -1),
          buffer},
         "8 8 2 6 xy\xC3\xA9\xC3\xA9");
}

TEST_F(format, stream_reports_the_first_failure) {
  const xp_writer fail_second = [](void *calls, const char *, int64_t) -> int64_t {
    return ++*static_cast<int *>(calls) == 2 ? -7 : 0;
  };
  int calls = 0;
  const std::string piece(600, 'x');
  const char *x = piece.c_str();
  expect({xp_fmt_stream(fail_second, &calls, "%s%s%s%s", x, x, x, "y"), calls,
          xp_fmt_stream(fail_second, &calls, "%3000d", 1), xp_fmt_stream(nullptr, nullptr, "x")},
         "-7 2 3000 0");
}

TEST_F(format, readers) {
  // Steps by lead bytes stay inside of the text.
  constexpr const char *text = "a\xC3\xA9\xE2\x82\xAC";
  expect({xp_fmt_validtext(text, -1), xp_fmt_validtext(text, 5), xp_fmt_validtext("a\xE2", 2),
          xp_fmt_validstring("abcdefgh\xFC"), xp_fmt_validstring("\xFC\x80\x80\x80\x80\x80z"),
          xp_fmt_validtext("\x80\x80", 2), xp_fmt_validtext(nullptr, 4)},
         "6 3 1 8 7 2 0");
  expect({xp_fmt_getquad(" \t\r\n+42x", -1), xp_fmt_getquad("--7", -1), xp_fmt_getquad(nullptr, -1),
          xp_fmt_getquad("-42", 2), xp_fmt_getquad("9223372036854775808", -1),
          xp_fmt_getquad("-99999999999999999999", -1), xp_fmt_getlong("2147483648", -1),
          xp_fmt_getlong("-2147483649", -1)},
         "42 0 0 -4 9223372036854775807 -9223372036854775808 2147483647 -2147483648");
  EXPECT_EQ(print("%T|%T|%T|%T", xp_fmt_gettag("no-t_xy", -1), xp_fmt_gettag("-_-a", -1),
                  xp_fmt_gettag("dictionary", 3), xp_fmt_gettag("\xC3\xA9", -1)),
            "notx|a|dic|\xC3\xA9");
  EXPECT_EQ(xp_fmt_gettag(nullptr, 4), 0u);
}

}  // namespace
