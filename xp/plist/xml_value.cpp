#include "xp/plist/xml_value.h"

#include "xp/object/boolean.h"
#include "xp/object/number.h"
#include "xp/object/number_text.h"
#include "xp/service/base64.h"
#include "xp/service/date.h"
#include "xp/service/time.h"
#include "xp/service/url.h"
#include "xp/string/string.h"

#include <stdint.h>

#include <charconv>
#include <system_error>

namespace xp {

namespace {

constexpr uint64_t lowest_magnitude = uint64_t{1} << 63U;  // that of the smallest integer

int64_t size_of(std::string_view text) {
  return static_cast<int64_t>(text.size());
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_blank(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back()))
    text.remove_suffix(1);
  return text;
}

// An object that is there unless memory was exhausted.
xml_value made(xp_obj *object) {
  return {.object = object, .fault = object == nullptr ? "out of memory" : nullptr};
}

xml_value refused(const char *reason) {
  return {.object = nullptr, .fault = reason};
}

// Cuts a sign off; whether it was a minus.
bool cut_sign(std::string_view &text) {
  const bool minus = text.starts_with('-');
  if (minus || text.starts_with('+')) text.remove_prefix(1);
  return minus;
}

bool cut_hexadecimal(std::string_view &digits) {
  const bool hexadecimal = digits.size() > 1 && digits[0] == '0' && (digits[1] | 0x20) == 'x';
  if (hexadecimal) digits.remove_prefix(2);
  return hexadecimal;
}

xml_value signed_integer(bool minus, uint64_t magnitude) {
  if (magnitude < lowest_magnitude || (minus && magnitude == lowest_magnitude)) {
    return made(xp_number_new(static_cast<int64_t>(minus ? 0 - magnitude : magnitude)));
  }
  const auto real = static_cast<double>(magnitude);
  return made(xp_number_newfloat(minus ? -real : real));
}

// The whole text as a float without a sign; beyond the range infinity or zero. False when it is none.
bool read_real(std::string_view text, double &value) {
  const char *end = text.data() + text.size();
  if (text.empty() || text[0] == '-') return false;
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  if (rest != end || error == std::errc::invalid_argument) return false;
  if (error == std::errc::result_out_of_range) {
    const number_reading reading = number_read(text);
    value = reading.is_float ? reading.real : static_cast<double>(reading.integer);
  }
  return true;
}

}  // namespace

xml_value xml_string(std::string_view text) {
  return made(xp_str_make(text.data(), size_of(text)));
}

xml_value xml_integer(std::string_view text) {
  std::string_view digits = trimmed(text);
  const bool minus = cut_sign(digits);
  const int base = cut_hexadecimal(digits) ? 16 : 10;
  const char *end = digits.data() + digits.size();
  uint64_t magnitude = 0;
  const auto [rest, error] = std::from_chars(digits.data(), end, magnitude, base);
  if (rest != end || error == std::errc::invalid_argument) return refused("not an integer");
  if (error == std::errc()) return signed_integer(minus, magnitude);
  double real = 0;
  if (base == 16 || !read_real(digits, real)) return refused("an integer that is too long");
  return made(xp_number_newfloat(minus ? -real : real));
}

xml_value xml_real(std::string_view text) {
  std::string_view digits = trimmed(text);
  const bool minus = cut_sign(digits);
  double real = 0;
  if (!read_real(digits, real)) return refused("not a number");
  return made(xp_number_newfloat(minus ? -real : real));
}

xml_value xml_truth(bool truth) {
  return made(xp_boolean_new(truth ? 1 : 0));
}

xml_value xml_boolean(std::string_view text) {
  const std::string_view word = trimmed(text);
  if (word == "1" || word == "true") return xml_truth(true);
  if (word == "0" || word == "false") return xml_truth(false);
  return refused("not a boolean");
}

xml_value xml_data(std::string_view text) {
  xp_obj *data = xp_b64_data(text.data(), size_of(text), XP_B64_LENIENT);
  if (data == nullptr && xp_b64_decode(text.data(), size_of(text), XP_B64_LENIENT, nullptr, 0) < 0) {
    return refused("not base64");
  }
  return made(data);
}

xml_value xml_date(std::string_view text) {
  const std::string_view iso = trimmed(text);
  int64_t seconds = 0;
  int32_t milliseconds = 0;
  if (xp_time_parse(iso.data(), size_of(iso), &seconds, &milliseconds) != 0) return refused("not a date");
  if (milliseconds == 0) return made(xp_date_make(seconds));
  int64_t total = 0;
  if (__builtin_mul_overflow(seconds, 1000, &total) || __builtin_add_overflow(total, milliseconds, &total)) {
    return refused("a date out of range");
  }
  return made(xp_date_msnew(total));
}

xml_value xml_link(std::string_view text) {
  const std::string_view link = trimmed(text);
  xp_url_parts parts;
  const bool is_url = !link.empty() && xp_url_split(link.data(), size_of(link), &parts) == 0;
  return is_url ? made(xp_url_new(link.data(), size_of(link))) : xml_string(text);
}

}  // namespace xp
