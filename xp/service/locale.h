// The locale values that texts of numbers and times need: separators, signs, words and forms. They are the C
// locale's, whatever locale the process has set, until somebody chooses others: texts of this system are read
// by programs, and the page has its own words for people. A program that prints for people chooses others
// once at its start: setlocale(LC_ALL, "") and xp_intl_use(xp_intl_process()).
//
// Only what asks for the locale is touched by the choice: the grouping flags of the format engine, the signs
// of its infinities, and its times. Everything else, numbers in JSON and property lists above all, stays as
// it is in the C locale.
//
// Thread rule: all functions are safe from any thread; a set of values that was published is never changed.
// Invariants of a set: texts are UTF-8; forms are patterns of the engine's time conversions ("#" and a
// letter) and hold no #c, #x, #X, #Q nor another code that stands for a pattern.

#ifndef XP_SERVICE_LOCALE_H
#define XP_SERVICE_LOCALE_H

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <string_view>

// How the digits before the decimal point are grouped.
struct xp_intl_grouping {
  std::string_view separator = "";       // between groups, of any number of bytes; empty: nothing is grouped
  std::array<uint8_t, 8> sizes{};        // digits per group, from the right
  uint8_t count = 0;                     // of the sizes; 0: nothing is grouped
  bool repeats = true;                   // the last size serves all further digits, else these are one group
  std::string_view decimal_point = ".";  // of a number printed with a grouping flag

  // Whether numbers show any separator at all.
  constexpr bool groups() const { return count > 0 && !separator.empty(); }

  // Digits in the group of this index, counted from the right; 0: all that are left.
  constexpr size_t size_of(size_t index) const {
    if (index < count) return sizes[index];
    return repeats && count > 0 ? sizes[count - 1U] : 0;
  }

  bool operator==(const xp_intl_grouping &) const = default;
};

struct xp_intl_values {
  xp_intl_grouping number;
  xp_intl_grouping money;

  // Of an infinity. Finite numbers keep "+" and "-".
  std::string_view plus_sign = "+";
  std::string_view minus_sign = "-";

  std::string_view date_separator = "/";
  std::string_view time_separator = ":";

  std::array<std::string_view, 7> day_names = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                               "Thursday", "Friday", "Saturday"};
  std::array<std::string_view, 7> short_day_names = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  std::array<std::string_view, 12> month_names = {"January",   "February", "March",    "April",
                                                  "May",       "June",     "July",     "August",
                                                  "September", "October",  "November", "December"};
  std::array<std::string_view, 12> short_month_names = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::string_view am = "AM";
  std::string_view pm = "PM";

  std::string_view date_form = "#m/#d/#y";
  std::string_view time_form = "#H:#M:#S";
  std::string_view short_time_form = "#H:#M";

  bool operator==(const xp_intl_values &) const = default;
};

// The C locale's values.
inline constexpr xp_intl_values xp_intl_c;

// The values in use. The reference stays good, though others may have been chosen since.
const xp_intl_values &xp_intl_current();

// Those of the locale that the process (its thread, if that has one of its own) had set at the first call of
// this function, for ever. What the locale says in no UTF-8 or at no reasonable length, and a form that needs
// what the engine's patterns lack, is the C locale's. The time separator and the short time are taken out of
// the time, the date separator out of the date, where these have one. Flags of forms ("%-d") are dropped, a
// zone's name is its offset.
const xp_intl_values &xp_intl_process();

// Chooses the values for the whole process. They must stay as they are for as long as it runs.
void xp_intl_use(const xp_intl_values &values);

#endif
