#include "xp/service/date.h"

#include "xp/object/type.h"

#include <stdio.h>

#include <algorithm>

namespace {

constexpr int64_t seconds_per_day = 86400;
constexpr size_t text_size = 40;  // a year takes up to 13 characters

struct date : xp_obj {
  static constexpr uint32_t code = xp_code("xdat");
  int64_t seconds;
};

struct calendar_day {
  int64_t year;
  int64_t month;
  int64_t day;
};

// The Gregorian day that lies `days` days behind 1970-01-01, for every number of days that 64 bits of seconds
// can name. Years begin in March here, so that the leap day is a year's last, and are grouped by 400, after
// which the calendar repeats.
calendar_day day_of(int64_t days) {
  constexpr int64_t days_per_era = 146097;
  days += 719468;  // from 0000-03-01
  int64_t era = (days >= 0 ? days : days - (days_per_era - 1)) / days_per_era;
  int64_t day_of_era = days - era * days_per_era;
  int64_t year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  int64_t shifted = (5 * day_of_year + 2) / 153;  // 0 is March
  int64_t month = shifted < 10 ? shifted + 3 : shifted - 9;
  int64_t year = year_of_era + era * 400 + (month <= 2 ? 1 : 0);
  return {.year = year, .month = month, .day = day_of_year - (153 * shifted + 2) / 5 + 1};
}

int64_t write_text(int64_t seconds, char (&text)[text_size]) {
  int64_t days = seconds / seconds_per_day;
  int64_t rest = seconds % seconds_per_day;
  if (rest < 0) {
    rest += seconds_per_day;
    --days;
  }
  calendar_day day = day_of(days);
  return snprintf(text, text_size, "%04lld-%02lld-%02lldT%02lld:%02lld:%02lldZ",
                  static_cast<long long>(day.year), static_cast<long long>(day.month),
                  static_cast<long long>(day.day), static_cast<long long>(rest / 3600),
                  static_cast<long long>(rest / 60 % 60), static_cast<long long>(rest % 60));
}

int64_t compare(xp_obj *a, xp_obj *b) {
  auto *x = xp::as<date>(a);
  auto *y = xp::as<date>(b);
  if (x == nullptr || y == nullptr) return xp_compare(a, b);
  return x->seconds < y->seconds ? -1 : x->seconds > y->seconds ? 1 : 0;
}

int64_t textify(xp_obj *obj, char *buffer, int64_t capacity) {
  auto *d = xp::as<date>(obj);
  if (d == nullptr) return 0;
  char text[text_size];
  int64_t length = write_text(d->seconds, text);
  if (buffer == nullptr) return length;
  length = std::clamp<int64_t>(capacity, 0, length);
  xp_memcpy(buffer, text, static_cast<size_t>(length));
  return length;
}

int64_t control(xp_obj *obj, uint32_t code, int64_t /*argument*/, void * /*pointer*/) {
  auto *d = xp::as<date>(obj);
  if (d == nullptr) return 0;
  switch (code) {
    case XP_CTL_VALUE: return d->seconds;
    default: return 0;
  }
}

constexpr xp::ops date_ops = {.retain = xp_obj_retain,
                              .release = xp_obj_release,
                              .compare = compare,
                              .textify = textify,
                              .control = control};

}  // namespace

uint32_t xp_date_type() {
  return date::code;
}

xp_obj *xp_date_make(int64_t seconds) {
  auto *d = xp::make<date>(date_ops);
  if (d != nullptr) d->seconds = seconds;
  return d;
}
