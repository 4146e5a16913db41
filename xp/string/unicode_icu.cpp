#include "xp/string/unicode.h"

#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/stringpiece.h>
#include <unicode/ucasemap.h>
#include <unicode/uchar.h>

#include <algorithm>

namespace {

int32_t as_icu_length(int64_t length) {
  return static_cast<int32_t>(std::min<int64_t>(length, INT32_MAX));
}

using case_mapper = decltype(ucasemap_utf8ToUpper);

int64_t map_case(case_mapper mapper, const char *text, int64_t length, char *to, int64_t capacity) {
  if (length > INT32_MAX) return -1;
  UErrorCode error = U_ZERO_ERROR;
  // The empty locale is the root one, whose rules are those of the character database alone.
  UCaseMap *map = ucasemap_open("", 0, &error);
  if (U_FAILURE(error)) return -1;
  int32_t mapped = mapper(map, to, as_icu_length(capacity), text, as_icu_length(length), &error);
  ucasemap_close(map);
  return U_SUCCESS(error) || error == U_BUFFER_OVERFLOW_ERROR ? mapped : -1;
}

const icu::Normalizer2 *normalizer(int32_t form) {
  UErrorCode error = U_ZERO_ERROR;
  const icu::Normalizer2 *result = nullptr;
  switch (form) {
    case XPS_NFC: result = icu::Normalizer2::getNFCInstance(error); break;
    case XPS_NFD: result = icu::Normalizer2::getNFDInstance(error); break;
    case XPS_NFKC: result = icu::Normalizer2::getNFKCInstance(error); break;
    case XPS_NFKD: result = icu::Normalizer2::getNFKDInstance(error); break;
    default: break;
  }
  return U_SUCCESS(error) ? result : nullptr;
}

}  // namespace

uint32_t xps_unicode_fold(uint32_t point) {
  return static_cast<uint32_t>(u_foldCase(static_cast<UChar32>(point), U_FOLD_CASE_DEFAULT));
}

int64_t xps_unicode_upper(const char *text, int64_t length, char *to, int64_t capacity) {
  return map_case(ucasemap_utf8ToUpper, text, length, to, capacity);
}

int64_t xps_unicode_lower(const char *text, int64_t length, char *to, int64_t capacity) {
  return map_case(ucasemap_utf8ToLower, text, length, to, capacity);
}

int64_t xps_unicode_normalize(const char *text, int64_t length, int32_t form, char *to, int64_t capacity) {
  const icu::Normalizer2 *rules = normalizer(form);
  if (rules == nullptr || length > INT32_MAX) return -1;
  UErrorCode error = U_ZERO_ERROR;
  icu::CheckedArrayByteSink sink(to, as_icu_length(capacity));
  rules->normalizeUTF8(0, {text, as_icu_length(length)}, sink, nullptr, error);
  return U_SUCCESS(error) ? sink.NumberOfBytesAppended() : -1;
}
