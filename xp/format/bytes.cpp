// Bytes as text: hexadecimal dumps, base64 and UUIDs.

#include "xp/format/engine.h"
#include "xp/service/base64.h"

#include <algorithm>

void xpf_hexify(char *to, const unsigned char *bytes, int64_t length, const char *digits) {
  for (const unsigned char *end = bytes + length; bytes != end; ++bytes) {
    *to++ = digits[*bytes >> 4];
    *to++ = digits[*bytes & 15];
  }
}

void xpfs_hexify(xpf_sink &out, const xpf_directive &directive, const void *bytes, int64_t length) {
  const auto *source = static_cast<const unsigned char *>(bytes);
  const char *digits = directive.form == 'H' ? xpf_upper_digits : xpf_lower_digits;
  // With spaces a piece is one byte behind its space, else as many bytes as the block has room for.
  const bool spaced = directive.has(XPF_SPACE);
  const int64_t piece = spaced ? 1 : 64;
  xpf_padded(out, directive, [=](xpf_sink &to) {
    for (int64_t i = 0; source != nullptr && i < length && !to.stopped(); i += piece) {
      char block[1 + 2 * 64] = {' '};
      const int64_t count = std::min(piece, length - i);
      const bool space = spaced && i > 0;
      xpf_hexify(block + 1, source + i, count, digits);
      xpf_str(to, directive.flags, space ? block : block + 1, 2 * count + (space ? 1 : 0));
    }
  });
}

void xpf_base64(xpf_sink &out, const xpf_directive &directive, const void *bytes, int64_t length) {
  const auto *source = static_cast<const unsigned char *>(bytes);
  uint32_t alphabet = directive.form == 'b' ? uint32_t{XP_B64_URL} : 0;
  constexpr int64_t group = 192;  // a multiple of three, so that the parts join without padding between them
  xpf_padded(out, directive, [&](xpf_sink &to) {
    for (int64_t i = 0; source != nullptr && i < length && !to.stopped(); i += group) {
      char text[group / 3 * 4];
      int64_t written = xp_b64_encode(source + i, std::min(group, length - i), alphabet, text, sizeof text);
      xpf_str(to, directive.flags, text, written);
    }
  });
}

void xpf_uuid(xpf_sink &out, const xpf_directive &directive, const void *bytes) {
  char text[36];
  char *at = text;
  const auto *source = static_cast<const unsigned char *>(bytes);
  for (int i = 0; source != nullptr && i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) *at++ = '-';
    xpf_hexify(at, source + i, 1, xpf_lower_digits);
    at += 2;
  }
  xpfs_str(out, directive, text, at - text);
}
