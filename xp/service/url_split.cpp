// The grammar of RFC 3986.

#include "xp/service/url.h"
#include "xp/service/url_chars.h"
#include "xp/string/text.h"

#include <arpa/inet.h>
#include <string.h>

#include <algorithm>
#include <charconv>

namespace {

constexpr int32_t highest_port = 65535;

// Only bytes that stand in the place, and coded ones.
bool is_coded(std::string_view part, xp_url_place place) {
  for (size_t i = 0; i < part.size(); ++i) {
    if (xp::stands(part[i], place)) continue;
    if (xp::coded_byte(part.substr(i)) < 0) return false;
    i += 2;
  }
  return true;
}

bool is_one_of(char c, std::string_view a, std::string_view b, std::string_view d) {
  return a.find(c) != a.npos || b.find(c) != b.npos || d.find(c) != d.npos;
}

bool is_scheme(std::string_view part) {
  return !part.empty() && xp::letters.find(part[0]) != part.npos &&
         std::all_of(part.begin(), part.end(),
                     [](char c) { return is_one_of(c, xp::letters, xp::digits, "+-."); });
}

// "v1.x": an address of a version that is to come.
bool is_future_address(std::string_view part) {
  size_t dot = part.find('.');
  if (dot == part.npos || dot < 2 || (part[0] != 'v' && part[0] != 'V')) return false;
  std::string_view version = part.substr(1, dot - 1);
  std::string_view address = part.substr(dot + 1);
  return std::all_of(version.begin(), version.end(), [](char c) { return xp::hex_value(c) >= 0; }) &&
         !address.empty() &&
         std::all_of(address.begin(), address.end(), [](char c) { return xp::stands(c, XP_URL_USER); });
}

bool is_ipv6(std::string_view part) {
  char text[INET6_ADDRSTRLEN];
  in6_addr address;
  if (part.size() >= sizeof text || part.find('\0') != part.npos) return false;
  text[part.copy(text, part.size())] = 0;
  return inet_pton(AF_INET6, text, &address) == 1;
}

bool is_host(std::string_view part) {
  if (!part.starts_with('[')) return is_coded(part, XP_URL_HOST);
  if (!part.ends_with(']')) return false;
  std::string_view address = part.substr(1, part.size() - 2);
  return is_ipv6(address) || is_future_address(address);
}

bool is_port(std::string_view part) {
  if (part.empty()) return true;
  int32_t number = 0;
  auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), number);
  return error == std::errc() && end == part.data() + part.size() && number >= 0 && number <= highest_port;
}

// Cuts off and returns what stands before the first of the bytes, or everything.
std::string_view take_until(std::string_view &rest, std::string_view bytes) {
  std::string_view taken = rest.substr(0, rest.find_first_of(bytes));
  rest.remove_prefix(taken.size());
  return taken;
}

// Behind "//".
void split_authority(std::string_view authority, xp_url_parts &parts) {
  size_t at = authority.rfind('@');
  if (at != authority.npos) {
    parts.user = authority.substr(0, at);
    authority.remove_prefix(at + 1);
  }
  size_t bracket = authority.rfind(']');
  size_t colon = authority.find(':', bracket == authority.npos ? 0 : bracket);
  if (colon != authority.npos) {
    parts.port = authority.substr(colon + 1);
    authority = authority.substr(0, colon);
  }
  parts.host = authority;
}

// Cuts without looking closer.
xp_url_parts split(std::string_view rest) {
  xp_url_parts parts;
  size_t colon = rest.find_first_of(":/?#");
  if (colon != rest.npos && rest[colon] == ':') {
    parts.scheme = rest.substr(0, colon);
    rest.remove_prefix(colon + 1);
  }
  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    split_authority(take_until(rest, "/?#"), parts);
  }
  parts.path = take_until(rest, "?#");
  if (rest.starts_with('?')) {
    rest.remove_prefix(1);
    parts.query = take_until(rest, "#");
  }
  if (rest.starts_with('#')) parts.fragment = rest.substr(1);
  return parts;
}

bool is_valid(const xp_url_parts &parts) {
  if (parts.scheme.data() != nullptr && !is_scheme(parts.scheme)) return false;
  return is_coded(parts.user, XP_URL_USER) && is_host(parts.host) && is_port(parts.port) &&
         is_coded(parts.path, XP_URL_PATH) && is_coded(parts.query, XP_URL_QUERY) &&
         is_coded(parts.fragment, XP_URL_QUERY);
}

}  // namespace

int32_t xp_url_split(const char *text, int64_t length, xp_url_parts *parts) {
  if (text == nullptr || parts == nullptr) return -1;
  xp_url_parts found = split({text, static_cast<size_t>(xp_str_txtlen(text, length))});
  if (!is_valid(found)) return -1;
  *parts = found;
  return 0;
}
