// Processors without vector code of ours.

#include "xp/string/fold_scan.h"

int64_t xps_fold_differ(const char *a, const char *b, int64_t length) {
  return xps_plainly::fold_differ(a, b, length);
}

int64_t xps_plain_differ(const char *a, const char *b, int64_t length, bool exact) {
  return xps_plainly::plain_differ(a, b, length, exact);
}

int64_t xps_fold_find(const char *text, int64_t from, int64_t last, const char *needle, int64_t nlength) {
  return xps_plainly::fold_find(text, from, last, needle, nlength);
}
