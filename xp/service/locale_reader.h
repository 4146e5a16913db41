// Reads a set of locale values out of what the C library knows of a locale. Internal to the locale module;
// the C library's answers are arguments so that any locale can be read, the odd ones too.

#ifndef XP_SERVICE_LOCALE_READER_H
#define XP_SERVICE_LOCALE_READER_H

#include "xp/service/locale.h"

#include <langinfo.h>
#include <locale.h>
#include <stddef.h>

// Values that hold their own texts, because the C library overwrites its own. Never moved: they point into
// themselves.
struct xpi_stored_values {
  xpi_stored_values() = default;
  xpi_stored_values(const xpi_stored_values &) = delete;
  xpi_stored_values &operator=(const xpi_stored_values &) = delete;

  xp_intl_values values;
  size_t used = 0;
  char texts[4096];  // five times what real locales need; not initialised
};

// Fills values that are the C locale's. `item` answers as nl_langinfo does.
void xpi_read(xpi_stored_values &to, const lconv &conventions, char *(*item)(nl_item));

// --- Its parts ---

// The sizes of a grouping string of the C library: a size of 0 repeats the one before for ever, CHAR_MAX or a
// negative one ends the grouping.
void xpi_read_sizes(const char *grouping, xp_intl_grouping &to);

// A pattern of strftime as a pattern of ours, with every code that stands for a pattern written out ("%r" as
// `half_day_form`, which has no "%r" itself); its bytes, or 0 when the pattern is empty, does not fit or has
// a code that ours lack.
size_t xpi_translate_form(std::string_view form, std::string_view half_day_form, char *to, size_t room);

// Codes of dates and of times that separators part.
constexpr std::string_view xpi_date_codes = "bBCdeghGmyY";
constexpr std::string_view xpi_time_codes = "HIklMS";

// What stands between any two neighbours of these codes in one of our patterns; empty when no two follow each
// other, or they are not all parted in the same way.
std::string_view xpi_separator(std::string_view form, std::string_view codes);

// One of our time patterns without its seconds.
size_t xpi_drop_seconds(std::string_view form, char *to, size_t room);

#endif
