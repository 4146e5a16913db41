// Which bytes may stand where in a URL. Internal to this folder.

#ifndef XP_SERVICE_URL_CHARS_H
#define XP_SERVICE_URL_CHARS_H

#include "xp/service/url_percent.h"

#include <stdint.h>

#include <array>
#include <string_view>

namespace xp {

constexpr std::string_view digits = "0123456789";
constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

// Beside letters, digits and these four, each place has its own.
constexpr std::string_view unreserved_marks = "-._~";
constexpr std::string_view places[] = {
    "",                 // XP_URL_UNRESERVED
    "!$&'()*+,;=:",     // XP_URL_USER
    "!$&'()*+,;=",      // XP_URL_HOST
    "!$&'()*+,;=:@",    // XP_URL_SEGMENT
    "!$&'()*+,;=:@/",   // XP_URL_PATH
    "!$&'()*+,;=:@/?",  // XP_URL_QUERY
    "!$'()*,:@/?",      // XP_URL_ARGUMENT
};

// For each byte the places in which it stands as it is, one bit for each.
consteval std::array<uint8_t, 256> make_places_of() {
  std::array<uint8_t, 256> table{};
  for (std::string_view everywhere : {letters, digits, unreserved_marks})
    for (char c : everywhere)
      table[static_cast<unsigned char>(c)] = 0xff;
  for (uint32_t place = 0; place < std::size(places); ++place)
    for (char c : places[place])
      table[static_cast<unsigned char>(c)] |= static_cast<uint8_t>(1U << place);
  return table;
}

inline constexpr std::array<uint8_t, 256> places_of = make_places_of();

inline bool stands(char c, uint32_t place) {
  return (places_of[static_cast<unsigned char>(c)] >> place & 1) != 0;
}

// The value of a hexadecimal digit, or -1.
constexpr int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// The byte that the three characters at the start of a text code, or -1.
inline int coded_byte(std::string_view text) {
  if (text.size() < 3 || text[0] != '%') return -1;
  int high = hex_value(text[1]);
  int low = hex_value(text[2]);
  return high < 0 || low < 0 ? -1 : high * 16 + low;
}

inline constexpr char upper_hex[] = "0123456789ABCDEF";

}  // namespace xp

#endif
