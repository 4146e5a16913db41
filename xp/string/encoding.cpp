#include "xp/string/encoding.h"

#include "xp/string/codepoint.h"
#include "xp/string/mapping.h"
#include "xp/string/string.h"
#include "xp/string/string_impl.h"
#include "xp/string/text.h"

#include <string.h>

#include <bit>

namespace {

using byte = unsigned char;

constexpr uint32_t ill_formed = UINT32_MAX;

// --- Readers: the code point at `at`, which has at least one byte before `end` and is moved on ---

uint32_t read_ascii(const byte *&at, const byte * /*end*/) {
  byte value = *at++;
  return value < 0x80 ? value : ill_formed;
}

uint32_t read_latin1(const byte *&at, const byte * /*end*/) {
  return *at++;
}

// Bytes 80 to 9F of Windows-1252.
constexpr char16_t windows_1252[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

uint32_t read_windows_1252(const byte *&at, const byte * /*end*/) {
  byte value = *at++;
  return value >= 0x80 && value < 0xA0 ? windows_1252[value - 0x80] : value;
}

// The unit of a type at `at`; an incomplete last one is skipped.
template <typename Unit, std::endian Order>
uint32_t read_unit(const byte *&at, const byte *end) {
  if (end - at < static_cast<int64_t>(sizeof(Unit))) {
    at = end;
    return ill_formed;
  }
  uint32_t unit = 0;
  for (size_t i = 0; i < sizeof(Unit); ++i)
    unit |= static_cast<uint32_t>(at[Order == std::endian::little ? i : sizeof(Unit) - 1 - i]) << (8 * i);
  at += sizeof(Unit);
  return unit;
}

template <std::endian Order>
uint32_t read_utf16(const byte *&at, const byte *end) {
  uint32_t unit = read_unit<char16_t, Order>(at, end);
  if (xps_is_low_surrogate(unit)) return ill_formed;
  if (!xps_is_high_surrogate(unit)) return unit;
  const byte *behind = at;
  uint32_t partner = at < end ? read_unit<char16_t, Order>(behind, end) : ill_formed;
  if (!xps_is_low_surrogate(partner)) return ill_formed;
  at = behind;
  return 0x10000 + ((unit - 0xD800) << 10) + (partner - 0xDC00);
}

template <std::endian Order>
uint32_t read_utf32(const byte *&at, const byte *end) {
  uint32_t unit = read_unit<char32_t, Order>(at, end);
  return unit > xps_last_point || xps_is_high_surrogate(unit) || xps_is_low_surrogate(unit) ? ill_formed
                                                                                            : unit;
}

// --- Conversion ---

using reader = uint32_t (*)(const byte *&at, const byte *end);

// Bytes of the text in UTF-8; -1 when it is not well formed and `strict` does not repair it.
template <reader Read>
int64_t measure(const byte *at, const byte *end, bool strict) {
  int64_t total = 0;
  while (at < end) {
    uint32_t point = Read(at, end);
    if (point == ill_formed && strict) return -1;
    total += xps_point_bytes(point == ill_formed ? xps_replacement : point);
  }
  return total;
}

template <reader Read>
xp_obj *convert(const char *text, int64_t length, bool strict) {
  const auto *at = reinterpret_cast<const byte *>(text);
  const byte *end = at + length;
  // A measure below 0 makes no string.
  xps_string *s = xps_make(measure<Read>(at, end, strict));
  if (s == nullptr) return nullptr;
  for (char *to = xps_room(s); at < end;) {
    uint32_t point = Read(at, end);
    to = xps_put_point(to, point == ill_formed ? xps_replacement : point);
  }
  return s;
}

xp_obj *convert_utf8(const char *text, int64_t length, bool strict) {
  if (strict && xp_str_txtvalid(text, length) >= 0) return nullptr;
  return xp_str_txtrepair(text, length);
}

xp_obj *convert_utf16(const char *text, int64_t length, bool strict) {
  constexpr bool little = std::endian::native == std::endian::little;
  bool marked_little = length >= 2 && memcmp(text, "\xFF\xFE", 2) == 0;
  bool marked_big = length >= 2 && memcmp(text, "\xFE\xFF", 2) == 0;
  int64_t mark = marked_little || marked_big ? 2 : 0;
  if (marked_little || (little && !marked_big))
    return convert<read_utf16<std::endian::little>>(text + mark, length - mark, strict);
  return convert<read_utf16<std::endian::big>>(text + mark, length - mark, strict);
}

struct encoding_row {
  uint32_t encoding;
  int64_t unit;  // bytes
  xp_obj *(*convert)(const char *text, int64_t length, bool strict);
};

constexpr encoding_row encodings[] = {
    {XP_ENC_UTF8, 1, convert_utf8},
    {XP_ENC_ASCII, 1, convert<read_ascii>},
    {XP_ENC_LATIN1, 1, convert<read_latin1>},
    {XP_ENC_WINDOWS1252, 1, convert<read_windows_1252>},
    {XP_ENC_UTF16, 2, convert_utf16},
    {XP_ENC_UTF16LE, 2, convert<read_utf16<std::endian::little>>},
    {XP_ENC_UTF16BE, 2, convert<read_utf16<std::endian::big>>},
    {XP_ENC_UTF32LE, 4, convert<read_utf32<std::endian::little>>},
    {XP_ENC_UTF32BE, 4, convert<read_utf32<std::endian::big>>},
};

const encoding_row *find_row(uint32_t encoding) {
  for (const encoding_row &row : encodings) {
    if (row.encoding == encoding) return &row;
  }
  return nullptr;
}

// Bytes in front of the first zero unit.
int64_t zero_terminated(const char *text, int64_t unit) {
  if (unit == 1) return xp_str_strlen(text);
  int64_t at = 0;
  while (memcmp(text + at, "\0\0\0", static_cast<size_t>(unit)) != 0)
    at += unit;
  return at;
}

xp_obj *decode(const char *text, int64_t length, uint32_t encoding, bool strict) {
  const encoding_row *row = find_row(encoding);
  if (row == nullptr) return nullptr;
  if (text == nullptr) return xp_str_make(nullptr, 0);
  return row->convert(text, length < 0 ? zero_terminated(text, row->unit) : length, strict);
}

}  // namespace

xp_obj *xp_str_encmake(const char *text, int64_t length, uint32_t encoding) {
  return decode(text, length, encoding, true);
}

xp_obj *xp_str_makedecode(const char *text, int64_t length, uint32_t encoding) {
  return decode(text, length, encoding, false);
}

xp_obj *xp_str_newdecode(const char *text, uint32_t encoding) {
  return decode(text, -1, encoding, false);
}

xp_obj *xp_str_decode(xp_obj *obj, uint32_t encoding) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return nullptr;
  if (find_row(encoding) == nullptr) return xp_retain(s);
  xp_obj *result = decode(s->text, s->length, encoding, false);
  if (result == nullptr || xp_str_cmpq(result, s->text, s->length) != 0) return result;
  xp_release(result);
  return xp_retain(s);
}
