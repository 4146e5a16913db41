// Reading directives. Internal to the format engine.

#ifndef XP_FORMAT_DIRECTIVE_H
#define XP_FORMAT_DIRECTIVE_H

#include "xp/format/arguments.h"
#include "xp/format/engine.h"

#include <stdint.h>

// Reads the directive behind a "%" and returns what follows it. At the end of the format the conversion is 0.
const char *xpf_parse(const char *at, xpf_arguments &arguments, xpf_directive &directive);

// Takes the value of a directive from the arguments.
xpf_value xpf_take(const xpf_directive &directive, xpf_arguments &arguments);

// Reads the whole format and takes every argument that it asks for.
void xpf_scan(const char *format, xpf_arguments &arguments);

#endif
