// URLs ("xurl"): immutable references by RFC 3986, absolute ("local://app/setup.html?x=1#top") or relative
// ("../a?b"). They may be shared between threads. A URL is its text: nothing in it is changed by parsing, so
// order and text are those of what was parsed; xp_url_normal gives the form in which equal URLs are equal.
//
//   scheme "://" [user "@"] host [":" port] path ["?" query] ["#" fragment]
//
// Everything in a URL is ASCII; other bytes stand as % and two hexadecimal digits, which
// xp/service/url_percent.h writes and reads. An argument is one "name=value" of a query, separated by "&".

#ifndef XP_SERVICE_URL_H
#define XP_SERVICE_URL_H

#include "xp/object/object.h"

#include <stdint.h>

#include <string_view>

// The parts as they stand in the text, coded. A part that is not there has no data pointer; one that is there
// and empty ("?" with nothing behind it) has. The path is always there.
struct xp_url_parts {
  std::string_view scheme{};
  std::string_view user{};  // with the password, if any: "name:word"
  std::string_view host{};  // with its brackets when it is an IPv6 address; there if "//" is
  std::string_view port{};
  std::string_view path{};
  std::string_view query{};
  std::string_view fragment{};
};

// "xurl"
uint32_t xp_url_type();

// --- Making: null when the text is no URL by the grammar, and when memory is exhausted. A port above 65535
// is none. ---

xp_obj *xp_url_new(const char *text, int64_t length);

// A URL is returned retained, a file gives its URL, any other object's text is parsed.
xp_obj *xp_url_coerce(xp_obj *obj);

// A formatted text, parsed. The format must be a literal; what is not a constant has to be coded before
// (xp_url_encode).
xp_obj *xp_url_format(const char *format, ...);

// Of coded parts. Null too when they would read back as others (a path that begins with "//" and no host,
// ...).
xp_obj *xp_url_make(const xp_url_parts *parts);

// --- Reading ---

// The parts, borrowed as long as the URL lives; null for anything else. The text, a new reference.
const xp_url_parts *xp_url_getparts(xp_obj *u);
xp_obj *xp_url_string(xp_obj *u);

// One part decoded, as a new string; null when it is not there. The host is without brackets.
xp_obj *xp_url_user(xp_obj *u);
xp_obj *xp_url_host(xp_obj *u);
xp_obj *xp_url_path(xp_obj *u);
xp_obj *xp_url_fragment(xp_obj *u);

// The port's number; -1 when it is not there or empty.
int32_t xp_url_port(xp_obj *u);

// The parts of a text, checked against the grammar as a new URL's: 0, or -1. Borrowed from the text.
int32_t xp_url_split(const char *text, int64_t length, xp_url_parts *parts);

// --- Resolving (RFC 3986, 5.2 and 6.2.2) ---

// What `reference` means on a page at `base`: a new URL; null when the base has no scheme.
xp_obj *xp_url_resolve(xp_obj *base, xp_obj *reference);

// Lower-case scheme and host, upper-case hexadecimal digits, nothing coded that need not be, no "." and ".."
// steps in the path of a URL with a scheme.
xp_obj *xp_url_normal(xp_obj *u);

// --- Arguments: names and values are plain text here, coded and decoded on the way ---

// Called for each argument in order. `value` is null when there is no "=". Nonzero stops.
using xp_url_visitor = int64_t (*)(xp_obj *name, xp_obj *value, void *context);

// The first value of that name; the empty string when it has no "="; null when there is none.
xp_obj *xp_url_getarg(xp_obj *u, const char *name, int64_t length);

// A new URL with one argument more, at the end; with this one in the place of all of the name; without any of
// the name (retained when there was none). The value is the object's text; null writes no "=".
xp_obj *xp_url_addarg(xp_obj *u, const char *name, int64_t length, xp_obj *value);
xp_obj *xp_url_setarg(xp_obj *u, const char *name, int64_t length, xp_obj *value);
xp_obj *xp_url_removearg(xp_obj *u, const char *name, int64_t length);

// Walks a URL's arguments; those of a raw query text. What stopped the walk, else 0; -1 when memory is
// exhausted. "+" reads as a space, a "%" without two digits as itself; nothing between two "&" is no
// argument.
int64_t xp_url_enumargs(xp_obj *u, xp_url_visitor visit, void *context);
int64_t xp_url_readargs(const char *query, int64_t length, xp_url_visitor visit, void *context);

#endif
