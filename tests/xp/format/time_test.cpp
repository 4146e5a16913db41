// Time conversions. Local time is that of a zone five and a half hours east of UTC.

#include "print.h"
#include "tests/support/leak_check.h"

#include <stdlib.h>
#include <time.h>

#include <random>

namespace {

class format_time : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    const char *zone = getenv("TZ");
    had_zone_ = zone != nullptr;
    if (had_zone_) zone_ = zone;
    set_zone("EAST-5:30");
  }
  void TearDown() override {
    if (had_zone_) {
      set_zone(zone_.c_str());
    } else {
      unsetenv("TZ");
      tzset();
    }
    leak_check::TearDown();
  }
  static void set_zone(const char *zone) {
    setenv("TZ", zone, 1);
    tzset();
  }

private:
  bool had_zone_ = false;
  std::string zone_;
};

constexpr long moment = 1794712237;  // 2026-11-15 03:10:37 UTC, a Sunday

TEST_F(format_time, local_and_utc) {
  EXPECT_EQ(print("%lu{Z::#FT#T.000Z}", moment), "2026-11-15T03:10:37.000Z");
  EXPECT_EQ(print("%ld{z::#FT#T#z}", moment), "2026-11-15T08:40:37+0530");
  EXPECT_EQ(
      print("%lD|%lz|%lZ|%#lz|%+lZ|%D", moment, moment, moment, moment, moment, 86400),
      "2026-11-15|2026-11-15|2026-11-15|Sun, 15 Nov 2026 08:40:37 +0530|2026-11-15 03:10:37|1970-01-02");
  EXPECT_EQ(print("%u{Z}|%d{Z}|%lld{Z::#T}", 0x80000000u, -1, -1LL), "2038-01-19|1969-12-31|23:59:59");
  set_zone("WEST+3:30");
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

TEST_F(format_time, as_the_c_library) {
  std::mt19937_64 random(20260117);
  constexpr char codes[] = "aAbBhCdeHIjklmMpSUWuwyYGgVFTRDrcxXnt";
  for (int i = 0; i < 5000; ++i) {
    // From the year 1000 on, so that the years have four digits.
    auto seconds = static_cast<time_t>(random() % 250000000000) - 30000000000;
    for (const char *c = codes; *c != 0; ++c) {
      tm parts;
      gmtime_r(&seconds, &parts);
      char expected[64];
      char directive[] = {'%', *c, 0};
      strftime(expected, sizeof expected, directive, &parts);
      char pattern[] = "%ld{Z::#?}";
      pattern[8] = *c;
      char text[64];
      xp_fmt_format(text, sizeof text, pattern, seconds);
      ASSERT_STREQ(text, expected) << *c << " of " << seconds;
    }
  }
}

}  // namespace
