#include "tools/ntld-dump/values.h"

#include "tools/common/escape.h"
#include "tools/ntld-dump/records.h"
#include "xp/object/record.h"

#include <stdio.h>

#include <algorithm>

namespace {

constexpr size_t bytes_in_line = 16;

std::string more(size_t shown, size_t all) {
  return shown == all ? std::string() : " ... " + std::to_string(all - shown) + " more";
}

std::string quoted_text(std::string_view data, size_t limit) {
  size_t end = std::min(limit, data.size());
  // Not within a character.
  while (end > 0 && end < data.size() && (data[end] & 0xC0) == 0x80)
    --end;
  return '"' + escaped(data.substr(0, end), '"') + '"' + more(end, data.size());
}

// The number, and the code that the bytes spell if they do: message names travel as numbers.
std::string long_text(std::string_view data) {
  std::string text = std::to_string(static_cast<int32_t>(xp::load_be32(data.data())));
  if (is_printable(data)) text += " '" + escaped(data, '\'') + "'";
  return text;
}

std::string boolean_text(std::string_view data) {
  return xp::load_be32(data.data()) != 0 ? "true" : "false";
}

std::string quad_text(std::string_view data) {
  return std::to_string(static_cast<int64_t>(xp::load_be64(data.data())));
}

struct value_type {
  std::string_view type;
  size_t length;
  std::string (*text)(std::string_view data);
};

constexpr value_type value_types[] = {
    {"long", 4, long_text},
    {"ctag", 4, code_text},
    {"quad", 8, quad_text},
    {"xnum", 8, quad_text},
    {"bool", 8, boolean_text},
    {"xdat", 8, [](std::string_view data) { return quad_text(data) + " ms since 1970"; }},
};

// Up to 16 bytes: two digits each, then the characters.
std::string byte_line(std::string_view bytes, size_t width) {
  std::string line, characters;
  for (size_t i = 0; i < width; ++i) {
    char digits[4] = "   ";
    if (i < bytes.size()) {
      snprintf(digits, sizeof digits, "%02x ", static_cast<unsigned char>(bytes[i]));
      characters += is_printable(bytes.substr(i, 1)) ? bytes[i] : '.';
    }
    line += digits;
  }
  return line + " |" + characters + "|";
}

}  // namespace

std::string code_text(std::string_view code) {
  const bool plain = std::ranges::all_of(code, [](char c) { return c > ' ' && c <= '~' && c != '\''; });
  return plain ? std::string(code) : "'" + escaped(code, '\'') + "'";
}

std::string value_text(std::string_view type, std::string_view data, size_t limit) {
  if (type == "text" || type == "xstr") return quoted_text(data, limit);
  for (const value_type &row : value_types)
    if (row.type == type && row.length == data.size()) return row.text(data);
  return {};
}

std::string bytes_text(std::string_view bytes, size_t limit, const std::string &margin) {
  const std::string_view shown = bytes.substr(0, limit);
  if (bytes.size() <= bytes_in_line && shown == bytes) return "  " + byte_line(bytes, bytes.size());
  std::string text;
  for (size_t at = 0; at < shown.size(); at += bytes_in_line) {
    char offset[24];
    snprintf(offset, sizeof offset, "%06zx  ", at);
    text += "\n" + margin + offset + byte_line(shown.substr(at, bytes_in_line), bytes_in_line);
  }
  if (shown != bytes) text += "\n" + margin + more(shown.size(), bytes.size()).substr(1);
  return text;
}
