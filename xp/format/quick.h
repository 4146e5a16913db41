// The shortcut for the plain directives that make up most formats. Internal to the format engine.
//
// It prints the same as the long way (xpf_parse, xpf_take, xpf_print_value), which is its oracle in the
// tests, and leaves to that way whatever is not of its shapes.

#ifndef XP_FORMAT_QUICK_H
#define XP_FORMAT_QUICK_H

#include "xp/format/arguments.h"
#include "xp/format/sink.h"

// Passes the text up to the next "%" or the end of the format on and returns the place of that.
const char *xpf_run(xpf_sink &out, const char *format);

// Reads and prints a directive behind its "%": %s, %f with at most a precision of one digit, %d %i %u %x %X
// with "0", a width of two digits and l or ll. Returns what follows it, or null when something else stands
// there, with nothing taken.
const char *xpf_quick(xpf_sink &out, const char *at, xpf_arguments &arguments);

#endif
