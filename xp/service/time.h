// Points in time. A time is a signed 64-bit number of seconds (or, where a name says so, milliseconds) since
// 1970-01-01T00:00:00 UTC, without leap seconds; its calendar is Gregorian for ever in both directions. A
// tick is a microsecond of a clock that nobody sets: for measuring how long something takes and for
// deadlines.
//
// Nothing here keeps state: all functions are safe from any thread. Local times follow the time zone of the
// process (the environment variable TZ, else the machine's); changing that variable is not thread-safe.

#ifndef XP_SERVICE_TIME_H
#define XP_SERVICE_TIME_H

#include <stdint.h>

// A time taken apart.
struct xp_time_parts {
  int64_t year = 0;
  int32_t month = 0;    // 1 to 12
  int32_t day = 0;      // 1 to 31
  int32_t hour = 0;     // 0 to 23
  int32_t minute = 0;   // 0 to 59
  int32_t second = 0;   // 0 to 59
  int32_t weekday = 0;  // 0 to 6: 0 is Sunday
  int32_t yearday = 0;  // 0 to 365: 0 is 1 January
  int32_t offset = 0;   // local time: seconds east of UTC; UTC: 0
};

// --- The clock ---

// The present in seconds, in milliseconds.
int64_t xp_time_now();
int64_t xp_time_msnow();

// --- Broken-down times ---

// Takes a time apart in UTC, in local time. 0, or -1 with *parts all 0 when the system has no local time for
// it: one whose year does not fit into 32 bits.
int32_t xp_time_utc(int64_t seconds, xp_time_parts *parts);
int32_t xp_time_local(int64_t seconds, xp_time_parts *parts);

// The time at which UTC, the local clock, shows year, month, day, hour, minute and second; the other fields
// do not count. 0, or -1 with *seconds unchanged when a field is outside its range (days by the length of the
// month), the time does not fit into 64 bits or the system has no local time for the day before or after it.
// The second may be 60, a leap second, which is the same time as the next minute's first. A local time that
// the clock shows twice, when it is set back, is the first of the two; one that it leaves out, when it is set
// forward, counts as if it had not been set yet.
int32_t xp_time_fromutc(const xp_time_parts *parts, int64_t *seconds);
int32_t xp_time_fromlocal(const xp_time_parts *parts, int64_t *seconds);

// Seconds that local time is ahead of UTC at a time; 0 where the system has no local time.
int32_t xp_time_offset(int64_t seconds);

// --- Text ---

// Reads a date, or a date and time, by ISO 8601: "2026-11-15", "20261115", either followed by "T", "t" or one
// space and "03:10", "03:10:37", "0310" or "031037", with a fraction of the second behind "." or "," if the
// seconds are there, and by "Z", "z", "+05:30", "-0330" or "+05". The year has four digits, or in the form
// with hyphens a sign or further digits, too; 24:00:00 is the end of the day. Without a zone the time is UTC.
// 0 with the seconds and the milliseconds (0 to 999; further digits are dropped), or -1 with both unchanged
// when the text is anything else or its time does not fit into 64 bits.
int32_t xp_time_parse(const char *text, int64_t length, int64_t *seconds, int32_t *milliseconds);

// Writes a time as UTC text, 2026-11-15T03:10:37Z, which xp_time_parse reads. A null buffer gives the length
// that is needed; otherwise at most `capacity` bytes are written, without a terminating zero, and their
// number returned.
int64_t xp_time_textify(int64_t seconds, char *buffer, int64_t capacity);

// --- Ticks ---

enum : int64_t {
  XP_TICKS_PER_MS = 1000,
};

// The present in ticks, from an unknown start; never goes back.
int64_t xp_tick_now();

// Ticks from `earlier` to `later`, and from `earlier` to the present.
int64_t xp_tick_diff(int64_t earlier, int64_t later);
int64_t xp_tick_since(int64_t earlier);

// The tick that lies `milliseconds` behind the present: a deadline. Below 0, no limit, gives INT64_MAX, and
// so does whatever lies beyond it.
int64_t xp_tick_after(int64_t milliseconds);

#endif
