// Time conversions. Local time is that of a zone five and a half hours east of UTC.

#include "xp/service/time.h"

#include "print.h"
#include "tests/support/leak_check.h"
#include "tests/support/time_zone.h"
#include "xp/format/value_text.h"

#include <time.h>

#include <random>

namespace {

class format_time : public leak_check {
protected:
  time_zone zone_{half_hour_zone};
};

constexpr long moment = 1794712237;  // 2026-11-15 03:10:37 UTC, a Sunday

TEST_F(format_time, local_and_utc) {
  EXPECT_EQ(print("%lu{Z::#FT#T.000Z}", moment), "2026-11-15T03:10:37.000Z");
  EXPECT_EQ(
      print("%lD|%lz|%lZ|%#lz|%+lZ|%D", moment, moment, moment, moment, moment, 86400),
      "2026-11-15|2026-11-15|2026-11-15|Sun, 15 Nov 2026 08:40:37 +0530|2026-11-15 03:10:37|1970-01-02");
  EXPECT_EQ(print("%u{Z}|%d{Z}|%lld{Z::#T}", 0x80000000u, -1, -1LL), "2038-01-19|1969-12-31|23:59:59");
  zone_.set("WEST+3:30");
  EXPECT_EQ(print("%ld{z::#z}", moment), "-0330");
}

TEST_F(format_time, zero_is_now) {
  for (const auto write : {xp_fmt_utctime, xp_fmt_localtime}) {
    const int64_t before = xp_time_now();
    char text[32];
    write(text, sizeof text, 0, "#s");
    EXPECT_TRUE(before <= std::stol(text) && std::stol(text) <= xp_time_now()) << text;
  }
}

TEST_F(format_time, codes_of_our_own) {
  EXPECT_EQ(print("%ld{Z::#Z|#/|#:|#s|#EY-#Om|##|#q|%d #}", moment), "?|/|:|1794712237|2026-11|#|q|%d ");
  EXPECT_EQ(print("%ld{Z:^:#a #b}|%30lZ{::#A}|%-8lZ{::#p}|", moment, moment, moment),
            "SUN NOV|                        Sunday|AM      |");
  EXPECT_EQ(print("%+ld{Z:~:\"#H\"}", moment), "\\\"03\\\"") << "the plus is no percent-encoding here";
}

TEST_F(format_time, far_away) {
  EXPECT_EQ(print("%ld{Z::#F #T}", INT64_MAX), "292277026596-12-04 15:30:07");
  EXPECT_EQ(print("%ld{Z::#F #T #a #j}", INT64_MIN), "-292277022657-01-27 08:29:52 Sun 027");
  EXPECT_EQ(print("[%ld{z::#F}]", INT64_MAX), "[]") << "the system has no local time for it";
  // A text too long for the stack.
  EXPECT_EQ(print("%ld{Z::#c#c#c#c#c#c#c#c#c#c#c#c}", moment).size(), 12 * 24u);
}

TEST_F(format_time, as_the_c_library) {
  constexpr unsigned seed = 20260117;
  std::mt19937_64 random(seed);
  constexpr std::string_view codes = "aAbBhCdeHIjklmMpSUWuwyYGgVFTRDrcxXntzsv+Q";
  for (const char *zone : {"UTC0", half_hour_zone, middle_zone}) {
    zone_.set(zone);
    for (int i = 0; i < 6000; ++i) {
      // Any year from 1 on, the four digits of years, and the changes of the clock.
      auto seconds = static_cast<int64_t>(random() % 67000000000000000) + 1;
      if (i % 3 == 0) seconds = seconds % 315000000000 - 62135596800;
      if (i % 3 == 1) seconds = (i % 2 != 0 ? 1774746000 : 1792890000) + seconds % 9 - 4;
      const bool local = random() % 2 != 0;
      tm parts;
      (local ? localtime_r : gmtime_r)(&seconds, &parts);
      for (const char code : codes) {
        // The C library takes broken-down UTC for local time, and gives early centuries one digit.
        if ((code == 's' && !local) || (code == 'C' && parts.tm_year < 1000 - 1900)) continue;
        const std::string directive = code == 'v'   ? "%e-%b-%Y"
                                      : code == '+' ? "%a, %d %b %Y %H:%M:%S %z"
                                      : code == 'Q' ? "%H:%M"
                                                    : std::string{'%', code};
        char expected[128] = "", text[128];
        strftime(expected, sizeof expected, directive.c_str(), &parts);
        const std::string pattern = std::string("#E#O#").substr(random() % 3 * 2, 2);
        (local ? xp_fmt_localtime : xp_fmt_utctime)(text, sizeof text, seconds, (pattern + code).c_str());
        ASSERT_STREQ(text, expected) << code << " of " << seconds << " in " << zone << ", seed " << seed;
      }
    }
  }
}

}  // namespace
