#include "tools/common/escape.h"

#include "xp/string/text.h"

#include <stdio.h>

#include <algorithm>

namespace {

// A terminal is written to: what it would obey is escaped, and what cannot be seen or turns the order of
// characters around.
bool is_harmless(std::string_view character) {
  if (character.size() == 1) return character[0] >= ' ' && character[0] <= '~';
  constexpr struct {
    std::string_view lead;
    unsigned char first, last;  // byte behind it
  } harmful[] = {
      {"\xC2", 0x80, 0x9F},      // control characters
      {"\xE2\x80", 0x8B, 0x8F},  // of no width; direction marks
      {"\xE2\x80", 0xA8, 0xAE},  // separators; embeddings and overrides
      {"\xE2\x81", 0xA0, 0xAF},  // of no width; isolates
      {"\xEF\xBB", 0xBF, 0xBF},  // byte order mark
  };
  return std::ranges::none_of(harmful, [&](const auto &row) {
    const auto last = static_cast<unsigned char>(character.back());
    return character.substr(0, character.size() - 1) == row.lead && last >= row.first && last <= row.last;
  });
}

void append_escape(std::string &text, char byte) {
  constexpr std::string_view plain = "\n\t\r", letters = "ntr";
  const size_t index = plain.find(byte);
  char escape[8];
  snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(byte));
  text += index == std::string_view::npos ? std::string(escape) : std::string{'\\', letters[index]};
}

}  // namespace

std::string escaped(std::string_view bytes, char quote) {
  std::string text;
  while (!bytes.empty()) {
    const auto length = static_cast<size_t>(xp_str_sequence(bytes.data(), std::ssize(bytes)));
    const std::string_view character = bytes.substr(0, std::max<size_t>(length, 1));
    bytes.remove_prefix(character.size());
    if (character[0] == quote || character[0] == '\\') text += '\\';
    if (length != 0 && is_harmless(character)) {
      text += character;
    } else {
      for (const char byte : character)
        append_escape(text, byte);
    }
  }
  return text;
}
