// Lays out a private root: the part of the client's installation that a program needs when CORVANE_ROOT names
// a folder of its own, so that nothing of the machine's real client is touched.
//
//   <root>/Library/Corvane/Corvane.app/Contents/Info.plist
//   <root>/Library/Corvane/Corvane.app/Contents/SharedSupport/quorn     the session helper
//   <root>/Library/Corvane/Corvane.app/Contents/SharedSupport/session   the number it tells, in decimal
//
// A daemon that serves below the root adds <root>/run/com.brindle.services and takes it away again.

#ifndef STANDIN_PRIVATE_ROOT_H
#define STANDIN_PRIVATE_ROOT_H

#include <stdint.h>

#include <filesystem>
#include <string>

// The highest session number that a private root is given.
constexpr uint32_t STANDIN_LAST_SESSION = 0x7fffffff;

// Makes what is missing of the layout below `root`, the folder included, copying the helper from `helper`. A
// session number that is there already stays; a new one is random. Returns an empty text, or one line that
// says what failed.
std::string standin_make_root(const std::filesystem::path &root, const std::filesystem::path &helper);

#endif
