#include "xp/service/time.h"

#include "tests/support/leak_check.h"
#include "tests/support/time_zone.h"
#include "xp/object/number.h"
#include "xp/object/record.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/service/date.h"
#include "xp/string/string.h"

#include <string.h>
#include <time.h>

#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <tuple>

namespace {

using xp::ref;

class time_test : public leak_check {
protected:
  time_zone zone_;
};
using date_test = time_test;

std::string text_of(xp_obj *date) {
  char buffer[64];
  return {buffer, static_cast<size_t>(xp_textify(date, buffer, sizeof buffer))};
}

TEST_F(time_test, parts_as_the_c_library_has_them_and_back) {
  zone_.set(middle_zone);
  constexpr unsigned seed = 20261121;
  std::mt19937_64 random(seed);
  for (int i = 0; i < 20000; ++i) {
    // Half of them in the years that people see, half in all that the C library knows.
    const int64_t range = i % 2 == 0 ? 8000000000 : 67000000000000000;
    const auto seconds = static_cast<int64_t>(random() % static_cast<uint64_t>(2 * range)) - range;
    for (bool local : {false, true}) {
      xp_time_parts parts;
      ASSERT_EQ((local ? xp_time_local : xp_time_utc)(seconds, &parts), 0) << seconds << ", seed " << seed;
      tm expected;
      ASSERT_NE((local ? localtime_r : gmtime_r)(&seconds, &expected), nullptr);
      ASSERT_TRUE(parts.year == int64_t{expected.tm_year} + 1900 && parts.month == expected.tm_mon + 1 &&
                  parts.day == expected.tm_mday && parts.hour == expected.tm_hour &&
                  parts.minute == expected.tm_min && parts.second == expected.tm_sec &&
                  parts.weekday == expected.tm_wday && parts.yearday == expected.tm_yday &&
                  parts.offset == expected.tm_gmtoff)
          << seconds << ", local " << local << ", seed " << seed;
      int64_t back = 0;
      ASSERT_EQ((local ? xp_time_fromlocal : xp_time_fromutc)(&parts, &back), 0) << seconds;
      // Only the hour that the clock shows twice leads elsewhere: to its first run.
      ASSERT_TRUE(back == seconds || (local && back == seconds - 3600)) << seconds << ", seed " << seed;
    }
  }
}

TEST_F(time_test, changes_of_the_clock) {
  zone_.set(middle_zone);
  const std::pair<xp_time_parts, int64_t> cases[] = {
      {{.year = 2026, .month = 3, .day = 29, .hour = 1, .minute = 59, .second = 59}, 1774745999},
      {{.year = 2026, .month = 3, .day = 29, .hour = 2, .minute = 30}, 1774747800},  // never shown
      {{.year = 2026, .month = 3, .day = 29, .hour = 3}, 1774746000},
      {{.year = 2026, .month = 10, .day = 25, .hour = 2, .minute = 30}, 1792888200},  // shown twice
      {{.year = 2026, .month = 10, .day = 25, .hour = 3}, 1792893600},
      {{.year = 2026, .month = 12, .day = 31, .hour = 23, .minute = 59, .second = 60}, 1798758000},
  };
  for (const auto &[shown, expected] : cases) {
    int64_t seconds = 0;
    EXPECT_EQ(xp_time_fromlocal(&shown, &seconds), 0);
    EXPECT_EQ(seconds, expected) << shown.month << " " << shown.hour;
  }
  EXPECT_EQ(xp_time_offset(1774745999), 3600);
  EXPECT_EQ(xp_time_offset(1774746000), 7200);
}

TEST_F(time_test, ranges_end_where_they_should) {
  for (int64_t seconds : {INT64_MIN, INT64_MIN + 1, INT64_MAX}) {
    xp_time_parts parts;
    ASSERT_EQ(xp_time_utc(seconds, &parts), 0);
    int64_t back = 0;
    ASSERT_EQ(xp_time_fromutc(&parts, &back), 0);
    EXPECT_EQ(back, seconds);
    parts.second += seconds < 0 ? -2 : 1;
    EXPECT_EQ(xp_time_fromutc(&parts, &back), -1);
    EXPECT_EQ(xp_time_fromlocal(&parts, &back), -1);
    EXPECT_EQ(back, seconds);
    EXPECT_EQ(xp_time_local(seconds, &parts), -1);
    EXPECT_EQ(parts.month, 0);
    EXPECT_EQ(xp_time_offset(seconds), 0);
    EXPECT_EQ(xp_date_localnew(seconds), nullptr);
  }
  constexpr xp_time_parts good = {.year = 2100, .month = 2, .day = 28};
  int64_t seconds = 0;
  EXPECT_EQ(xp_time_fromutc(&good, &seconds), 0);
  using parts = xp_time_parts;
  for (auto [field, low, high] :
       {std::tuple(&parts::month, 0, 13), std::tuple(&parts::day, 0, 29), std::tuple(&parts::hour, -1, 24),
        std::tuple(&parts::minute, -1, 60), std::tuple(&parts::second, -1, 61)}) {
    parts below = good, above = good;
    below.*field = low, above.*field = high;
    EXPECT_EQ(xp_time_fromutc(&below, &seconds) + xp_time_fromutc(&above, &seconds), -2)
        << low << " " << high;
  }
}

TEST_F(time_test, clocks_and_ticks) {
  // time() reads a coarser clock, which lags behind this one.
  const auto wall_seconds = [] {
    timespec wall;
    clock_gettime(CLOCK_REALTIME, &wall);
    return int64_t{wall.tv_sec};
  };
  const int64_t before = wall_seconds(), seconds = xp_time_now(), milliseconds = xp_time_msnow();
  EXPECT_GE(seconds, before);
  EXPECT_GE(milliseconds / 1000, seconds);
  EXPECT_LE(milliseconds / 1000, wall_seconds());
  const int64_t start = xp_tick_now(), deadline = xp_tick_after(20);
  const timespec pause = {.tv_sec = 0, .tv_nsec = 20000000};
  nanosleep(&pause, nullptr);
  EXPECT_GE(xp_tick_since(start), 20000);
  EXPECT_GE(xp_tick_diff(start, deadline), 20 * XP_TICKS_PER_MS);
  EXPECT_LE(deadline, xp_tick_now() + 20 * XP_TICKS_PER_MS);
  for (int64_t limit : {int64_t{-1}, INT64_MAX, INT64_MAX / 1000})
    EXPECT_EQ(xp_tick_after(limit), INT64_MAX);
}

TEST_F(date_test, texts_that_tell_a_time) {
  const std::pair<const char *, int64_t> cases[] = {
      {"2026-11-15T03:10:37Z|2026-11-15T03:10:37.000Z|2026-11-15T08:40:37+05:30|20261115T03:10:37|"
       "20261114T234037-0330",
       1794712237000},
      {"2026-11-15t03:10:37.5z", 1794712237500},
      {"2026-11-15 03:10:37,0129999", 1794712237012},
      {"2026-11-15T05:10+02|20261115T0310", 1794712200000},
      {"2026-11-15|20261115|2026-11-14T24:00:00Z|2026-11-14T23:59:60Z", 1794700800000},
      {"1969-12-31T23:59:59.999Z", -1},
      {"+10000-01-01", 253402300800000},
      {"-0001-12-31T23:59:59Z", -62167219201000}};
  for (auto [texts, milliseconds] : cases) {
    std::istringstream each(texts);
    for (std::string text; std::getline(each, text, '|');) {
      ref date = ref::adopt(xp_date_coerce(ref::adopt(xp_str_new(text.c_str())).get()));
      ASSERT_TRUE(date) << text;
      EXPECT_EQ(xp_date_ms(date.get()), milliseconds) << text;
    }
  }
  // The first one is empty.
  std::istringstream faulty(
      "|Z|2026|2026-11|2026-11-1|202611155|+20261115|226-11-15|2026-1115|2026-13-01|2026-02-29|"
      "2026-11-15T|2026-11-15T03|2026-11-15T03:10:37+|2026-11-15Z|2026-11-15  03:10|2026-11-15T03:10:61|"
      "2026-11-15T24:00:00.1|2026-11-15T24:00:01|2026-11-15T03:10:37.Z|2026-11-15T03:10.5|"
      "2026-11-15T03:10:37Zx|2026-11-15T03:10:37+24:00|2026-11-15T03:10:37+05:60|"
      "2026-11-15T03:10:37+05:3| 2026-11-15|9999999999999-01-01|292277026596-12-04T15:30:08Z|"
      "292277026596-12-04T15:30:07-00:01");
  for (std::string text; std::getline(faulty, text, '|');)
    EXPECT_EQ(xp_date_coerce(ref::adopt(xp_str_new(text.c_str())).get()), nullptr) << text;
}

TEST_F(date_test, text_is_the_utc_time_and_reads_back) {
  const std::pair<int64_t, const char *> cases[] = {
      {0, "1970-01-01T00:00:00Z"},
      {-1, "1969-12-31T23:59:59Z"},
      {951782400, "2000-02-29T00:00:00Z"},
      {4107542399, "2100-02-28T23:59:59Z"},
      {253402300799, "9999-12-31T23:59:59Z"},
      {253402300800, "10000-01-01T00:00:00Z"},
      {-62167219200, "0000-01-01T00:00:00Z"},
      {-62167219201, "-0001-12-31T23:59:59Z"},
      {INT64_MAX, "292277026596-12-04T15:30:07Z"},
  };
  for (auto [seconds, text] : cases)
    EXPECT_EQ(text_of(ref::adopt(xp_date_make(seconds)).get()), text);
  std::mt19937_64 random(7);
  for (int i = 0; i < 20000; ++i) {
    // Numbers of all sizes.
    const auto seconds = static_cast<int64_t>(random()) >> random() % 64;
    ref date = ref::adopt(xp_date_make(seconds));
    ref string = ref::adopt(xp_str_coerce(date.get()));
    ref back = ref::adopt(xp_date_coerce(string.get()));
    ASSERT_EQ(xp_compare(date.get(), back.get()), 0) << xp_str_getptr(string.get());
    ASSERT_EQ(xp_value(back.get()), seconds);
  }
  char buffer[8] = "#######";
  ref date = ref::adopt(xp_date_make(0));
  EXPECT_EQ(xp_textify(date.get(), nullptr, 0), 20);
  EXPECT_EQ(xp_textify(date.get(), buffer, 4), 4);
  EXPECT_STREQ(buffer, "1970###");
}

TEST_F(date_test, milliseconds_order_and_local_times) {
  zone_.set(middle_zone);
  ref late = ref::adopt(xp_date_msnew(-1));
  ref early = ref::adopt(xp_date_msnew(-1000));
  EXPECT_EQ(xp_value(late.get()), -1);
  EXPECT_EQ(text_of(late.get()), "1969-12-31T23:59:59Z");
  EXPECT_GT(xp_compare(late.get(), early.get()), 0);
  EXPECT_EQ(xp_compare(early.get(), ref::adopt(xp_date_make(-1)).get()), 0);
  // 1 July 2026, 12:00 on the local clock.
  EXPECT_EQ(xp_value(ref::adopt(xp_date_localnew(1782907200)).get()), 1782907200 - 7200);
  EXPECT_EQ(xp_date_ms(ref::adopt(xp_date_localmsnew(1782907200250)).get()), 1782907200250 - 7200000);
  for (int64_t milliseconds : {INT64_MIN, INT64_MAX})
    EXPECT_EQ(xp_date_ms(ref::adopt(xp_date_msnew(milliseconds)).get()), milliseconds);
  for (int64_t seconds : {INT64_MIN, INT64_MAX})
    EXPECT_EQ(xp_date_ms(ref::adopt(xp_date_make(seconds)).get()), seconds);
  EXPECT_EQ(xp_date_ms(nullptr), 0);
}

TEST_F(date_test, dates_of_other_objects) {
  ref date = ref::adopt(xp_date_make(5));
  EXPECT_EQ(ref::adopt(xp_date_coerce(date.get())).get(), date.get());
  EXPECT_EQ(xp_date_ms(ref::adopt(xp_date_coerce(ref::adopt(xp_number_new(-7)).get())).get()), -7000);
  const std::pair<double, int64_t> cases[] = {
      {-0.25, -250}, {1.0004, 1000}, {1.9996, 2000}, {-0x1p63, INT64_MIN}};
  for (auto [number, milliseconds] : cases) {
    ref made = ref::adopt(xp_date_coerce(ref::adopt(xp_number_newfloat(number)).get()));
    EXPECT_EQ(xp_date_ms(made.get()), milliseconds) << number;
  }
  for (double number : {0x1p63, -0x1.0000000000001p63, std::numeric_limits<double>::quiet_NaN()})
    EXPECT_EQ(xp_date_coerce(ref::adopt(xp_number_newfloat(number)).get()), nullptr);
  EXPECT_EQ(xp_date_coerce(nullptr), nullptr);
}

// A record set that keeps the last record.
char kept[32];

int64_t keep(xp_obj * /*obj*/, uint32_t code, int64_t /*argument*/, void *pointer) {
  if (code != XP_CTL_ADDRECORD) return 0;
  const auto &record = *static_cast<xp_record *>(pointer);
  memcpy(kept, &record.name, 4);
  memcpy(kept + 4, &record.type, 4);
  xp::store_be32(kept + 8, record.length);
  memcpy(kept + 12, record.data, record.length);
  return 12 + record.length;
}

TEST_F(date_test, records_hold_the_milliseconds) {
  ref set = ref::adopt(xp_new(xp_code("set "), 0));
  set.get()->control = keep;
  ref date = ref::adopt(xp_date_msnew(-2));
  EXPECT_EQ(xp_control(date.get(), XP_CTL_SERIALIZE, xp_code("when"), set.get()), 20);
  EXPECT_EQ(memcmp(kept, "whenxdat\0\0\0\x08\xff\xff\xff\xff\xff\xff\xff\xfe", 20), 0);
  ref back = ref::adopt(xp_deserialize(date.get(), xp_code("when"), kept));
  EXPECT_EQ(xp_compare(back.get(), date.get()), 0);
  EXPECT_EQ(xp_deserialize(date.get(), xp_code("then"), kept), nullptr);
  xp::store_be32(kept + 8, 7);
  EXPECT_EQ(xp_deserialize(date.get(), 0, kept), nullptr);
  ref far = ref::adopt(xp_date_make(INT64_MAX / 1000 + 1));
  EXPECT_EQ(xp_control(far.get(), XP_CTL_SERIALIZE, 0, set.get()), 0);
}

}  // namespace
