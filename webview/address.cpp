#include "webview/address.h"

#include "xp/string/text.h"

#include <algorithm>

namespace {

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_hex(char c) {
  return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool well_formed(std::string_view url) {
  constexpr std::string_view refused = "\"<>\\^`{|}";
  for (size_t i = 0; i < url.size(); ++i) {
    const char c = url[i];
    if (c <= ' ' || c >= 0x7f || refused.find(c) != std::string_view::npos) return false;
    if (c == '%' && (i + 2 >= url.size() || !is_hex(url[i + 1]) || !is_hex(url[i + 2]))) return false;
  }
  return true;
}

std::string_view scheme_of(std::string_view url) {
  const size_t colon = url.find(':');
  if (colon == std::string_view::npos || colon == 0 || !is_letter(url[0])) return {};
  const std::string_view scheme = url.substr(0, colon);
  const bool valid = std::all_of(scheme.begin(), scheme.end(), [](char c) {
    return is_letter(c) || is_digit(c) || c == '+' || c == '-' || c == '.';
  });
  return valid ? scheme : std::string_view{};
}

// The host in what follows "scheme:".
std::string_view host_of(std::string_view rest) {
  if (!rest.starts_with("//")) return {};
  std::string_view authority = rest.substr(2);
  authority = authority.substr(0, authority.find_first_of("/?#"));
  if (const size_t at = authority.rfind('@'); at != std::string_view::npos) authority.remove_prefix(at + 1);
  if (authority.starts_with('['))
    return authority.substr(0, std::min(authority.find(']'), authority.size() - 1) + 1);
  return authority.substr(0, authority.find(':'));
}

bool same(std::string_view a, std::string_view b) {
  return xp_str_txticmpq(a.data(), static_cast<int64_t>(a.size()), b.data(),
                         static_cast<int64_t>(b.size())) == 0;
}

}  // namespace

xp_wv_address xp_wv_address_split(std::string_view url) {
  if (!well_formed(url)) return {};
  const std::string_view scheme = scheme_of(url);
  if (scheme.empty()) return {};
  return {.scheme = scheme, .host = host_of(url.substr(scheme.size() + 1))};
}

bool xp_wv_address_trusted(std::string_view page, std::string_view owner) {
  if (page == "about:blank") return true;
  const std::string_view scheme = scheme_of(page);
  if (scheme.empty()) return false;
  if (same(scheme, "local")) return true;
  const std::string_view host = host_of(page.substr(scheme.size() + 1));
  if (host.empty()) return page == owner;
  const xp_wv_address allowed = xp_wv_address_split(owner);
  return same(scheme, allowed.scheme) && same(host, allowed.host);
}
