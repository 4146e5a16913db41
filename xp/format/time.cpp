// Times by patterns: "#" and a letter, as the C library's strftime has them, with the words and forms of the
// locale values in use. Dates are Gregorian for ever in both directions.

#include "xp/service/time.h"

#include "xp/format/engine.h"
#include "xp/object/memory.h"
#include "xp/service/calendar.h"
#include "xp/service/locale.h"

#include <charconv>
#include <string_view>

namespace {

// A broken-down time, the time itself and the words to tell it in: one set of them for a whole pattern, even
// when somebody chooses another meanwhile.
struct moment : xp_time_parts {
  int64_t seconds;
  const xp_intl_values &words;
};

// --- Weeks ---

// Weeks of the year that begin on this weekday; the days before the first one are week 0.
int week_from(const xp_time_parts &m, int first_weekday) {
  return (m.yearday + 7 - (m.weekday + 7 - first_weekday) % 7) / 7;
}

struct iso_week {
  int64_t year;
  int week;
};

// A week belongs to the year that has its Thursday.
iso_week iso_week_of(const xp_time_parts &m) {
  int monday_based = (m.weekday + 6) % 7;
  int thursday = m.yearday - monday_based + 3;
  int64_t year = m.year;
  int length = xp::is_leap_year(year) ? 366 : 365;
  if (thursday < 0) {
    --year;
    thursday += xp::is_leap_year(year) ? 366 : 365;
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

struct alias_row {
  char code;
  std::string_view pattern;
};

// Codes that stand for other patterns.
constexpr alias_row aliases[] = {
    {'F', "#Y-#m-#d"},
    {'T', "#H:#M:#S"},
    {'R', "#H:#M"},
    {'D', "#m/#d/#y"},
    {'r', "#I:#M:#S #p"},
    {'v', "#e-#b-#Y"},
    {'+', "#a, #d #b #Y #H:#M:#S #z"},
    {'c', "#a #b #e #H:#M:#S #Y"},
};

// The pattern that a code stands for; empty when it stands for itself.
std::string_view alias_of(char code, const xp_intl_values &words) {
  switch (code) {
    case 'x': return words.date_form;
    case 'X': return words.time_form;
    case 'Q': return words.short_time_form;
    default: break;
  }
  for (const alias_row &row : aliases) {
    if (row.code == code) return row.pattern;
  }
  return {};
}

void add_offset(collector &out, int32_t offset) {
  out.add(offset < 0 ? "-" : "+");
  const int32_t minutes = (offset < 0 ? -offset : offset) / 60;
  out.add_number(minutes / 60, 2);
  out.add_number(minutes % 60, 2);
}

int twelve(int hour) {
  return hour % 12 == 0 ? 12 : hour % 12;
}

void add_name(collector &out, char code, const moment &m) {
  const auto weekday = static_cast<size_t>(m.weekday);
  const auto month = static_cast<size_t>(m.month - 1);
  switch (code) {
    case 'a': out.add(m.words.short_day_names[weekday]); break;
    case 'A': out.add(m.words.day_names[weekday]); break;
    case 'b':
    case 'h': out.add(m.words.short_month_names[month]); break;
    case 'B': out.add(m.words.month_names[month]); break;
    case 'p': out.add(m.hour < 12 ? m.words.am : m.words.pm); break;
    case 'z': add_offset(out, m.offset); break;
    case 'Z': out.add("?"); break;
    case 'n': out.add("\n"); break;
    case 't': out.add("\t"); break;
    case '/': out.add(m.words.date_separator); break;
    case ':': out.add(m.words.time_separator); break;
    // "#" is itself, and so is what nobody knows.
    default: out.add({&code, 1});
  }
}

void add_code(collector &out, char code, const moment &m) {
  switch (code) {
    case 'C': out.add_number(xp::floor_div(m.year, 100), 2); break;
    case 'd': out.add_number(m.day, 2); break;
    case 'e': out.add_number(m.day, 2, ' '); break;
    case 'H': out.add_number(m.hour, 2); break;
    case 'I': out.add_number(twelve(m.hour), 2); break;
    case 'j': out.add_number(m.yearday + 1, 3); break;
    case 'k': out.add_number(m.hour, 2, ' '); break;
    case 'l': out.add_number(twelve(m.hour), 2, ' '); break;
    case 'm': out.add_number(m.month, 2); break;
    case 'M': out.add_number(m.minute, 2); break;
    case 's': out.add_number(m.seconds, 1); break;
    case 'S': out.add_number(m.second, 2); break;
    case 'U': out.add_number(week_from(m, 0), 2); break;
    case 'W': out.add_number(week_from(m, 1), 2); break;
    case 'u': out.add_number(m.weekday == 0 ? 7 : m.weekday, 1); break;
    case 'w': out.add_number(m.weekday, 1); break;
    case 'y': out.add_number(xp::floor_mod(m.year, 100), 2); break;
    case 'Y': out.add_number(m.year, 1); break;
    case 'G': out.add_number(iso_week_of(m).year, 1); break;
    case 'g': out.add_number(xp::floor_mod(iso_week_of(m).year, 100), 2); break;
    case 'V': out.add_number(iso_week_of(m).week, 2); break;
    default: add_name(out, code, m);
  }
}

// Codes that stand for patterns do so in the format alone: a form of somebody's locale values that named
// itself would never end.
void add_pattern(collector &out, std::string_view pattern, const moment &m, bool is_alias = false) {
  for (size_t at = 0; at < pattern.size(); ++at) {
    if (pattern[at] != '#') {
      out.add(pattern.substr(at, 1));
      continue;
    }
    ++at;
    if (at < pattern.size() && (pattern[at] == 'E' || pattern[at] == 'O')) ++at;
    if (at >= pattern.size()) return;
    const std::string_view alias = is_alias ? std::string_view() : alias_of(pattern[at], m.words);
    if (alias.empty()) {
      add_code(out, pattern[at], m);
    } else {
      add_pattern(out, alias, m, true);
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
  moment m{{}, seconds == 0 ? xp_time_now() : seconds, xp_intl_current()};
  xpf_directive text = directive;
  text.flags &= ~XPF_PLUS;  // it has chosen the form and is no escape here
  if (directive.kind == xpf_kind::utc_time) {
    xp_time_utc(m.seconds, &m);
  } else if (xp_time_local(m.seconds, &m) != 0) {
    xpfs_str(out, text, nullptr, 0);
    return;
  }
  std::string_view pattern = pick_pattern(directive);
  char stack[256];
  collector first{stack, sizeof stack};
  add_pattern(first, pattern, m);
  if (first.used <= sizeof stack) {
    xpfs_str(out, text, stack, static_cast<int64_t>(first.used));
    return;
  }
  auto *heap = static_cast<char *>(xp_alloc(first.used));
  if (heap == nullptr) return;
  collector second{heap, first.used};
  add_pattern(second, pattern, m);
  xpfs_str(out, text, heap, static_cast<int64_t>(second.used));
  xp_free(heap);
}
