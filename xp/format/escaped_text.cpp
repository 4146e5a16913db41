#include "xp/format/escaped_text.h"

#include "xp/format/engine.h"
#include "xp/format/into_buffer.h"
#include "xp/format/text_reader.h"
#include "xp/string/text.h"
#include "xp/string/utf8.h"

#include <string_view>

namespace {

int64_t write_escaped(char *buffer, int64_t size, uint32_t flags, const char *text, int64_t length) {
  const int64_t bytes = xp_str_txtlen(text, length);
  return xpf_into_buffer(buffer, size, [&](xpf_sink &out) { xpf_str(out, flags, text, bytes); });
}

struct entity_row {
  std::string_view name;
  char byte;
};

constexpr entity_row entities[] = {{"%dquo;", '"'}, {"%amp;", '&'}, {"%lt;", '<'}, {"%gt;", '>'}};

// "%#", up to three digits, ";". The bytes that it takes, or 0.
size_t take_number(std::string_view text, char &byte) {
  if (!text.starts_with("%#")) return 0;
  int value = 0;
  size_t at = 2;
  for (; at < text.size() && at < 5 && xpf_is_digit(text[at]); ++at)
    value = value * 10 + (text[at] - '0');
  if (at == 2 || at >= text.size() || text[at] != ';' || value > 255) return 0;
  byte = static_cast<char>(value);
  return at + 1;
}

// The escape at the start of a text: the bytes that it takes, or 0.
size_t take_escape(std::string_view text, char &byte) {
  if (text.size() >= 3) {
    const int high = xpf_hex_value(text[1]);
    const int low = xpf_hex_value(text[2]);
    if (high >= 0 && low >= 0) {
      byte = static_cast<char>(high * 16 + low);
      return 3;
    }
  }
  for (const entity_row &row : entities) {
    if (!text.starts_with(row.name)) continue;
    byte = row.byte;
    return row.name.size();
  }
  return take_number(text, byte);
}

void decode(xpf_sink &out, std::string_view text) {
  while (!text.empty() && !out.stopped()) {
    if (text.front() == '%') {
      char byte = 0;
      if (size_t taken = take_escape(text, byte); taken > 0) {
        out.text(&byte, 1);
        text.remove_prefix(taken);
        continue;
      }
    }
    const size_t run = text.find('%', 1);
    const std::string_view plain = text.substr(0, run);
    out.text(plain.data(), static_cast<int64_t>(plain.size()));
    text.remove_prefix(plain.size());
  }
}

}  // namespace

int64_t xp_fmt_escapetext(char *buffer, int64_t size, const char *text, int64_t length) {
  return write_escaped(buffer, size, XPF_PLUS, text, length);
}

int64_t xp_fmt_uppertext(char *buffer, int64_t size, const char *text, int64_t length) {
  return write_escaped(buffer, size, XPF_UPPER, text, length);
}

int64_t xp_fmt_lowertext(char *buffer, int64_t size, const char *text, int64_t length) {
  return write_escaped(buffer, size, XPF_LOWER, text, length);
}

int64_t xp_fmt_decodetext(char *buffer, int64_t size, const char *text, int64_t length) {
  const auto bytes = static_cast<size_t>(xp_str_txtlen(text, length));
  bool cut = false;
  int64_t written = xpf_into_buffer(buffer, size, [&](xpf_sink &out) {
    if (text != nullptr) decode(out, {text, bytes});
    cut = out.stopped();
  });
  if (!cut) return written;
  // The bytes of one character may come from one escape each, so the cut can be inside of it.
  written = xps_whole(buffer, written);
  buffer[written] = 0;
  return written;
}
