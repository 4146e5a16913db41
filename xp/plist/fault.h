// Where and why a text could not be read. Filled in by readers when they answer null; plain values, nothing
// to release.

#ifndef XP_PLIST_FAULT_H
#define XP_PLIST_FAULT_H

#include <stdint.h>

struct xp_plist_fault {
  int64_t offset;      // bytes from the beginning of the text to the first one that could not be taken
  const char *reason;  // a literal: lower case, no full stop, such as "a value outside any container"
};

#endif
