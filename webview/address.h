// Addresses of pages: just enough of a URL to tell whose page it is.

#ifndef XP_WEBVIEW_ADDRESS_H
#define XP_WEBVIEW_ADDRESS_H

#include <string_view>

// Parts of an address; they point into its text. The host stands without user and port, an IPv6 one in its
// brackets.
struct xp_wv_address {
  std::string_view scheme;
  std::string_view host;
};

// Splits an address; everything empty when it is no absolute URL: no scheme, a byte that URLs do not hold
// (spaces, control and non-ASCII bytes, and "<>\^`{|}), or a percent sign without two hexadecimal digits.
xp_wv_address xp_wv_address_split(std::string_view url);

// Whether a page may use the bridge: a "local:" page, about:blank, or a page with the scheme and host of the
// address that the owner loaded. The port does not count; letter case does not either.
bool xp_wv_address_trusted(std::string_view page, std::string_view owner);

#endif
