#include "xp/service/time.h"

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "tests/support/time_zone.h"
#include "xp/object/number.h"
#include "xp/object/record.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/service/date.h"
#include "xp/string/string.h"

#include <math.h>
#include <string.h>
#include <time.h>

#include <chrono>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>

namespace {

using xp::ref;

class time_test : public leak_check {
protected:
  time_zone zone_;
};
using date_test = time_test;

ref date(int64_t seconds) {
  return ref::adopt(xp_date_make(seconds));
}

// The milliseconds of a new date.
int64_t ms(xp_obj *made) {
  return xp_date_ms(ref::adopt(made).get());
}

// What the parts are is held against the C library where the format engine prints them.
TEST_F(time_test, parts_lead_back_to_their_time) {
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
      int64_t back = 0;
      ASSERT_EQ((local ? xp_time_fromlocal : xp_time_fromutc)(&parts, &back), 0) << seconds;
      // Only the hour that the clock shows twice leads elsewhere: to its first run.
      ASSERT_TRUE(back == seconds || (local && back == seconds - 3600)) << seconds << ", seed " << seed;
    }
  }
}

TEST_F(time_test, changes_of_the_clock) {
  zone_.set(middle_zone);
  // The second is left out, the fourth shown twice, the last a leap second.
  for (const auto &[shown, seconds] :
       pairs_of("2026-03-29T01:59:59>1774745999 2026-03-29T02:30>1774747800 2026-03-29T03:00>1774746000 "
                "2026-10-25T02:30>1792888200 2026-10-25T03:00>1792893600 2026-12-31T23:59:60>1798758000")) {
    const ref utc = ref::adopt(xp_date_coerce(str(shown).get()));
    expect({xp_value(ref::adopt(xp_date_localnew(xp_value(utc.get()))).get())}, seconds);
  }
  expect({xp_time_offset(1774745999), xp_time_offset(1774746000)}, "3600 7200");
}

TEST_F(time_test, ranges_end_where_they_should) {
  for (int64_t seconds : {INT64_MIN, INT64_MIN + 1, INT64_MAX}) {
    xp_time_parts parts;
    ASSERT_EQ(xp_time_utc(seconds, &parts), 0);
    int64_t back = 0;
    ASSERT_EQ(xp_time_fromutc(&parts, &back), 0);
    EXPECT_EQ(back, seconds);
    parts.second += seconds < 0 ? -2 : 1;
    expect({xp_time_fromutc(&parts, &back), xp_time_fromlocal(&parts, &back), back,
            xp_time_local(seconds, &parts), parts.month, xp_time_offset(seconds), xp_date_localnew(seconds)},
           "-1 -1 " + std::to_string(seconds) + " -1 0 0 null");
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
  // Not time(), whose coarser clock lags behind.
  const auto wall = [] {
    return floor<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
  };
  const int64_t before = wall(), seconds = xp_time_now(), milliseconds = xp_time_msnow();
  EXPECT_TRUE(before <= seconds && seconds <= milliseconds / 1000 && milliseconds / 1000 <= wall())
      << before << " " << seconds << " " << milliseconds;
  const int64_t start = xp_tick_now(), deadline = xp_tick_after(20);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_GE(xp_tick_since(start), 20000);
  EXPECT_GE(xp_tick_diff(start, deadline), 20 * XP_TICKS_PER_MS);
  EXPECT_LE(deadline, xp_tick_now() + 20 * XP_TICKS_PER_MS);
  for (int64_t limit : {int64_t{-1}, INT64_MAX, INT64_MAX / 1000})
    EXPECT_EQ(xp_tick_after(limit), INT64_MAX);
}

// The milliseconds that texts tell.
TEST_F(date_test, texts_that_tell_a_time) {
  const std::pair<const char *, std::string> cases[] = {
      {"2026-11-15T03:10:37Z|2026-11-15T03:10:37.000Z|2026-11-15T08:40:37+05:30|20261115T03:10:37|"
       "20261114T234037-0330",
       "1794712237000"},
      {"2026-11-15t03:10:37.5z", "1794712237500"},
      {"2026-11-15 03:10:37,0129999", "1794712237012"},
      {"2026-11-15T05:10+02|20261115T0310", "1794712200000"},
      {"2026-11-15|20261115|2026-11-14T24:00:00Z|2026-11-14T23:59:60Z", "1794700800000"},
      {"1969-12-31T23:59:59.999Z", "-1"},
      {"+10000-01-01", "253402300800000"},
      {"-0001-12-31T23:59:59Z", "-62167219201000"},
      // The first one is empty.
      {"|Z|2026|2026-11|2026-11-1|202611155|+20261115|226-11-15|2026-1115|2026-13-01|2026-02-29|"
       "2026-11-15T|2026-11-15T03|2026-11-15T03:10:37+|2026-11-15Z|2026-11-15  03:10|2026-11-15T03:10:61|"
       "2026-11-15T24:00:00.1|2026-11-15T24:00:01|2026-11-15T03:10:37.Z|2026-11-15T03:10.5|"
       "2026-11-15T03:10:37Zx|2026-11-15T03:10:37+24:00|2026-11-15T03:10:37+05:60|"
       "2026-11-15T03:10:37+05:3| 2026-11-15|9999999999999-01-01|292277026596-12-04T15:30:08Z|"
       "292277026596-12-04T15:30:07-00:01",
       "none"}};
  for (const auto &[texts, milliseconds] : cases) {
    std::istringstream each(texts);
    for (std::string text; std::getline(each, text, '|');) {
      const ref read = ref::adopt(xp_date_coerce(str(text).get()));
      EXPECT_EQ(read ? std::to_string(xp_date_ms(read.get())) : "none", milliseconds) << text;
    }
  }
}

TEST_F(date_test, text_is_the_utc_time_and_reads_back) {
  for (const auto &[seconds, text] :
       pairs_of("951782400>2000-02-29T00:00:00Z 253402300800>10000-01-01T00:00:00Z "
                "-62167219200>0000-01-01T00:00:00Z -62167219201>-0001-12-31T23:59:59Z "
                "9223372036854775807>292277026596-12-04T15:30:07Z"))
    expect({xp_str_coerce(date(std::stoll(seconds)).get())}, text);
  std::mt19937_64 random(7);
  for (int i = 0; i < 20000; ++i) {
    // Numbers of all sizes.
    const auto seconds = static_cast<int64_t>(random()) >> random() % 64;
    const ref made = date(seconds), string = ref::adopt(xp_str_coerce(made.get()));
    const ref back = ref::adopt(xp_date_coerce(string.get()));
    ASSERT_EQ(xp_compare(made.get(), back.get()), 0) << xp_str_getptr(string.get());
    ASSERT_EQ(xp_value(back.get()), seconds);
  }
  char buffer[8] = "#######";
  const ref zero = date(0);
  expect({xp_textify(zero.get(), nullptr, 0), xp_textify(zero.get(), buffer, 4), buffer}, "20 4 1970###");
}

TEST_F(date_test, milliseconds_order_and_local_times) {
  zone_.set(middle_zone);
  const ref late = ref::adopt(xp_date_msnew(-1)), early = ref::adopt(xp_date_msnew(-1000));
  expect({xp_value(late.get()), xp_str_coerce(late.get()), xp_compare(early.get(), date(-1).get())},
         "-1 1969-12-31T23:59:59Z 0");
  EXPECT_GT(xp_compare(late.get(), early.get()), 0);
  // 1 July 2026, 12:00 on the local clock.
  expect(
      {ms(xp_date_localnew(1782907200)), ms(xp_date_localmsnew(1782907200250)), ms(xp_date_msnew(INT64_MIN)),
       ms(xp_date_msnew(INT64_MAX)), ms(xp_date_make(INT64_MIN)), ms(xp_date_make(INT64_MAX)), ms(nullptr)},
      "1782900000000 1782900000250 -9223372036854775808 9223372036854775807 -9223372036854775808 "
      "9223372036854775807 0");
}

TEST_F(date_test, dates_of_other_objects) {
  const ref five = date(5);
  EXPECT_EQ(ref::adopt(xp_date_coerce(five.get())).get(), five.get());
  const auto of_float = [](double number) {
    return xp_date_coerce(ref::adopt(xp_number_newfloat(number)).get());
  };
  expect({ms(xp_date_coerce(num(-7).get())), ms(of_float(-0.25)), xp_value(ref::adopt(of_float(-0.25)).get()),
          ms(of_float(1.0004)), ms(of_float(1.9996)), xp_value(ref::adopt(of_float(-0x1p63)).get()),
          of_float(0x1p63), of_float(-0x1.0000000000001p63), of_float(NAN), xp_date_coerce(nullptr)},
         "-7000 -250 -1 1000 2000 -9223372036854775808 null null null null");
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
  const ref set = ref::adopt(xp_new(xp_code("set "), 0)), made = ref::adopt(xp_date_msnew(-2)),
            far = date(INT64_MAX / 1000 + 1), first = ref::adopt(xp_date_msnew(INT64_MIN));
  set.get()->control = keep;
  expect({xp_control(far.get(), XP_CTL_SERIALIZE, 0, set.get()),
          xp_control(first.get(), XP_CTL_SERIALIZE, 0, set.get()),
          xp_control(made.get(), XP_CTL_SERIALIZE, xp_code("when"), set.get())},
         "0 20 20");
  EXPECT_EQ(memcmp(kept, "whenxdat\0\0\0\x08\xff\xff\xff\xff\xff\xff\xff\xfe", 20), 0);
  expect({ms(xp_deserialize(made.get(), xp_code("when"), kept)),
          xp_deserialize(made.get(), xp_code("then"), kept)},
         "-2 null");
  xp::store_be32(kept + 8, 7);
  EXPECT_EQ(xp_deserialize(made.get(), 0, kept), nullptr);
}

}  // namespace
