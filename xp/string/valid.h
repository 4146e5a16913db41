// Where a text stops being UTF-8: many bytes at a step where the processor has the instructions. The plain
// twin runs everywhere else and tells what is right: the results are always the same. Internal to this
// folder.

#ifndef XP_STRING_VALID_H
#define XP_STRING_VALID_H

#include <stdint.h>

// The offset of the first byte that is not well-formed UTF-8 by RFC 3629, in a text of known length; -1 when
// there is none.
int64_t xps_valid(const char *text, int64_t length);

namespace xps_plainly {

int64_t valid(const char *text, int64_t length);

}  // namespace xps_plainly

#endif
