// Texts and numbers on their way between page script and native code.

#ifndef XP_WEBVIEW_PAGE_TEXT_H
#define XP_WEBVIEW_PAGE_TEXT_H

#include "xp/object/object.h"

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string>
#include <string_view>

// A number of the page as an unsigned integer: cut towards zero; 0 for what is negative, not a number, or
// does not fit 64 bits.
uint64_t xp_wv_integer(double number);

// UTF-16 code units that a UTF-8 text takes.
size_t xp_wv_units(std::string_view text);

// The UTF-8 text of UTF-16 code units in big-endian order. Surrogates without a partner become U+FFFD; a
// single byte at the end is dropped.
std::string xp_wv_from_utf16(std::span<const uint8_t> bytes);

// A text as JSON, quotes included, fit to stand between single quotes in a script: an apostrophe is written
// as \u0027.
std::string xp_wv_quoted(std::string_view text);

// The text of any object (nothing for null), made well-formed as xp_wv_utf8 does.
std::string xp_wv_text(xp_obj *obj);

// The bytes of a data object, else the bytes of the object's text.
std::string xp_wv_bytes(xp_obj *obj);

// A UTF-8 text as a string object; null when it is not UTF-8.
xp_obj *xp_wv_string(std::string_view text);

#endif
