#include "xp/service/locale.h"

#include "tests/support/leak_check.h"
#include "tests/support/threads.h"
#include "xp/format/value_text.h"
#include "xp/service/locale_reader.h"

#include <string.h>
#include <time.h>

#include <map>
#include <random>
#include <set>
#include <string>

namespace {

constexpr int64_t moment = 1794712237;  // 2026-11-15 03:10:37 UTC, a Sunday

std::string utc_text(int64_t seconds, const char *pattern) {
  char text[512];
  return {text, static_cast<size_t>(xp_fmt_utctime(text, sizeof text, seconds, pattern))};
}

// Everything in a set, for comparing.
std::string all_of(const xp_intl_values &v) {
  std::string all;
  auto add = [&all](std::string_view text) { all.append(text).append("|"); };
  for (const auto &grouping : {v.number, v.money}) {
    add(grouping.separator);
    add(grouping.decimal_point);
    for (size_t i = 0; i < 10; ++i)
      add(std::to_string(grouping.size_of(i)));
  }
  for (size_t i = 0; i < 12; ++i) {
    add(v.month_names[i]);
    add(v.short_month_names[i]);
    add(v.day_names[i % 7]);
    add(v.short_day_names[i % 7]);
  }
  for (auto text : {v.plus_sign, v.minus_sign, v.date_separator, v.time_separator, v.am, v.pm, v.date_form,
                    v.time_form, v.short_time_form, v.date_and_time_form})
    add(text);
  return all;
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
    ASSERT_TRUE(name[0] != 'C' || all_of(stored.values) == all_of(xp_intl_c)) << all_of(stored.values);
    EXPECT_EQ(localeconv()->thousands_sep, stored.values.number.separator) << name;
    xp_intl_use(stored.values);
    for (int i = 0; i < 400; ++i) {
      const time_t seconds = moment + i * 90000;
      tm parts;
      gmtime_r(&seconds, &parts);
      for (const char code : std::string_view("aAbBpxX")) {
        char expected[256];
        const char directive[] = {'%', code, 0}, pattern[] = {'#', code, 0};
        const size_t length = strftime(expected, sizeof expected, directive, &parts);
        ASSERT_EQ(utc_text(seconds, pattern), std::string(expected, length)) << name << " " << code;
      }
    }
    uselocale(LC_GLOBAL_LOCALE);
    freelocale(locale);
  }
  EXPECT_EQ(all_of(xp_intl_process()), all_of(xp_intl_c)) << "this process has set no locale";
}

TEST_F(locale_test, translated_forms_print_the_same) {
  constexpr unsigned seed = 11;
  std::mt19937 random(seed);
  constexpr std::string_view pieces[] = {"%D", "%F", "%R",  "%T",  "%%", "#",  "%r", " ",  "\xE5\xB9\xB4",
                                         "%a", "%B", "%Ey", "%Od", "%H", "%I", "%M", "%S", "%p"};
  char ours[256], theirs[256];
  tm parts;
  gmtime_r(&moment, &parts);
  for (int i = 0; i < 5000; ++i) {
    std::string form = "%Y";
    for (size_t count = random() % 8; count > 0; --count)
      form += pieces[random() % std::size(pieces)];
    strftime(theirs, sizeof theirs, form.c_str(), &parts);
    const size_t length = xpi_translate_form(form, "#I:#M:#S #p", ours, sizeof ours);
    EXPECT_EQ(utc_text(moment, std::string(ours, length).c_str()), theirs) << form << ", seed " << seed;
    EXPECT_EQ(xpi_translate_form(form, "#I:#M:#S #p", ours, length), length);
    EXPECT_EQ(xpi_translate_form(form, "#I:#M:#S #p", ours, length - 1), 0u);
  }
  for (const char *form : {"%x", "%X", "%c", "%v", "%", "%E", "%-", "%Q", "%\xC3\xA4", "a%5", "%r"})
    EXPECT_EQ(xpi_translate_form(form, "", ours, sizeof ours), 0u) << form;
  EXPECT_EQ(std::string(ours, xpi_translate_form("%-d.%_m%Z%10P", "", ours, sizeof ours)), "#d.#m#z#p");
  const char *const cases[][4] = {{"#d. #m. #Y", ". ", "", "#d. #m. #Y"},
                                  {"#a #d/#m #H.#M.#S Uhr", "/", ".", "#a #d/#m #H.#M Uhr"},
                                  {"#Hh #Mm #Ss#p", "", "", "#Hh #Mm #p"},
                                  {"#Y.#b-#m #Hh#Mm#Ss", "", "", "#Y.#b-#m #Hh#Mm"},
                                  {"#H#M#S", "", "", "#H#M"},
                                  {"#M:#H:#M:#S:#S", "", ":", "#M:#H:#M"},
                                  {"##d-#m#", "", "", "##d-#m#"}};
  for (const auto &[form, date, time, brief] : cases) {
    EXPECT_EQ(xpi_separator(form, xpi_date_codes), date) << form;
    EXPECT_EQ(xpi_separator(form, xpi_time_codes), time) << form;
    EXPECT_EQ(std::string(ours, xpi_drop_seconds(form, ours, sizeof ours)), brief) << form;
  }
}

TEST_F(locale_test, sizes_of_groups) {
  struct {
    const char *grouping;
    size_t sizes[4];
  } const cases[] = {{nullptr, {}},        {"", {}},        {"\x7F", {}},           {"\xFF", {}},
                     {"\3", {3, 3, 3, 3}}, {"\3\x7F", {3}}, {"\3\2", {3, 2, 2, 2}}, {"\3\2\xFF\4", {3, 2}}};
  for (const auto &[grouping, sizes] : cases) {
    xp_intl_grouping read{.separator = "."};
    xpi_read_sizes(grouping, read);
    for (size_t i = 0; i < 4; ++i)
      EXPECT_EQ(read.size_of(i), sizes[i]) << testing::PrintToString(grouping) << " " << i;
    EXPECT_EQ(read.groups(), sizes[0] != 0);
  }
  xp_intl_grouping endless;
  xpi_read_sizes("\1\2\3\4\5\6\7\10\11\12", endless);
  EXPECT_EQ(endless.size_of(7) + endless.size_of(100), 16u) << "the last one that is kept goes on";
  EXPECT_FALSE(endless.groups()) << "without a separator";
}

// A locale of the test's own: what it does not name is empty.
std::map<nl_item, std::string> items;
char *item_of_test(nl_item item) {
  return items[item].data();
}

TEST_F(locale_test, what_cannot_be_kept_is_the_c_locales) {
  char space[] = "\xE2\x80\xAF", comma[] = ",", three[] = "\3", broken[] = "\xA0";
  lconv conventions{};
  conventions.thousands_sep = space;
  conventions.decimal_point = comma;
  conventions.grouping = conventions.mon_grouping = three;
  conventions.mon_thousands_sep = broken;
  items = {{D_FMT, "%x"}, {T_FMT, std::string(5000, 'x')}, {D_T_FMT, "%d.%m.%Y %r #"}};
  for (nl_item i = 0; i < 12; ++i) {
    if (i < 7) items[DAY_1 + i] = std::string(96, 't');
    if (i < 11) items[MON_1 + i] = "Monat";  // the twelfth is missing
    items[ABMON_1 + i] = std::string(i < 11 ? 96 : 97, 'm');
  }
  xpi_stored_values stored;
  xpi_read(stored, conventions, item_of_test);
  items.clear();
  memset(space, 'x', 3);  // the texts are copies
  xp_intl_values expected;
  expected.number = {.separator = "\xE2\x80\xAF", .sizes = {3}, .count = 1, .decimal_point = ","};
  expected.money = {.sizes = {3}, .count = 1};
  const std::string day(96, 't');
  expected.day_names.fill(day);
  expected.am = expected.pm = "";
  expected.date_and_time_form = "#d.#m.#Y #I:#M:#S #p ##";
  EXPECT_EQ(all_of(stored.values), all_of(expected));
}

TEST_F(locale_test, the_choice_takes_effect_at_once_and_whole) {
  xp_intl_values own;
  own.day_names.fill("L\xC3\xB6rdag");
  own.short_day_names.fill("l\xC3\xB6");
  own.am = "fm";
  own.date_form = "#d.#m.#Y #x #F";  // codes inside of forms stand for no patterns
  own.time_form = "#X";
  own.date_separator = ".";
  own.time_separator = "'";
  const std::set<std::string> both = {
      "L\xC3\xB6rdag l\xC3\xB6 fm 15.11.2026 x F|X|.'|l\xC3\xB6 Nov 15 03:10:37 2026|2026-11-15",
      "Sunday Sun AM 11/15/26|03:10:37|/:|Sun Nov 15 03:10:37 2026|2026-11-15"};
  std::set<std::string> seen[3];
  run_on_threads(3, [&](int thread) {
    for (int i = 0; i < 2000; ++i) {
      if (thread == 0) xp_intl_use(i % 2 == 0 ? own : xp_intl_c);
      seen[thread].insert(utc_text(moment, "#A #a #p #x|#X|#/#:|#c|#F"));
    }
  });
  EXPECT_EQ(seen[0], both);
  for (const auto &texts : seen)
    for (const std::string &text : texts)
      EXPECT_TRUE(both.contains(text)) << text;
  own.number = {.separator = ".", .sizes = {3}, .count = 1, .decimal_point = ","};
  xp_intl_use(own);
  char number[32];
  xp_fmt_double(number, sizeof number, -1234567.5);
  EXPECT_STREQ(number, "-1234567.5") << "numbers for programs are the same everywhere";
}

}  // namespace
