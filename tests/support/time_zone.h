// The time zone of the process while a test runs: the one that was set before comes back with its end.

#ifndef TESTS_SUPPORT_TIME_ZONE_H
#define TESTS_SUPPORT_TIME_ZONE_H

#include <stdlib.h>
#include <time.h>

#include <optional>
#include <string>

// Half an hour off the full ones; an hour ahead of UTC, two from the last Sunday of March to the last of
// October, changing at 01:00 UTC.
constexpr char half_hour_zone[] = "EAST-5:30";
constexpr char middle_zone[] = "MID-1MIDS,M3.5.0,M10.5.0/3";

class time_zone {
public:
  time_zone() {
    if (const char *before = getenv("TZ")) before_ = before;
  }
  explicit time_zone(const char *zone) : time_zone() { set(zone); }
  time_zone(const time_zone &) = delete;
  time_zone &operator=(const time_zone &) = delete;
  ~time_zone() {
    before_ ? setenv("TZ", before_->c_str(), 1) : unsetenv("TZ");
    tzset();
  }

  void set(const char *zone) {
    setenv("TZ", zone, 1);
    tzset();
  }

private:
  std::optional<std::string> before_;
};

#endif
