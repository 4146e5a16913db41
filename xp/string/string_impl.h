// The string's own struct. Internal to this folder, and to those who make strings by filling them.

#ifndef XP_STRING_STRING_IMPL_H
#define XP_STRING_STRING_IMPL_H

#include "xp/object/type.h"

#include <stdint.h>

// Ordinary strings have their text right behind the struct; constant ones point to the caller's text.
struct xps_string : xp_obj {
  static constexpr uint32_t code = xp_code("xstr");
  const char *text;  // never null; a zero byte stands behind the last one
  int64_t length;    // in bytes
};

// The text of an ordinary string while its maker fills it.
inline char *xps_room(xps_string *s) {
  return reinterpret_cast<char *>(s + 1);
}

// An ordinary string with room for `length` bytes and the zero byte, for its maker to fill; what it holds
// before is undefined. Null when memory is exhausted or the length is negative.
xps_string *xps_make(int64_t length);

// Gives a string of xps_make that nobody else has seen, made with room for 1,024 bytes at least, another
// length; what both lengths have stays. Null, and the string is gone, when memory is exhausted or the length
// is negative.
xps_string *xps_resize(xps_string *s, int64_t length);

// Sets the length of a string of xps_make, which must not be above the one it was made with, and ends the
// text.
xp_obj *xps_finish(xps_string *s, int64_t length);

#endif
