// Times by patterns: "#" and a letter, as the C library's strftime has them, with the words and forms of the
// C locale and independent of any locale set. Dates are Gregorian for ever in both directions.

#include "xp/format/engine.h"
#include "xp/object/memory.h"

#include <string.h>
#include <time.h>

#include <charconv>
#include <string_view>

namespace {

// A broken-down time.
struct moment {
  int64_t seconds;  // since 1970-01-01 UTC
  int64_t year;
  int month, day;  // month 0 to 11, day 1 to 31
  int hour, minute, second;
  int weekday, yearday;  // 0: Sunday; 0: 1 January
  long offset;           // seconds east of UTC
};

constexpr int64_t day_seconds = 86400;

int64_t floor_div(int64_t a, int64_t b) {
  return a / b - (a % b < 0 ? 1 : 0);
}
int64_t floor_mod(int64_t a, int64_t b) {
  return a - floor_div(a, b) * b;
}

bool is_leap(int64_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// Days before the first of a month in a common year.
constexpr int month_starts[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

// Counts years from 1 March, so that the leap day is the last of a year, and in eras of 400 years, which all
// have the same number of days.
void set_date(moment &m, int64_t days) {
  constexpr int64_t era_days = 146097;
  days += 719468;  // from 0000-03-01 to 1970-01-01
  int64_t era = floor_div(days, era_days);
  int64_t in_era = days - era * era_days;
  int64_t year = (in_era - in_era / 1460 + in_era / 36524 - in_era / (era_days - 1)) / 365;
  int64_t in_year = in_era - (365 * year + year / 4 - year / 100);
  int64_t month = (5 * in_year + 2) / 153;
  m.day = static_cast<int>(in_year - (153 * month + 2) / 5 + 1);
  m.month = static_cast<int>(month < 10 ? month + 2 : month - 10);
  m.year = era * 400 + year + (m.month < 2 ? 1 : 0);
  m.yearday = month_starts[m.month] + m.day - 1 + (m.month >= 2 && is_leap(m.year) ? 1 : 0);
}

moment utc_moment(int64_t seconds) {
  moment m{};
  m.seconds = seconds;
  int64_t days = floor_div(seconds, day_seconds);
  auto rest = static_cast<int>(floor_mod(seconds, day_seconds));
  set_date(m, days);
  m.hour = rest / 3600;
  m.minute = rest / 60 % 60;
  m.second = rest % 60;
  m.weekday = static_cast<int>(floor_mod(days + 4, 7));
  return m;
}

// False when the system has no local time for it.
bool local_moment(int64_t seconds, moment &m) {
  tm local;
  time_t when = seconds;
  tzset();
  if (localtime_r(&when, &local) == nullptr) return false;
  m = {.seconds = seconds,
       .year = int64_t{local.tm_year} + 1900,
       .month = local.tm_mon,
       .day = local.tm_mday,
       .hour = local.tm_hour,
       .minute = local.tm_min,
       .second = local.tm_sec,
       .weekday = local.tm_wday,
       .yearday = local.tm_yday,
       .offset = local.tm_gmtoff};
  return true;
}

// --- Weeks ---

// Weeks of the year that begin on this weekday; the days before the first one are week 0.
int week_from(const moment &m, int first_weekday) {
  return (m.yearday + 7 - (m.weekday + 7 - first_weekday) % 7) / 7;
}

struct iso_week {
  int64_t year;
  int week;
};

// A week belongs to the year that has its Thursday.
iso_week iso_week_of(const moment &m) {
  int monday_based = (m.weekday + 6) % 7;
  int thursday = m.yearday - monday_based + 3;
  int64_t year = m.year;
  int length = is_leap(year) ? 366 : 365;
  if (thursday < 0) {
    --year;
    thursday += is_leap(year) ? 366 : 365;
  } else if (thursday >= length) {
    thursday -= length;
    ++year;
  }
  return {year, thursday / 7 + 1};
}

// --- Writing ---

// Collects the text. What does not fit is only counted, so that a second try has the room.
struct collector {
  char *buffer;
  size_t size;
  size_t used = 0;

  void add(std::string_view text) {
    if (used + text.size() <= size) text.copy(buffer + used, text.size());
    used += text.size();
  }

  // At least `digits` digits, filled up on the left behind a minus sign.
  void add_number(int64_t value, int digits, char fill = '0') {
    char text[24];
    auto magnitude = value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    auto end = std::to_chars(text, text + sizeof text, magnitude).ptr;
    if (value < 0) add("-");
    for (auto missing = digits - (end - text); missing > 0; --missing)
      add({&fill, 1});
    add({text, static_cast<size_t>(end - text)});
  }
};

constexpr std::string_view day_names[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                          "Thursday", "Friday", "Saturday"};
constexpr std::string_view month_names[] = {"January",   "February", "March",    "April",
                                            "May",       "June",     "July",     "August",
                                            "September", "October",  "November", "December"};

struct alias_row {
  char code;
  std::string_view pattern;
};

// Codes that stand for other patterns.
constexpr alias_row aliases[] = {
    {'F', "#Y-#m-#d"},    {'T', "#H:#M:#S"},
    {'R', "#H:#M"},       {'D', "#m/#d/#y"},
    {'r', "#I:#M:#S #p"}, {'c', "#a #b #e #H:#M:#S #Y"},
    {'v', "#e-#b-#Y"},    {'+', "#a, #d #b #Y #H:#M:#S #z"},
    {'x', "#m/#d/#y"},    {'X', "#H:#M:#S"},
    {'Q', "#H:#M"},
};

void add_offset(collector &out, long offset) {
  out.add(offset < 0 ? "-" : "+");
  long minutes = (offset < 0 ? -offset : offset) / 60;
  out.add_number(minutes / 60, 2);
  out.add_number(minutes % 60, 2);
}

int twelve(int hour) {
  return hour % 12 == 0 ? 12 : hour % 12;
}

void add_name(collector &out, char code, const moment &m) {
  switch (code) {
    case 'a': out.add(day_names[m.weekday].substr(0, 3)); break;
    case 'A': out.add(day_names[m.weekday]); break;
    case 'b':
    case 'h': out.add(month_names[m.month].substr(0, 3)); break;
    case 'B': out.add(month_names[m.month]); break;
    case 'p': out.add(m.hour < 12 ? "AM" : "PM"); break;
    case 'z': add_offset(out, m.offset); break;
    case 'Z': out.add("?"); break;
    case 'n': out.add("\n"); break;
    case 't': out.add("\t"); break;
    // "/" and ":" are the C locale's separators, "#" is itself, and so is what nobody knows.
    default: out.add({&code, 1});
  }
}

void add_code(collector &out, char code, const moment &m) {
  switch (code) {
    case 'C': out.add_number(floor_div(m.year, 100), 2); break;
    case 'd': out.add_number(m.day, 2); break;
    case 'e': out.add_number(m.day, 2, ' '); break;
    case 'H': out.add_number(m.hour, 2); break;
    case 'I': out.add_number(twelve(m.hour), 2); break;
    case 'j': out.add_number(m.yearday + 1, 3); break;
    case 'k': out.add_number(m.hour, 2, ' '); break;
    case 'l': out.add_number(twelve(m.hour), 2, ' '); break;
    case 'm': out.add_number(m.month + 1, 2); break;
    case 'M': out.add_number(m.minute, 2); break;
    case 's': out.add_number(m.seconds, 1); break;
    case 'S': out.add_number(m.second, 2); break;
    case 'U': out.add_number(week_from(m, 0), 2); break;
    case 'W': out.add_number(week_from(m, 1), 2); break;
    case 'u': out.add_number(m.weekday == 0 ? 7 : m.weekday, 1); break;
    case 'w': out.add_number(m.weekday, 1); break;
    case 'y': out.add_number(floor_mod(m.year, 100), 2); break;
    case 'Y': out.add_number(m.year, 1); break;
    case 'G': out.add_number(iso_week_of(m).year, 1); break;
    case 'g': out.add_number(floor_mod(iso_week_of(m).year, 100), 2); break;
    case 'V': out.add_number(iso_week_of(m).week, 2); break;
    default: add_name(out, code, m);
  }
}

void add_pattern(collector &out, std::string_view pattern, const moment &m) {
  for (size_t at = 0; at < pattern.size(); ++at) {
    if (pattern[at] != '#') {
      out.add(pattern.substr(at, 1));
      continue;
    }
    ++at;
    if (at < pattern.size() && (pattern[at] == 'E' || pattern[at] == 'O')) ++at;
    if (at >= pattern.size()) return;
    std::string_view alias;
    for (const alias_row &row : aliases) {
      if (row.code == pattern[at]) alias = row.pattern;
    }
    if (alias.empty()) {
      add_code(out, pattern[at], m);
    } else {
      add_pattern(out, alias, m);  // aliases hold no aliases
    }
  }
}

std::string_view pick_pattern(const xpf_directive &directive) {
  if (directive.parameter != nullptr) {
    return {directive.parameter, static_cast<size_t>(directive.parameter_length)};
  }
  if (directive.has(XPF_ALTERNATE)) return "#+";
  return directive.has(XPF_PLUS) ? "#F #T" : "#F";
}

}  // namespace

void xpf_time(xpf_sink &out, const xpf_directive &directive, int64_t seconds) {
  if (seconds == 0) seconds = time(nullptr);
  moment m;
  xpf_directive text = directive;
  text.flags &= ~XPF_PLUS;  // it has chosen the form and is no escape here
  if (directive.kind == xpf_kind::utc_time) {
    m = utc_moment(seconds);
  } else if (!local_moment(seconds, m)) {
    xpf_text(out, text, nullptr, 0);
    return;
  }
  std::string_view pattern = pick_pattern(directive);
  char stack[256];
  collector first{stack, sizeof stack};
  add_pattern(first, pattern, m);
  if (first.used <= sizeof stack) {
    xpf_text(out, text, stack, static_cast<int64_t>(first.used));
    return;
  }
  auto *heap = static_cast<char *>(xp_alloc(first.used));
  if (heap == nullptr) return;
  collector second{heap, first.used};
  add_pattern(second, pattern, m);
  xpf_text(out, text, heap, static_cast<int64_t>(second.used));
  xp_free(heap);
}
