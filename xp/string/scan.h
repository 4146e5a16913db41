// Reading fields out of a string by a pattern. Pure; the results are the caller's.
//
// A pattern is matched from the first byte of the string to the last:
//   any byte but % and blanks   that byte
//   %%                          a percent sign
//   blanks (bytes below 33)     any run of them, or none
//   %d  int64_t *               a decimal integer with an optional sign
//   %u  uint64_t *              a decimal integer without a sign
//   %x  uint64_t *              hexadecimal digits of either case
//   %f  double *                a decimal number with optional sign, fraction and exponent; a point in any
//                               locale
//   %s  xp_obj **               a word: one or more bytes of 33 and above, as a new string
//   %t  xp_obj **               text, perhaps empty, as a new string: up to the first place of the bytes that
//                               follow in the pattern, up to the next "%" or blank; before a blank in the
//                               pattern, up to a blank; before another field or at the end, all the rest
//   %[class]  xp_obj **         one or more bytes of a class (xp/string/class.h, exact), as a new string;
//                               %[^class]: of bytes outside it. "\]" is a "]" within the class
//   %n  int64_t *               the position, without reading anything
// Between "%" and the letter may stand a "*" (the field is read but not stored, and takes no pointer) and
// then a number: the most bytes that the field takes, 0 and none at all meaning no limit.
//
// Nothing is tried a second time: a field takes all it can, and what follows has to match there.
//   xp_str_scan(s, "%[a-z]://%t:%u", &scheme, &host, &port)

#ifndef XP_STRING_SCAN_H
#define XP_STRING_SCAN_H

#include "xp/object/object.h"

#include <stdint.h>

// Most fields of a pattern that are stored.
constexpr int32_t XP_SCAN_FIELDS = 16;

// The number of stored fields when the whole string matches the whole pattern. Otherwise -1 and nothing is
// stored: on a mismatch, a number that does not fit its type, an unknown or unended field, too many fields, a
// null string or pattern, or when memory is exhausted. The pattern must be a literal: it says what the
// pointers point to. A field whose pointer is null counts but is not stored.
int32_t xp_str_scan(xp_obj *s, const char *pattern, ...);

#endif
