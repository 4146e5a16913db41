// The Gregorian calendar as arithmetic, for ever in both directions: days since 1970-01-01 against years,
// months and days. Internal to those who tell times; callers use xp/service/time.h.

#ifndef XP_SERVICE_CALENDAR_H
#define XP_SERVICE_CALENDAR_H

#include <stdint.h>

namespace xp {

constexpr int64_t seconds_per_day = 86400;

struct calendar_day {
  int64_t year;
  int32_t month;    // 1 to 12
  int32_t day;      // 1 to 31
  int32_t yearday;  // 0: 1 January
};

// Division towards the smaller number and its rest, which is never negative; b above 0.
constexpr int64_t floor_div(int64_t a, int64_t b) {
  return a / b - (a % b < 0 ? 1 : 0);
}
constexpr int64_t floor_mod(int64_t a, int64_t b) {
  return a % b + (a % b < 0 ? b : 0);
}

constexpr bool is_leap_year(int64_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr int32_t days_in_month(int64_t year, int32_t month) {
  if (month == 2) return is_leap_year(year) ? 29 : 28;
  return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

// Days before the first of a month in a year that begins in March, which makes the leap day a year's last: 0
// is March. The 31 and 30 days of the months follow a line of slope 30.6.
constexpr int64_t days_before_month(int64_t shifted) {
  return (153 * shifted + 2) / 5;
}

constexpr int64_t days_per_era = 146097;  // 400 years, after which the calendar repeats
constexpr int64_t days_to_1970 = 719468;  // from 0000-03-01

// The day `days` days behind 1970-01-01, for every number of days that 64 bits of seconds can name.
constexpr calendar_day day_of(int64_t days) {
  days += days_to_1970;
  const int64_t era = floor_div(days, days_per_era);
  const int64_t in_era = days - era * days_per_era;
  const int64_t year_of_era = (in_era - in_era / 1460 + in_era / 36524 - in_era / (days_per_era - 1)) / 365;
  const int64_t in_year = in_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const int64_t shifted = (5 * in_year + 2) / 153;
  const int64_t year = era * 400 + year_of_era + (shifted < 10 ? 0 : 1);
  // January and February, the 306th day on, belong to the year that has just begun.
  const int64_t yearday = shifted < 10 ? in_year + 59 + (is_leap_year(year) ? 1 : 0) : in_year - 306;
  return {.year = year,
          .month = static_cast<int32_t>(shifted < 10 ? shifted + 3 : shifted - 9),
          .day = static_cast<int32_t>(in_year - days_before_month(shifted) + 1),
          .yearday = static_cast<int32_t>(yearday)};
}

// Days from 1970-01-01 to the first of the month; `month` is 1 to 12, `year` within 10^16 of 0.
constexpr int64_t days_to_month(int64_t year, int32_t month) {
  const int64_t shifted = month > 2 ? month - 3 : month + 9;
  if (month <= 2) --year;
  const int64_t era = floor_div(year, 400);
  const int64_t year_of_era = year - era * 400;
  const int64_t in_era = 365 * year_of_era + year_of_era / 4 - year_of_era / 100 + days_before_month(shifted);
  return era * days_per_era + in_era - days_to_1970;
}

}  // namespace xp

#endif
