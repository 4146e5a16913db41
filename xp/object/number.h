// Numbers ("xnum"): an immutable signed 64-bit integer or a 64-bit float. The integers 0 to 9 are shared,
// process-wide objects. Safe to share between threads.

#ifndef XP_OBJECT_NUMBER_H
#define XP_OBJECT_NUMBER_H

#include "xp/object/object.h"

#include <stdint.h>

// "xnum"
uint32_t xp_number_type();

// An integer number. 0 to 9 give the shared object, retained; negative values are never shared.
xp_obj *xp_number_new(int64_t value);

// A float number. Its integer value is the float cut towards zero, saturated at the ends of 64 bits; NaN
// gives 0.
xp_obj *xp_number_newfloat(double value);

// Reads a number from the start of a text: without ".", "e" or "E" an integer (01 is 1, -0 is 0; beyond 64
// bits a float), else a float, independent of the locale. Reading stops at the first character that does not
// fit; nothing readable gives the integer 0. Null only when memory is exhausted.
xp_obj *xp_number_parse(const char *text, int64_t length);

// The object as a number: a number is returned retained, a string is read by xp_number_parse, anything else
// becomes its integer value.
xp_obj *xp_number_coerce(xp_obj *obj);

// The float value of a number; 0.0 for anything else. 1 when the number was made as a float, else 0.
double xp_number_float(xp_obj *obj);
int32_t xp_number_isfloat(xp_obj *obj);

// Order of two numbers: as integers when neither is a float, else as floats.
// Deliberate: NaN compares equal to everything, so numbers have no total order; sorting stays bounded all the
// same.
int64_t xp_num_compare(xp_obj *a, xp_obj *b);

// A number's text: integers in plain decimal, floats as the shortest text that reads back the same, with ".0"
// added when it would read as an integer; "inf", "-inf", "nan". Independent of the locale. See xp_textify.
int64_t xp_num_textify(xp_obj *obj, char *buffer, int64_t capacity);

#endif
