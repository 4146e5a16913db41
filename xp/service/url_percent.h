// Percent-coding by RFC 3986: bytes that may not stand in a place of a URL as "%" and two hexadecimal digits,
// written in upper case. Pure functions of bytes: what is decoded may be any bytes, zero bytes too.

#ifndef XP_SERVICE_URL_PERCENT_H
#define XP_SERVICE_URL_PERCENT_H

#include "xp/object/object.h"

#include <stdint.h>

// The places, by what stands there as it is beside letters, digits and - . _ ~
enum xp_url_place : uint32_t {
  XP_URL_UNRESERVED,  // nothing else
  XP_URL_USER,        // ! $ & ' ( ) * + , ; = :
  XP_URL_HOST,        // ! $ & ' ( ) * + , ; =
  XP_URL_SEGMENT,     // the same and : @
  XP_URL_PATH,        // the same and /
  XP_URL_QUERY,       // the same and ?; fragments too
  XP_URL_ARGUMENT,    // as in a query without & = + ;
};

// A new string; null when memory is exhausted.
xp_obj *xp_url_encode(const char *text, int64_t length, xp_url_place place);

enum : uint32_t {
  XP_URL_PLUS = 1,    // "+" is a space, as forms write it
  XP_URL_STRICT = 2,  // a "%" without two hexadecimal digits gives null; otherwise it is itself
};

xp_obj *xp_url_decode(const char *text, int64_t length, uint32_t flags);

#endif
