#include "xp/service/base64.h"

#include <stddef.h>

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
