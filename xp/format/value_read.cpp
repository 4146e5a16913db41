// The readers of single values.

#include "xp/format/text_reader.h"
#include "xp/format/value_text.h"
#include "xp/object/number_text.h"
#include "xp/string/text.h"

#include <arpa/inet.h>
#include <math.h>
#include <string.h>

#include <string_view>

namespace {

std::string_view view(const char *text, int64_t length) {
  return text != nullptr ? std::string_view(text, static_cast<size_t>(xp_str_txtlen(text, length)))
                         : std::string_view();
}

bool starts_with_word(std::string_view text, std::string_view word) {
  return text.size() >= word.size() && strncasecmp(text.data(), word.data(), word.size()) == 0;
}

// The byte of two hexadecimal digits at the start of a text, or -1.
int pair_value(std::string_view text) {
  if (text.size() < 2) return -1;
  const int high = xpf_hex_value(text[0]);
  const int low = xpf_hex_value(text[1]);
  return high < 0 || low < 0 ? -1 : high * 16 + low;
}

}  // namespace

double xp_fmt_getdouble(const char *text, int64_t length) {
  std::string_view rest = view(text, length);
  while (!rest.empty() && xpf_is_space(rest.front()))
    rest.remove_prefix(1);
  const bool negative = rest.starts_with('-');
  std::string_view word = rest.substr(negative || rest.starts_with('+') ? 1 : 0);
  if (starts_with_word(word, "inf")) return negative ? -HUGE_VAL : HUGE_VAL;
  if (starts_with_word(word, "nan")) return NAN;
  const xp::number_reading number = xp::number_read(rest);
  if (number.is_float) return number.real;
  // A zero among the integers has lost its sign.
  if (negative && number.integer == 0 && word.starts_with('0')) return -0.0;
  return static_cast<double>(number.integer);
}

int64_t xp_fmt_getdata(const char *text, int64_t length, void *bytes, int64_t capacity) {
  std::string_view rest = view(text, length);
  auto *to = static_cast<unsigned char *>(bytes);
  int64_t count = 0;
  while (!rest.empty()) {
    if (xpf_is_space(rest.front())) {
      rest.remove_prefix(1);
      continue;
    }
    const int value = pair_value(rest);
    if (value < 0) return -1;
    rest.remove_prefix(2);
    if (to != nullptr && count >= capacity) continue;
    if (to != nullptr) to[count] = static_cast<unsigned char>(value);
    ++count;
  }
  return count;
}

int32_t xp_fmt_getuuid(const char *text, int64_t length, void *bytes) {
  std::string_view rest = view(text, length);
  unsigned char read[16];
  if (bytes == nullptr || rest.size() != 36) return -1;
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) {
      if (rest.front() != '-') return -1;
      rest.remove_prefix(1);
    }
    const int value = pair_value(rest);
    if (value < 0) return -1;
    read[i] = static_cast<unsigned char>(value);
    rest.remove_prefix(2);
  }
  memcpy(bytes, read, sizeof read);
  return 0;
}

int32_t xp_fmt_getaddr(const char *text, int64_t length, void *address) {
  const std::string_view whole = view(text, length);
  char copy[INET6_ADDRSTRLEN];
  // The C library stops at a zero byte, which is part of no address.
  if (address == nullptr || whole.size() >= sizeof copy || whole.find('\0') != std::string_view::npos)
    return 0;
  copy[whole.copy(copy, sizeof copy)] = 0;
  unsigned char read[16];
  int32_t size = 0;
  if (inet_pton(AF_INET, copy, read) == 1) {
    size = 4;
  } else if (inet_pton(AF_INET6, copy, read) == 1) {
    size = 16;
  }
  memcpy(address, read, static_cast<size_t>(size));
  return size;
}
