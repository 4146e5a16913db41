#include "xp/service/locale.h"

#include "tests/support/leak_check.h"
#include "tests/support/threads.h"
#include "xp/format/value_text.h"
#include "xp/service/locale_reader.h"

#include <string.h>
#include <time.h>

#include <array>
#include <map>
#include <random>
#include <set>
#include <string>

namespace {

constexpr int64_t moment = 1794712237;  // 2026-11-15 03:10:37 UTC, a Sunday

std::string utc_text(int64_t seconds, const std::string &pattern) {
  char text[512];
  return {text, static_cast<size_t>(xp_fmt_utctime(text, sizeof text, seconds, pattern.c_str()))};
}

std::string c_text(int64_t seconds, const std::string &pattern) {
  char text[512];
  tm parts;
  gmtime_r(&seconds, &parts);
  return {text, strftime(text, sizeof text, pattern.c_str(), &parts)};
}

// The C locale's values are back when a test ends. Its thread may have a locale of its own meanwhile.
class locale_test : public leak_check {
protected:
  void TearDown() override {
    xp_intl_use(xp_intl_c);
    uselocale(LC_GLOBAL_LOCALE);
    leak_check::TearDown();
  }
};

TEST_F(locale_test, real_locales_print_what_the_c_library_prints) {
  for (const char *name : {"C", "C.UTF-8", "de_DE.UTF-8", "en_US.UTF-8", "fr_FR.UTF-8", "ja_JP.UTF-8"}) {
    locale_t locale = newlocale(LC_ALL_MASK, name, nullptr);
    ASSERT_TRUE(locale != nullptr || name[0] != 'C');
    if (locale == nullptr) continue;
    uselocale(locale);
    xpi_stored_values stored;
    xpi_read(stored, *localeconv(), nl_langinfo);
    ASSERT_TRUE(name[0] != 'C' || stored.values == xp_intl_c);
    EXPECT_EQ(localeconv()->thousands_sep, stored.values.number.separator) << name;
    xp_intl_use(stored.values);
    for (int64_t seconds = moment; seconds < moment + 400 * 90000; seconds += 90000)
      for (const char code : std::string_view("aAbBpxX"))
        ASSERT_EQ(utc_text(seconds, {'#', code}), c_text(seconds, {'%', code})) << name << " " << code;
    uselocale(LC_GLOBAL_LOCALE);
    freelocale(locale);
  }
  EXPECT_TRUE(xp_intl_process() == xp_intl_c) << "this process has set no locale";
}

TEST_F(locale_test, forms_are_translated) {
  constexpr unsigned seed = 11;
  std::mt19937 random(seed);
  constexpr std::string_view pieces[] = {"%D", "%F", "%R",  "%T",  "%%", "#",  "%r", " ",  "\xE5\xB9\xB4",
                                         "%a", "%B", "%Ey", "%Od", "%H", "%I", "%M", "%S", "%p"};
  char ours[256];
  for (int i = 0; i < 5000; ++i) {
    std::string form = "%Y";
    for (size_t count = random() % 8; count > 0; --count)
      form += pieces[random() % std::size(pieces)];
    const size_t length = xpi_translate_form(form, "#I:#M:#S #p", ours, sizeof ours);
    EXPECT_EQ(utc_text(moment, {ours, length}), c_text(moment, form)) << form << ", seed " << seed;
    EXPECT_EQ(xpi_translate_form(form, "#I:#M:#S #p", ours, length), length);
    EXPECT_EQ(xpi_translate_form(form, "#I:#M:#S #p", ours, length - 1), 0u);
  }
  for (const char *form : {"%x", "%X", "%c", "%", "%E", "%-", "%Q", "%\xC3\xA4", "a%5", "%r"})
    EXPECT_EQ(xpi_translate_form(form, "", ours, sizeof ours), 0u) << form;
  EXPECT_EQ(std::string(ours, xpi_translate_form("%-d.%_m%Z%10P", "", ours, sizeof ours)), "#d.#m#z#p");
  for (const auto &[form, date, time, brief] : std::initializer_list<std::array<std::string_view, 4>>{
           {"#a #d/#m #H.#M.#S Uhr", "/", ".", "#a #d/#m #H.#M Uhr"},
           {"#Y.#b-#m #Hh #Mm #Ss", "", "", "#Y.#b-#m #Hh #Mm"},
           {"##d-#m#M:#H:#M:#S:#S#", "", ":", "##d-#m#M:#H:#M#"}}) {
    EXPECT_EQ(xpi_separator(form, xpi_date_codes), date) << form;
    EXPECT_EQ(xpi_separator(form, xpi_time_codes), time) << form;
    EXPECT_EQ(std::string_view(ours, xpi_drop_seconds(form, ours, sizeof ours)), brief) << form;
  }
}

TEST_F(locale_test, sizes_of_groups) {
  const char *const groupings[] = {
      nullptr, "", "\x7F", "\xFF", "\3", "\3\x7F", "\3\2", "\3\2\xFF\4", "\1\2\3\4\5\6\7\6\5"};
  const size_t sizes[][3] = {{}, {}, {}, {}, {3, 3, 3}, {3}, {3, 2, 2}, {3, 2}, {1, 2, 6}};
  for (size_t i = 0; i < std::size(groupings); ++i) {
    xp_intl_grouping read{.separator = "."};
    xpi_read_sizes(groupings[i], read);
    for (const size_t group : {0U, 1U, 2U})
      EXPECT_EQ(read.size_of(group == 2 ? 99 : group), sizes[i][group]) << i;
    EXPECT_EQ(read.groups(), sizes[i][0] != 0);
  }
}

// A locale of the test's own: what it does not name is empty.
std::map<nl_item, std::string> items;
char *item_of_test(nl_item item) {
  return items[item].data();
}

TEST_F(locale_test, what_cannot_be_kept_is_the_c_locales) {
  char space[] = "\xE2\x80\xAF", comma[] = ",", three[] = "\3", broken[] = "\xA0";
  lconv conventions{};
  conventions.thousands_sep = space, conventions.mon_thousands_sep = broken,
  conventions.decimal_point = comma;
  conventions.grouping = conventions.mon_grouping = three;
  items = {{D_FMT, "%d.%m.%Y %r #"}, {T_FMT, std::string(5000, 'x')}};
  const std::string longest(96, 't');
  for (nl_item i = 0; i < 12; ++i) {
    if (i < 7) items[DAY_1 + i] = longest;
    if (i < 11) items[MON_1 + i] = "Monat";  // the twelfth is missing
    items[ABMON_1 + i] = i < 11 ? longest : longest + "t";
  }
  xpi_stored_values stored;
  xpi_read(stored, conventions, item_of_test);
  items.clear();
  memset(space, 'x', 3);  // the texts are copies
  xp_intl_values expected;
  expected.number = {.separator = "\xE2\x80\xAF", .sizes = {3}, .count = 1, .decimal_point = ","};
  expected.money = {.sizes = {3}, .count = 1};
  expected.day_names.fill(longest);
  expected.am = expected.pm = "";
  expected.date_form = "#d.#m.#Y #I:#M:#S #p ##", expected.date_separator = ".";
  EXPECT_TRUE(stored.values == expected);
}

TEST_F(locale_test, the_choice_takes_effect_at_once_and_whole) {
  xp_intl_values own;
  own.day_names.fill("L\xC3\xB6rdag"), own.short_day_names.fill("l\xC3\xB6");
  own.date_form = "#d.#m.#Y #x #F";  // codes inside of forms stand for no patterns
  own.am = "fm", own.time_form = "#X", own.date_separator = ".", own.time_separator = "'";
  own.number = {.separator = ".", .sizes = {3}, .count = 1, .decimal_point = ","};
  const std::set<std::string> both = {
      "L\xC3\xB6rdag l\xC3\xB6 fm 15.11.2026 x F|X|.'|l\xC3\xB6 Nov 15 03:10:37 2026",
      "Sunday Sun AM 11/15/26|03:10:37|/:|Sun Nov 15 03:10:37 2026"};
  std::set<std::string> seen[3];
  run_on_threads(3, [&](int thread) {
    for (int i = 0; i < 2000; ++i) {
      if (thread == 0) xp_intl_use(i % 2 == 0 ? xp_intl_c : own);
      seen[thread].insert(utc_text(moment, "#A #a #p #x|#X|#/#:|#c"));
    }
  });
  for (auto &others : {&seen[1], &seen[2]})
    seen[0].merge(*others);
  EXPECT_EQ(seen[0], both);
  char number[32];
  xp_fmt_double(number, sizeof number, -1234567.5);
  EXPECT_STREQ(number, "-1234567.5") << "numbers for programs are the same everywhere";
}

}  // namespace
