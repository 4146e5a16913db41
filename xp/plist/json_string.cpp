#include "xp/plist/json_string.h"

#include "xp/object/number.h"
#include "xp/plist/byte_scan.h"
#include "xp/string/string.h"
#include "xp/string/string_impl.h"

#include <string.h>

#include <array>
#include <bit>
#include <iterator>

namespace {

using xp::json_token;

constexpr uint32_t longest_key = 255;  // as dictionaries keep them

// A step of the scan copies this many bytes and looks at them.
constexpr ptrdiff_t step = xp::string_step;

// One bit for each of the sixteen bytes at `from` that ends a string or begins an escape; copies all of them.
//
// Deliberate: the builtin. A hardened memcpy whose room the compiler has to follow becomes a call.
inline uint32_t copy_and_mark(char *to, const char *from) {
  __builtin_memcpy(to, from, step);
  return xp::string_marks(from);
}

// The byte that an escaped byte stands for; 0 for those whose escapes are longer.
constexpr std::array<char, 256> escaped = [] {
  std::array<char, 256> table{};
  for (size_t i = 0; i < table.size(); ++i)
    table[i] = static_cast<char>(i);
  table['n'] = '\n';
  table['r'] = '\r';
  table['t'] = '\t';
  for (char c : {'x', '0', '1', '2', '3'})
    table[static_cast<unsigned char>(c)] = 0;
  return table;
}();

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool in_number(char c) {
  return is_digit(c) || c == '.' || c == '-' || c == '+' || c == 'e' || c == 'E';
}

// What stands behind a string that ends before `quote`, or with the text.
const char *behind(const char *quote, const char *end) {
  return quote < end ? quote + 1 : end;
}

json_token clean_string(const char *at, const char *quote, const char *end) {
  return {xp_str_make(at, quote - at), behind(quote, end)};
}

// The plain way.
json_token any_string(const char *at, const char *end) {
  const char *quote = xp::scan(at, end, xp::string_ends);
  if (quote == end || *quote == '"') return clean_string(at, quote, end);
  const std::string_view raw = xp::json_raw_string(at, end);
  return {xp_str_unescaped(raw.data(), std::ssize(raw)), behind(at + raw.size(), end)};
}

json_token any_number(const char *at, const char *end) {
  const char *begin = at;
  while (at < end && in_number(*at))
    ++at;
  return {xp_number_parse(begin, at - begin), at};
}

// Fewer than sixteen bytes of at least sixteen: all of those are copied, and the string is cut.
json_token short_string(const char *at, int64_t length) {
  xps_string *s = xps_make(step - 1);
  if (s == nullptr) return {nullptr, at};
  memcpy(xps_room(s), at, step);
  return {xps_finish(s, length), at + length + 1};
}

// The text gathers on the stack and is copied once, when its length is known. `from` is the first backslash.
// What does not fit on the stack and rare escapes are left to the plain way.
json_token escaped_string(const char *at, const char *from, const char *end) {
  std::array<char, 1024> text;
  char *to = text.data();
  char *const last = text.data() + text.size() - step;
  if (from - at > last - to) return any_string(at, end);
  memcpy(to, at, static_cast<size_t>(from - at));
  to += from - at;
  while (end - from >= step && to <= last) {
    const uint32_t marks = copy_and_mark(to, from);
    if (marks == 0) {
      from += step;
      to += step;
      continue;
    }
    const int clean = std::countr_zero(marks);
    from += clean;
    to += clean;
    if (*from == '"') return {xp_str_make(text.data(), to - text.data()), from + 1};
    if (end - from < 2) break;
    const char byte = escaped[static_cast<unsigned char>(from[1])];
    if (byte == 0) break;
    *to++ = byte;
    from += 2;
  }
  return any_string(at, end);
}

// Reads digits into `value` and counts them.
inline int read_digits(const char *&at, const char *end, uint64_t &value) {
  const char *begin = at;
  for (; at < end && is_digit(*at); ++at)
    value = value * 10 + static_cast<uint64_t>(*at - '0');
  return static_cast<int>(at - begin > 19 ? 19 + 1 : at - begin);
}

}  // namespace

namespace xp {

std::string_view json_raw_string(const char *at, const char *end) {
  const char *begin = at;
  if (end - at >= string_step) {
    const uint32_t marks = string_marks(at);
    if (marks != 0) {
      const auto clean = static_cast<size_t>(std::countr_zero(marks));
      if (at[clean] == '"') return {begin, clean};
    }
  }
  while ((at = scan(at, end, string_ends)) < end && *at == '\\') {
    at += end - at > 1 ? 2 : 1;
  }
  return {begin, static_cast<size_t>(at - begin)};
}

uint32_t json_key_length(std::string_view key) {
  if (key.size() <= longest_key) return static_cast<uint32_t>(key.size());
  uint32_t begin = longest_key;
  while (begin > 0 && key[begin - 1] == '\\')
    --begin;
  return longest_key - (longest_key - begin) % 2;
}

// Most strings have no escapes and are copied from where they stand. What is left of the last bytes of the
// input goes the plain way.
json_token json_string(const char *at, const char *end) {
  for (const char *from = at; end - from >= step; from += step) {
    const uint32_t marks = string_marks(from);
    if (marks == 0) continue;
    const char *mark = from + std::countr_zero(marks);
    if (*mark != '"') return escaped_string(at, mark, end);
    return from == at ? short_string(at, mark - at) : clean_string(at, mark, end);
  }
  return any_string(at, end);
}

// Integers of up to 18 digits, and decimal fractions that a float holds exactly before they are divided by an
// exact power of ten, so that the quotient is the nearest float. All others are left to the plain way.
json_token json_number(const char *at, const char *end) {
  static constexpr std::array<double, 16> powers = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                    1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const char *from = at;
  const bool negative = *from == '-';
  if (negative) ++from;
  uint64_t value = 0;
  const int whole = read_digits(from, end, value);
  if (whole == 0 || whole > 18) return any_number(at, end);
  if (from == end || !in_number(*from)) {
    const auto integer = static_cast<int64_t>(value);
    return {xp_number_new(negative ? -integer : integer), from};
  }
  if (*from != '.') return any_number(at, end);
  ++from;
  const int fraction = read_digits(from, end, value);
  if (whole + fraction > 15 || (from < end && in_number(*from))) return any_number(at, end);
  const double real = static_cast<double>(value) / powers[static_cast<size_t>(fraction)];
  return {xp_number_newfloat(negative ? -real : real), from};
}

}  // namespace xp
