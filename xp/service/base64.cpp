#include "xp/service/base64.h"

#include "xp/object/memory.h"
#include "xp/service/data.h"

#include <stddef.h>
#include <string.h>

#include <algorithm>
#include <array>

namespace {

constexpr char standard[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char url[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

// Characters that `count` bytes (0 to 2) behind the last whole group of three give.
int64_t tail_length(int64_t count, bool padded) {
  if (count == 0) return 0;
  return padded ? 4 : count + 1;
}

// Writes the text of one to three bytes: four characters, the missing ones as "=".
void encode_group(const unsigned char *bytes, int64_t count, const char *alphabet, char (&group)[4]) {
  uint32_t bits = static_cast<uint32_t>(bytes[0]) << 16;
  if (count > 1) bits |= static_cast<uint32_t>(bytes[1]) << 8;
  if (count > 2) bits |= bytes[2];
  for (size_t i = 0; i < 4; ++i)
    group[i] = alphabet[bits >> (18 - 6 * i) & 63];
  for (auto i = static_cast<size_t>(count) + 1; i < 4; ++i)
    group[i] = '=';
}

// --- Decoding ---

// What a character is: its six bits, or one of these.
enum : uint8_t {
  alien = 64,
  white,
  padding,
};

constexpr std::array<uint8_t, 256> make_values(const char *alphabet) {
  std::array<uint8_t, 256> values{};
  values.fill(alien);
  for (uint8_t i = 0; i < 64; ++i)
    values[static_cast<unsigned char>(alphabet[i])] = i;
  values['='] = padding;
  return values;
}

constexpr std::array<uint8_t, 256> make_lenient_values() {
  std::array<uint8_t, 256> values = make_values(standard);
  values['-'] = 62;
  values['_'] = 63;
  for (char c : {' ', '\t', '\n', '\r'})
    values[static_cast<unsigned char>(c)] = white;
  return values;
}

constexpr std::array<uint8_t, 256> standard_values = make_values(standard);
constexpr std::array<uint8_t, 256> url_values = make_values(url);
constexpr std::array<uint8_t, 256> lenient_values = make_lenient_values();

const std::array<uint8_t, 256> &values_for(uint32_t flags) {
  if ((flags & XP_B64_LENIENT) != 0) return lenient_values;
  return (flags & XP_B64_URL) != 0 ? url_values : standard_values;
}

struct decoder {
  uint8_t *buffer;  // null only counts
  int64_t capacity;
  int64_t length = 0;  // bytes read, whether they had room or not
  uint32_t bits = 0;   // of the group that has begun, on the right
  int digits = 0;      // of that group
  int pads = 0;        // padding seen

  // The bytes of `count` whole eights on the left of the group's bits, of which there are 6 a digit.
  void put(int count) {
    for (int i = 1; i <= count; ++i) {
      if (buffer != nullptr && length < capacity) {
        buffer[length] = static_cast<uint8_t>(bits >> (6 * digits - 8 * i));
      }
      ++length;
    }
  }

  // False behind padding.
  bool digit(uint8_t value) {
    if (pads > 0) return false;
    bits = bits << 6 | value;
    if (++digits < 4) return true;
    put(3);
    bits = 0;
    digits = 0;
    return true;
  }

  bool finish(uint32_t flags) {
    const bool strict = (flags & XP_B64_LENIENT) == 0;
    const int missing = digits == 0 ? 0 : 4 - digits;
    const uint32_t spare = bits & (digits == 2 ? 15 : 3);
    if (digits == 1 || pads > missing) return false;
    if (strict && (pads != ((flags & XP_B64_URL) != 0 ? 0 : missing) || (digits != 0 && spare != 0))) {
      return false;
    }
    if (digits != 0) put(digits - 1);
    return true;
  }
};

bool decode(decoder &to, const char *text, int64_t length, uint32_t flags) {
  const std::array<uint8_t, 256> &values = values_for(flags);
  for (int64_t i = 0; i < length; ++i) {
    const uint8_t value = values[static_cast<unsigned char>(text[i])];
    if (value == white) continue;
    if (value == alien) return false;
    if (value == padding ? ++to.pads > 2 : !to.digit(value)) return false;
  }
  return to.finish(flags);
}

}  // namespace

int64_t xp_b64_encode(const void *bytes, int64_t length, uint32_t flags, char *buffer, int64_t capacity) {
  bool padded = (flags & XP_B64_URL) == 0;
  if (bytes == nullptr || length <= 0 || length > INT64_MAX / 4 * 3 - 3) return 0;
  if (buffer == nullptr) return length / 3 * 4 + tail_length(length % 3, padded);

  const auto *from = static_cast<const unsigned char *>(bytes);
  int64_t written = 0;
  while (length > 0) {
    int64_t count = length < 3 ? length : 3;
    int64_t size = count == 3 ? 4 : tail_length(count, padded);
    if (size > capacity - written) break;
    char group[4];
    encode_group(from, count, padded ? standard : url, group);
    for (int64_t i = 0; i < size; ++i)
      buffer[written++] = group[i];
    from += count;
    length -= count;
  }
  return written;
}

int64_t xp_b64_lines(const void *bytes, int64_t length, uint32_t flags, int64_t width, char *buffer,
                     int64_t capacity) {
  const int64_t text_length = xp_b64_encode(bytes, length, flags, nullptr, 0);
  const int64_t groups = width <= 0 ? text_length : std::max<int64_t>(width / 4, 1);
  if (groups >= (text_length + 3) / 4) return xp_b64_encode(bytes, length, flags, buffer, capacity);
  const int64_t breaks = (text_length - 1) / (groups * 4);
  if (breaks > INT64_MAX - text_length) return 0;
  if (buffer == nullptr) return text_length + breaks;

  const auto *from = static_cast<const unsigned char *>(bytes);
  int64_t written = 0;
  for (int64_t at = 0; at < length && written < capacity; at += groups * 3) {
    if (at > 0) buffer[written++] = '\n';
    const int64_t size = std::min(groups * 3, length - at);
    const int64_t line = xp_b64_encode(from + at, size, flags, buffer + written, capacity - written);
    written += line;
    if (line < xp_b64_encode(from + at, size, flags, nullptr, 0)) break;
  }
  return written;
}

int64_t xp_b64_decode(const char *text, int64_t length, uint32_t flags, void *buffer, int64_t capacity) {
  if (text == nullptr) return 0;
  if (length < 0) length = static_cast<int64_t>(strlen(text));
  decoder to{.buffer = static_cast<uint8_t *>(buffer), .capacity = std::max<int64_t>(capacity, 0)};
  if (!decode(to, text, length, flags)) return -1;
  return buffer == nullptr ? to.length : std::min(to.length, to.capacity);
}

xp_obj *xp_b64_data(const char *text, int64_t length, uint32_t flags) {
  if (text == nullptr) return nullptr;
  if (length < 0) length = static_cast<int64_t>(strlen(text));
  // No text stands for more bytes than this; what white space leaves over is small beside it.
  const int64_t most = length / 4 * 3 + 3;
  void *bytes = xp_alloc(static_cast<size_t>(most));
  if (bytes == nullptr) return nullptr;
  const int64_t count = xp_b64_decode(text, length, flags, bytes, most);
  xp_obj *data = count < 0 ? nullptr : xp_data_alloc(bytes, count);
  if (data == nullptr) xp_free(bytes);
  return data;
}
