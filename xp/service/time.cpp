#include "xp/service/time.h"

#include "xp/service/calendar.h"

#include <time.h>

#include <initializer_list>

namespace {

constexpr int64_t ns_per_ms = 1000000;

timespec read_clock(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now;
}

// Whether the fields that name a time are inside their ranges.
bool is_sound(const xp_time_parts &p) {
  constexpr int64_t most_years = 300000000000;  // more than 64 bits of seconds hold
  return p.year >= -most_years && p.year <= most_years && p.month >= 1 && p.month <= 12 && p.day >= 1 &&
         p.day <= xp::days_in_month(p.year, p.month) && p.hour >= 0 && p.hour <= 23 && p.minute >= 0 &&
         p.minute <= 59 && p.second >= 0 && p.second <= 60;
}

// The time zone must have been read. False when the system has no local time for it.
bool local_parts(int64_t seconds, xp_time_parts &parts) {
  const time_t when = seconds;
  tm local;
  if (localtime_r(&when, &local) == nullptr) return false;
  parts = {.year = int64_t{local.tm_year} + 1900,
           .month = local.tm_mon + 1,
           .day = local.tm_mday,
           .hour = local.tm_hour,
           .minute = local.tm_min,
           .second = local.tm_sec,
           .weekday = local.tm_wday,
           .yearday = local.tm_yday,
           .offset = static_cast<int32_t>(local.tm_gmtoff)};
  return true;
}

bool local_offset(int64_t seconds, int64_t &offset) {
  xp_time_parts parts;
  if (!local_parts(seconds, parts)) return false;
  offset = parts.offset;
  return true;
}

// What the local clock shows as `shown`, counted as if that were UTC. No zone is a whole day away from UTC,
// so the offsets a day before and a day after lie on either side of a change of the clock.
bool time_shown_as(int64_t shown, int64_t &seconds) {
  int64_t day_before = 0;
  int64_t day_after = 0;
  int64_t before = 0;
  int64_t after = 0;
  if (__builtin_sub_overflow(shown, xp::seconds_per_day, &day_before) ||
      __builtin_add_overflow(shown, xp::seconds_per_day, &day_after) || !local_offset(day_before, before) ||
      !local_offset(day_after, after)) {
    return false;
  }
  int64_t found = 0;
  for (int64_t offset : {before, after}) {
    seconds = shown - offset;
    if (local_offset(seconds, found) && found == offset) return true;
  }
  seconds = shown - before;
  return true;
}

}  // namespace

int64_t xp_time_now() {
  return read_clock(CLOCK_REALTIME).tv_sec;
}

int64_t xp_time_msnow() {
  const timespec now = read_clock(CLOCK_REALTIME);
  return now.tv_sec * 1000 + now.tv_nsec / ns_per_ms;
}

int32_t xp_time_utc(int64_t seconds, xp_time_parts *parts) {
  if (parts == nullptr) return -1;
  const int64_t days = xp::floor_div(seconds, xp::seconds_per_day);
  const auto rest = static_cast<int32_t>(xp::floor_mod(seconds, xp::seconds_per_day));
  const xp::calendar_day day = xp::day_of(days);
  *parts = {.year = day.year,
            .month = day.month,
            .day = day.day,
            .hour = rest / 3600,
            .minute = rest / 60 % 60,
            .second = rest % 60,
            .weekday = static_cast<int32_t>(xp::floor_mod(days + 4, 7)),
            .yearday = day.yearday,
            .offset = 0};
  return 0;
}

int32_t xp_time_local(int64_t seconds, xp_time_parts *parts) {
  if (parts == nullptr) return -1;
  tzset();
  if (local_parts(seconds, *parts)) return 0;
  *parts = {};
  return -1;
}

int32_t xp_time_fromutc(const xp_time_parts *parts, int64_t *seconds) {
  if (parts == nullptr || seconds == nullptr || !is_sound(*parts)) return -1;
  int64_t days = xp::days_to_month(parts->year, parts->month) + parts->day - 1;
  int64_t rest = int64_t{parts->hour} * 3600 + int64_t{parts->minute} * 60 + parts->second;
  if (days < 0) {
    // The first of all times lies inside a day whose start does not fit any more: count from that day's end.
    ++days;
    rest -= xp::seconds_per_day;
  }
  int64_t total = 0;
  if (__builtin_mul_overflow(days, xp::seconds_per_day, &total) ||
      __builtin_add_overflow(total, rest, &total)) {
    return -1;
  }
  *seconds = total;
  return 0;
}

int32_t xp_time_fromlocal(const xp_time_parts *parts, int64_t *seconds) {
  int64_t shown = 0;
  int64_t found = 0;
  if (seconds == nullptr || xp_time_fromutc(parts, &shown) != 0) return -1;
  tzset();
  if (!time_shown_as(shown, found)) return -1;
  *seconds = found;
  return 0;
}

int32_t xp_time_offset(int64_t seconds) {
  xp_time_parts parts;
  return xp_time_local(seconds, &parts) == 0 ? parts.offset : 0;
}

int64_t xp_tick_now() {
  const timespec now = read_clock(CLOCK_MONOTONIC);
  return now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

int64_t xp_tick_diff(int64_t earlier, int64_t later) {
  return later - earlier;
}

int64_t xp_tick_since(int64_t earlier) {
  return xp_tick_diff(earlier, xp_tick_now());
}

int64_t xp_tick_after(int64_t milliseconds) {
  const int64_t now = xp_tick_now();
  if (milliseconds < 0 || milliseconds > (INT64_MAX - now) / XP_TICKS_PER_MS) return INT64_MAX;
  return now + milliseconds * XP_TICKS_PER_MS;
}
