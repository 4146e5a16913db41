// Numbers as text and back, on plain values: what numbers, the JSON reader and the writers share. Independent
// of the locale. Pure functions. Internal to the runtime.

#ifndef XP_OBJECT_NUMBER_TEXT_H
#define XP_OBJECT_NUMBER_TEXT_H

#include <stddef.h>
#include <stdint.h>

#include <string_view>

namespace xp {

// Room for the text of any number.
constexpr size_t number_text_size = 32;

// Write a number's text without a zero byte and return its length. Floats as the shortest text that reads
// back the same, with ".0" added when it would read as an integer; "inf", "-inf", "nan".
int64_t number_write(char (&text)[number_text_size], int64_t value);
int64_t number_write(char (&text)[number_text_size], double value);

struct number_reading {
  bool is_float;
  int64_t integer;  // when it is no float
  double real;      // when it is a float
};

// Reads a number from the start of `text`: an optional sign, digits, an optional fraction, an optional
// exponent. Without ".", "e" or "E" behind its digits it is an integer, unless it is beyond 64 bits; nothing
// readable is the integer 0. Beyond the range of floats: infinity, or zero, with its sign.
number_reading number_read(std::string_view text);

}  // namespace xp

#endif
