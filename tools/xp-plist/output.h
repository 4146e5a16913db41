// Files that are either written whole or not at all.

#ifndef TOOLS_XP_PLIST_OUTPUT_H
#define TOOLS_XP_PLIST_OUTPUT_H

#include <string>
#include <string_view>

// Puts a file in the place of `file`: a new one is written beside it, brought to disk and renamed, so whoever
// reads finds the old content or the new one, and a failure leaves the old one. An existing file keeps its
// permissions, and its owner where that is allowed; it must be writable. A symbolic link stays, what it
// points to is replaced. A device or pipe is written to as it is. An empty text, or what went wrong.
std::string replace_file(const std::string &file, std::string_view bytes);

#endif
