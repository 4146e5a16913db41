// Exact decimal digits of common floating-point numbers with integers alone. Internal to the format engine.

#ifndef XP_FORMAT_FIXED_H
#define XP_FORMAT_FIXED_H

#include <stddef.h>

// Bytes that xpf_fixed needs: 20 digits, the point, 17 digits.
constexpr int xpf_fixed_room = 38;

// Writes a finite number that is not negative with `precision` digits behind the point, as "%.*f" of the C
// library does: exact, halves to the even digit; no point for precision 0. Returns the end, or null and
// nothing written for a number from 2^64 on and a precision above 17.
char *xpf_fixed(char *to, double value, int precision);

#endif
