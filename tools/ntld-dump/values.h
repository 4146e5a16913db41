// The data of records as text.

#ifndef TOOLS_NTLD_DUMP_VALUES_H
#define TOOLS_NTLD_DUMP_VALUES_H

#include <stddef.h>

#include <string>
#include <string_view>

// A name or type: as it is when all four bytes are visible, else in quotes with its other bytes escaped.
std::string code_text(std::string_view code);

// Data by its type: a number, a code, a quoted text. Empty when it is to be shown as bytes: another type, or
// not the length of its type. At most `limit` bytes of a text are shown.
std::string value_text(std::string_view type, std::string_view data, size_t limit);

// Bytes in hexadecimal and as characters. Up to 16 as the end of a line, more as lines of their own, each
// behind `margin`; at most `limit` are shown.
std::string bytes_text(std::string_view bytes, size_t limit, const std::string &margin);

#endif
