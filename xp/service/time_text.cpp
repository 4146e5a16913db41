#include "xp/object/memory.h"
#include "xp/service/calendar.h"
#include "xp/service/time.h"

#include <string.h>

#include <algorithm>
#include <charconv>

namespace {

constexpr size_t text_size = 48;  // a year takes up to 13 characters

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// What is left of a text that is being read. Each reader takes what it wants and tells whether it was there.
struct reader {
  const char *at;
  const char *end;

  bool done() const { return at == end; }
  bool sees_digit() const { return at < end && is_digit(*at); }

  bool take(char c) {
    if (done() || *at != c) return false;
    ++at;
    return true;
  }

  int64_t count_digits() const { return std::find_if_not(at, end, is_digit) - at; }

  // Exactly `count` digits; at most 18 of them.
  template <typename Number>
  bool number(int64_t count, Number &value) {
    if (count_digits() < count) return false;
    int64_t read = 0;
    for (; count > 0; --count)
      read = read * 10 + (*at++ - '0');
    value = static_cast<Number>(read);
    return true;
  }
};

// With hyphens when any stands behind the year, else as eight digits.
bool read_date(reader &from, xp_time_parts &parts) {
  const bool negative = from.take('-');
  const bool is_signed = negative || from.take('+');
  const int64_t digits = from.count_digits();
  const bool hyphens = from.end - from.at > digits && from.at[digits] == '-';
  if (hyphens ? digits < 4 || digits > 12 : digits != 8 || is_signed) return false;
  if (!from.number(hyphens ? digits : 4, parts.year)) return false;
  if (negative) parts.year = -parts.year;
  return (!hyphens || from.take('-')) && from.number(2, parts.month) && (!hyphens || from.take('-')) &&
         from.number(2, parts.day);
}

bool read_fraction(reader &from, int32_t &milliseconds) {
  int32_t weight = 100;
  if (!from.sees_digit()) return false;
  for (; from.sees_digit(); ++from.at, weight /= 10)
    milliseconds += (*from.at - '0') * weight;
  return true;
}

bool read_clock(reader &from, xp_time_parts &parts, int32_t &milliseconds) {
  if (!from.number(2, parts.hour)) return false;
  const bool colons = from.take(':');
  if (!from.number(2, parts.minute)) return false;
  if (colons ? !from.take(':') : !from.sees_digit()) return true;
  if (!from.number(2, parts.second)) return false;
  return (!from.take('.') && !from.take(',')) || read_fraction(from, milliseconds);
}

// The zone's seconds ahead of UTC; none means UTC.
bool read_zone(reader &from, int32_t &offset) {
  offset = 0;
  if (from.done()) return true;
  if (from.take('Z') || from.take('z')) return true;
  const bool west = from.take('-');
  if (!west && !from.take('+')) return false;
  int32_t hours = 0;
  int32_t minutes = 0;
  if (!from.number(2, hours)) return false;
  if ((from.take(':') || !from.done()) && !from.number(2, minutes)) return false;
  if (hours > 23 || minutes > 59) return false;
  offset = (hours * 60 + minutes) * (west ? -60 : 60);
  return true;
}

bool read_time(reader &from, xp_time_parts &parts, int32_t &milliseconds) {
  if (!read_date(from, parts)) return false;
  if (from.done()) return true;
  if (!from.take('T') && !from.take('t') && !from.take(' ')) return false;
  return read_clock(from, parts, milliseconds) && read_zone(from, parts.offset) && from.done();
}

bool to_seconds(xp_time_parts parts, int32_t milliseconds, int64_t &seconds) {
  const bool day_end = parts.hour == 24 && parts.minute == 0 && parts.second == 0 && milliseconds == 0;
  if (day_end) parts.hour = 0;
  int64_t shift = (day_end ? xp::seconds_per_day : 0) - parts.offset;
  return xp_time_fromutc(&parts, &seconds) == 0 && !__builtin_add_overflow(seconds, shift, &seconds);
}

// Writes two digits and what stands behind them.
char *add_pair(char *to, int32_t value, char behind) {
  *to++ = static_cast<char>('0' + value / 10);
  *to++ = static_cast<char>('0' + value % 10);
  *to++ = behind;
  return to;
}

// The year has four digits at least. The end of what was written.
char *write_date(char *to, const xp_time_parts &parts) {
  const int64_t year = parts.year < 0 ? -parts.year : parts.year;
  if (parts.year < 0) *to++ = '-';
  for (int64_t below = 1000; below > 1 && year < below; below /= 10)
    *to++ = '0';
  to = std::to_chars(to, to + 20, year).ptr;
  *to++ = '-';
  to = add_pair(to, parts.month, '-');
  to = add_pair(to, parts.day, 'T');
  to = add_pair(to, parts.hour, ':');
  to = add_pair(to, parts.minute, ':');
  return add_pair(to, parts.second, 'Z');
}

}  // namespace

int32_t xp_time_parse(const char *text, int64_t length, int64_t *seconds, int32_t *milliseconds) {
  if (text == nullptr || seconds == nullptr || milliseconds == nullptr) return -1;
  if (length < 0) length = static_cast<int64_t>(strlen(text));
  reader from{.at = text, .end = text + length};
  xp_time_parts parts{};
  int32_t read_ms = 0;
  int64_t read_seconds = 0;
  if (!read_time(from, parts, read_ms) || !to_seconds(parts, read_ms, read_seconds)) return -1;
  *seconds = read_seconds;
  *milliseconds = read_ms;
  return 0;
}

int64_t xp_time_textify(int64_t seconds, char *buffer, int64_t capacity) {
  xp_time_parts parts;
  xp_time_utc(seconds, &parts);
  char text[text_size];
  const int64_t written = write_date(text, parts) - text;
  if (buffer == nullptr) return written;
  const int64_t copied = std::clamp<int64_t>(capacity, 0, written);
  xp_memcpy(buffer, text, static_cast<size_t>(copied));
  return copied;
}
