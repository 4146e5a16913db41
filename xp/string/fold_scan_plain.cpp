#include "xp/string/fold_scan.h"
#include "xp/string/text.h"

namespace xps_plainly {
namespace {

unsigned char folded(char c) {
  return xp_str_fold(static_cast<unsigned char>(c));
}

}  // namespace

int64_t fold_differ(const char *a, const char *b, int64_t length) {
  int64_t at = 0;
  while (at < length && folded(a[at]) == folded(b[at]))
    ++at;
  return at;
}

int64_t plain_differ(const char *a, const char *b, int64_t length, bool exact) {
  int64_t at = 0;
  while (at < length && xps_is_plain(static_cast<unsigned char>(a[at])) &&
         (exact ? a[at] == b[at] : folded(a[at]) == folded(b[at])))
    ++at;
  return at;
}

int64_t fold_find(const char *text, int64_t from, int64_t last, const char *needle, int64_t nlength) {
  for (int64_t at = from; at <= last; ++at) {
    if (folded(text[at]) == folded(needle[0]) && fold_differ(text + at, needle, nlength) == nlength)
      return at;
  }
  return -1;
}

}  // namespace xps_plainly
