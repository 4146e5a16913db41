#include "xp/service/locale_reader.h"

#include "xp/string/text.h"

#include <limits.h>
#include <string.h>

#include <span>

namespace {

constexpr size_t text_limit = 96;  // bytes of one text: a word of thirty letters of any script

// Keeps a copy of a text. False, with nothing changed, when there is none, it is too long or no UTF-8.
bool keep(xpi_stored_values &stored, std::string_view text, std::string_view &to) {
  if (text.size() > text_limit || text.size() > sizeof stored.texts - stored.used) return false;
  if (xp_str_txtvalid(text.data(), static_cast<int64_t>(text.size())) >= 0) return false;
  char *copy = stored.texts + stored.used;
  stored.used += text.copy(copy, text.size());
  to = {copy, text.size()};
  return true;
}

std::string_view view(const char *text) {
  return text != nullptr ? std::string_view(text, strnlen(text, text_limit + 1)) : std::string_view();
}

// A value that must not be empty, such as a sign.
void keep_some(xpi_stored_values &stored, std::string_view text, std::string_view &to) {
  if (!text.empty()) keep(stored, text, to);
}

// Names that follow each other. All of them or none: a row in two languages would help nobody.
void read_names(xpi_stored_values &stored, char *(*item)(nl_item), nl_item first,
                std::span<std::string_view> to) {
  std::string_view names[12];
  for (size_t i = 0; i < to.size(); ++i) {
    keep_some(stored, view(item(first + static_cast<nl_item>(i))), names[i]);
    if (names[i].empty()) return;
  }
  for (size_t i = 0; i < to.size(); ++i)
    to[i] = names[i];
}

void read_grouping(xpi_stored_values &stored, const char *sizes, const char *separator, const char *point,
                   xp_intl_grouping &to) {
  xpi_read_sizes(sizes, to);
  keep(stored, view(separator), to.separator);
  keep_some(stored, view(point), to.decimal_point);
}

void read_forms(xpi_stored_values &stored, char *(*item)(nl_item)) {
  char half_day[text_limit];
  size_t size = xpi_translate_form(view(item(T_FMT_AMPM)), "", half_day, sizeof half_day);
  const std::string_view half_day_form = size > 0 ? std::string_view(half_day, size) : "#I:#M:#S #p";
  char form[text_limit];
  auto read = [&](nl_item which, std::string_view &to) {
    const size_t length = xpi_translate_form(view(item(which)), half_day_form, form, sizeof form);
    keep_some(stored, {form, length}, to);
  };
  xp_intl_values &values = stored.values;
  read(D_FMT, values.date_form);
  read(T_FMT, values.time_form);
  size = xpi_drop_seconds(values.time_form, form, sizeof form);
  keep_some(stored, {form, size}, values.short_time_form);

  // These are parts of forms that are kept already.
  const std::string_view date_separator = xpi_separator(values.date_form, xpi_date_codes);
  const std::string_view time_separator = xpi_separator(values.time_form, xpi_time_codes);
  if (!date_separator.empty()) values.date_separator = date_separator;
  if (!time_separator.empty()) values.time_separator = time_separator;
}

}  // namespace

void xpi_read_sizes(const char *grouping, xp_intl_grouping &to) {
  to.count = 0;
  to.repeats = true;
  if (grouping == nullptr) return;
  for (; *grouping != 0 && to.count < to.sizes.size(); ++grouping) {
    const auto size = static_cast<signed char>(*grouping);
    if (size < 0 || size == SCHAR_MAX) {
      to.repeats = false;
      return;
    }
    to.sizes[to.count++] = static_cast<uint8_t>(size);
  }
}

void xpi_read(xpi_stored_values &to, const lconv &conventions, char *(*item)(nl_item)) {
  xp_intl_values &values = to.values;
  read_grouping(to, conventions.grouping, conventions.thousands_sep, conventions.decimal_point,
                values.number);
  read_grouping(to, conventions.mon_grouping, conventions.mon_thousands_sep, conventions.mon_decimal_point,
                values.money);
  keep_some(to, view(conventions.positive_sign), values.plus_sign);
  keep_some(to, view(conventions.negative_sign), values.minus_sign);
  read_names(to, item, DAY_1, values.day_names);
  read_names(to, item, ABDAY_1, values.short_day_names);
  read_names(to, item, MON_1, values.month_names);
  read_names(to, item, ABMON_1, values.short_month_names);
  // Many locales have no half days and so no words for them.
  keep(to, view(item(AM_STR)), values.am);
  keep(to, view(item(PM_STR)), values.pm);
  read_forms(to, item);
}
