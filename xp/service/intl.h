// The locale values that texts of times need: words, separators and forms. They are the C locale's, whatever
// locale the process has set: texts of this system are read by programs, and the page has its own words for
// people. Numbers need none: the C locale groups no digits, and "." and "-" are its signs.
//
// Forms are patterns of the format engine's time conversions: "#" and a letter.

#ifndef XP_SERVICE_INTL_H
#define XP_SERVICE_INTL_H

#include <stddef.h>

#include <string_view>

namespace xp::intl {

// The first `short_name` letters of a name are its short form.
constexpr size_t short_name = 3;

constexpr std::string_view day_names[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                          "Thursday", "Friday", "Saturday"};
constexpr std::string_view month_names[] = {"January",   "February", "March",    "April",
                                            "May",       "June",     "July",     "August",
                                            "September", "October",  "November", "December"};
constexpr std::string_view am = "AM";
constexpr std::string_view pm = "PM";

constexpr std::string_view date_separator = "/";
constexpr std::string_view time_separator = ":";

constexpr std::string_view date_form = "#m/#d/#y";
constexpr std::string_view time_form = "#H:#M:#S";
constexpr std::string_view short_time_form = "#H:#M";
constexpr std::string_view date_and_time_form = "#a #b #e #H:#M:#S #Y";

}  // namespace xp::intl

#endif
