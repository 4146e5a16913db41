#include "xp/service/date.h"

#include "xp/object/number.h"
#include "xp/object/record.h"
#include "xp/object/type.h"
#include "xp/service/calendar.h"
#include "xp/service/time.h"
#include "xp/string/string.h"

#include <cmath>

namespace {

constexpr int64_t ms_per_second = 1000;
constexpr uint32_t record_size = 8;

struct date : xp_obj {
  static constexpr uint32_t code = xp_code("xdat");
  int64_t seconds;
  int32_t milliseconds;  // 0 to 999, on top of the seconds
};

// False, with *total cut to the range of 64 bits, for a date beyond it.
bool total_ms(const date &d, int64_t &total) {
  // Counted from the second towards 1970, so that the first millisecond of all does not overflow on the way.
  const int64_t borrowed = d.seconds < 0 ? 1 : 0;
  if (!__builtin_mul_overflow(d.seconds + borrowed, ms_per_second, &total) &&
      !__builtin_add_overflow(total, d.milliseconds - borrowed * ms_per_second, &total)) {
    return true;
  }
  total = d.seconds < 0 ? INT64_MIN : INT64_MAX;
  return false;
}

int64_t compare(xp_obj *a, xp_obj *b) {
  auto *x = xp::as<date>(a);
  auto *y = xp::as<date>(b);
  if (x == nullptr || y == nullptr) return xp_compare(a, b);
  if (x->seconds != y->seconds) return x->seconds < y->seconds ? -1 : 1;
  return x->milliseconds - y->milliseconds;
}

int64_t textify(xp_obj *obj, char *buffer, int64_t capacity) {
  auto *d = xp::as<date>(obj);
  return d == nullptr ? 0 : xp_time_textify(d->seconds, buffer, capacity);
}

int64_t serialize(const date &d, int64_t name, void *set) {
  int64_t total = 0;
  if (!total_ms(d, total)) return 0;
  unsigned char content[record_size];
  xp::store_be64(content, static_cast<uint64_t>(total));
  return xp::record_append(set, name, date::code, content, record_size);
}

xp_obj *deserialize(int64_t name, const void *bytes) {
  const xp_record record = xp::record_read(bytes);
  if (!xp::record_fits(record, name, date::code, record_size)) return nullptr;
  return xp_date_msnew(static_cast<int64_t>(xp::load_be64(record.data)));
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void *pointer) {
  auto *d = xp::as<date>(obj);
  if (d == nullptr) return 0;
  switch (code) {
    case XP_CTL_SERIALIZE: return serialize(*d, argument, pointer);
    case XP_CTL_DESERIALIZE: return xp::result(deserialize(argument, pointer));
    case XP_CTL_VALUE: return d->seconds;
    default: return 0;
  }
}

constexpr xp::ops date_ops = {.retain = xp_obj_retain,
                              .release = xp_obj_release,
                              .compare = compare,
                              .textify = textify,
                              .control = control};

xp_obj *make(int64_t seconds, int64_t milliseconds) {
  auto *d = xp::make<date>(date_ops);
  if (d == nullptr) return nullptr;
  d->seconds = seconds;
  d->milliseconds = static_cast<int32_t>(milliseconds);
  return d;
}

xp_obj *make_local(int64_t shown, int64_t milliseconds) {
  xp_time_parts parts;
  int64_t seconds = 0;
  xp_time_utc(shown, &parts);
  return xp_time_fromlocal(&parts, &seconds) == 0 ? make(seconds, milliseconds) : nullptr;
}

xp_obj *from_text(xp_obj *string) {
  int64_t seconds = 0;
  int32_t milliseconds = 0;
  if (xp_time_parse(xp_str_getptr(string), xp_str_length(string), &seconds, &milliseconds) != 0) {
    return nullptr;
  }
  return make(seconds, milliseconds);
}

xp_obj *from_number(xp_obj *number) {
  if (xp_number_isfloat(number) == 0) return make(xp_value(number), 0);
  const double exact = xp_number_float(number);
  const double whole = std::floor(exact);
  // 2^63 is the first float beyond the range; NaN fails both comparisons.
  if (!(whole >= -0x1p63 && whole < 0x1p63)) return nullptr;
  const auto milliseconds = static_cast<int64_t>(std::round((exact - whole) * ms_per_second));
  const auto seconds = static_cast<int64_t>(whole);
  return milliseconds < ms_per_second ? make(seconds, milliseconds) : make(seconds + 1, 0);
}

}  // namespace

uint32_t xp_date_type() {
  return date::code;
}

xp_obj *xp_date_make(int64_t seconds) {
  return make(seconds, 0);
}

xp_obj *xp_date_msnew(int64_t milliseconds) {
  return make(xp::floor_div(milliseconds, ms_per_second), xp::floor_mod(milliseconds, ms_per_second));
}

xp_obj *xp_date_localnew(int64_t seconds) {
  return make_local(seconds, 0);
}

xp_obj *xp_date_localmsnew(int64_t milliseconds) {
  return make_local(xp::floor_div(milliseconds, ms_per_second), xp::floor_mod(milliseconds, ms_per_second));
}

xp_obj *xp_date_coerce(xp_obj *obj) {
  switch (xp_type(obj)) {
    case date::code: return xp_retain(obj);
    case xp_code("xstr"): return from_text(obj);
    case xp_code("xnum"): return from_number(obj);
    default: return nullptr;
  }
}

int64_t xp_date_ms(xp_obj *d) {
  auto *self = xp::as<date>(d);
  int64_t total = 0;
  if (self != nullptr) total_ms(*self, total);
  return total;
}
