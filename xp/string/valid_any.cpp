// Any processor.

#include "xp/string/valid.h"

int64_t xps_valid(const char *text, int64_t length) {
  return xps_plainly::valid(text, length);
}
