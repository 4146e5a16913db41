// Time conversions. Local time is that of a zone five and a half hours east of UTC.

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
  EXPECT_EQ(print("%ld{z::#FT#T#z}", moment), "2026-11-15T08:40:37+0530");
  EXPECT_EQ(
      print("%lD|%lz|%lZ|%#lz|%+lZ|%D", moment, moment, moment, moment, moment, 86400),
      "2026-11-15|2026-11-15|2026-11-15|Sun, 15 Nov 2026 08:40:37 +0530|2026-11-15 03:10:37|1970-01-02");
  EXPECT_EQ(print("%u{Z}|%d{Z}|%lld{Z::#T}", 0x80000000u, -1, -1LL), "2038-01-19|1969-12-31|23:59:59");
  zone_.set("WEST+3:30");
  EXPECT_EQ(print("%ld{z::#z}", moment), "-0330");
}

TEST_F(format_time, zero_is_now) {
  for (const char *pattern : {"%ld{z::#s}", "%ld{Z::#s}"}) {
    long before = time(nullptr);
    char text[32];
    xp_fmt_format(text, sizeof text, pattern, 0L);
    long seen = strtol(text, nullptr, 10);
    EXPECT_GE(seen, before);
    EXPECT_LE(seen, time(nullptr));
  }
}

TEST_F(format_time, codes_of_our_own) {
  EXPECT_EQ(print("%ld{Z::#v|#+|#Z|#/|#:|#Q|#s}", moment),
            "15-Nov-2026|Sun, 15 Nov 2026 03:10:37 +0000|?|/|:|03:10|1794712237");
  EXPECT_EQ(print("%ld{Z::#EY-#Om ## #q %d #}", moment), "2026-11 # q %d ");
  EXPECT_EQ(print("%ld{Z:^:#a #b}|%30lZ{::#A}|%-8lZ{::#p}|", moment, moment, moment),
            "SUN NOV|                        Sunday|AM      |");
  EXPECT_EQ(print("%+ld{Z:~:\"#H\"}", moment), "\\\"03\\\"") << "the plus is no percent-encoding here";
}

TEST_F(format_time, far_away) {
  EXPECT_EQ(print("%ld{Z::#F #T}", INT64_MAX), "292277026596-12-04 15:30:07");
  EXPECT_EQ(print("%ld{Z::#F #T #a #j}", INT64_MIN), "-292277022657-01-27 08:29:52 Sun 027");
  EXPECT_EQ(print("[%ld{z::#F}]", INT64_MAX), "[]") << "the system has no local time for it";
  std::string pattern = "%ld{Z::";
  for (int i = 0; i < 100; ++i)
    pattern += "#F ";
  std::string expected;
  for (int i = 0; i < 100; ++i)
    expected += "2026-11-15 ";
  EXPECT_EQ(print((pattern + "}").c_str(), moment), expected);
}

// What strftime makes of a code; `parts` in local time or UTC.
std::string c_text(char code, const tm &parts) {
  char text[128];
  const char directive[] = {'%', code, 0};
  return {text, strftime(text, sizeof text, directive, &parts)};
}

TEST_F(format_time, as_the_c_library) {
  constexpr unsigned seed = 20260117;
  std::mt19937_64 random(seed);
  constexpr std::string_view codes = "aAbBhCdeHIjklmMpSUWuwyYGgVFTRDrcxXnt+zs";
  for (const char *zone : {"UTC0", half_hour_zone, middle_zone}) {
    zone_.set(zone);
    for (int i = 0; i < 3000; ++i) {
      int64_t seconds = 0;
      switch (i % 3) {
        case 0: seconds = static_cast<int64_t>(random() % 315000000000) - 62167219200 + 86400; break;
        case 1:
          seconds = (i % 2 != 0 ? 1774746000 : 1792890000) + static_cast<int64_t>(random() % 9) - 4;
          break;
        default: seconds = static_cast<int64_t>(random() % 67000000000000000) + 1; break;
      }
      for (const bool local : {false, true}) {
        tm parts;
        (local ? localtime_r : gmtime_r)(&seconds, &parts);
        for (const char code : codes) {
          // The C library takes broken-down UTC for local time, gives early centuries one digit, and has
          // another form for "+".
          if ((code == 's' && !local) || (code == 'C' && parts.tm_year < 1000 - 1900)) continue;
          const std::string expected = code != '+' ? c_text(code, parts)
                                                   : c_text('a', parts) + ", " + c_text('d', parts) + " " +
                                                         c_text('b', parts) + " " + c_text('Y', parts) + " " +
                                                         c_text('T', parts) + " " + c_text('z', parts);
          const std::string pattern = {'#', random() % 2 != 0 ? 'E' : 'O', code};
          char text[128];
          (local ? xp_fmt_localtime : xp_fmt_utctime)(text, sizeof text, seconds, pattern.c_str());
          ASSERT_EQ(text, expected) << code << " of " << seconds << " in " << zone << ", seed " << seed;
        }
      }
    }
  }
}

}  // namespace
