// Bytes as text: hexadecimal dumps, base64 and UUIDs.

#include "xp/format/engine.h"
#include "xp/service/base64.h"

#include <algorithm>

namespace {

// Writes two hexadecimal digits.
void put_pair(char *to, unsigned char byte, bool upper) {
  const char *digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  to[0] = digits[byte >> 4];
  to[1] = digits[byte & 15];
}

}  // namespace

void xpf_dump(xpf_sink &out, const xpf_directive &directive, const void *bytes, int64_t length) {
  const auto *source = static_cast<const unsigned char *>(bytes);
  bool upper = directive.form == 'H';
  xpf_padded(out, directive, [&](xpf_sink &to) {
    for (int64_t i = 0; source != nullptr && i < length && !to.stopped(); ++i) {
      char group[3] = {' '};
      put_pair(group + 1, source[i], upper);
      bool separated = i > 0 && directive.has(XPF_SPACE);
      xpf_escape(to, directive.flags, separated ? group : group + 1, separated ? 3 : 2);
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
      xpf_escape(to, directive.flags, text, written);
    }
  });
}

void xpf_uuid(xpf_sink &out, const xpf_directive &directive, const void *bytes) {
  char text[36];
  char *at = text;
  const auto *source = static_cast<const unsigned char *>(bytes);
  for (int i = 0; source != nullptr && i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) *at++ = '-';
    put_pair(at, source[i], false);
    at += 2;
  }
  xpf_text(out, directive, text, at - text);
}
