// A strict reader of JSON (RFC 8259, of UTF-8 by RFC 3629) that only says whether a text is one value. It
// shares no code with the runtime's lenient reader. Keys are let through as they are up to their closing
// quote, since the writer writes them raw.

#ifndef FUZZ_STRICT_JSON_H
#define FUZZ_STRICT_JSON_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace fuzz {

class strict_json {
public:
  explicit strict_json(std::string_view text) : rest_(text) {}

  bool holds() {
    if (!value()) return false;
    blank();
    return rest_.empty();
  }

private:
  char next() const { return rest_.empty() ? '\0' : rest_[0]; }

  bool take(std::string_view token) {
    if (!rest_.starts_with(token)) return false;
    rest_.remove_prefix(token.size());
    return true;
  }

  void blank() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size())); }

  bool value() {
    blank();
    switch (next()) {
      case '{': return items("{", "}", true);
      case '[': return items("[", "]", false);
      case '"': return string();
      default: return take("true") || take("false") || take("null") || number();
    }
  }

  bool items(std::string_view open, std::string_view close, bool keys) {
    take(open);
    blank();
    if (take(close)) return true;
    do {
      if (keys && !key()) return false;
      if (!value()) return false;
      blank();
    } while (take(","));
    return take(close);
  }

  bool key() {
    blank();
    if (!take("\"")) return false;
    while (!rest_.empty() && next() != '"')
      rest_.remove_prefix(next() == '\\' && rest_.size() > 1 ? 2 : 1);
    if (!take("\"")) return false;
    blank();
    return take(":");
  }

  bool digits() {
    const size_t count = std::min(rest_.find_first_not_of("0123456789"), rest_.size());
    rest_.remove_prefix(count);
    return count > 0;
  }

  bool number() {
    take("-");
    if (!take("0") && !digits()) return false;
    if (take(".") && !digits()) return false;
    if (!take("e") && !take("E")) return true;
    if (!take("+")) take("-");
    return digits();
  }

  bool string() {
    take("\"");
    while (!take("\"")) {
      if (!(take("\\") ? escape() : character())) return false;
    }
    return true;
  }

  // The escapes that the writer uses.
  bool escape() { return take("\"") || take("\\") || take("n") || take("r") || take("t"); }

  bool character() {
    const auto lead = static_cast<uint8_t>(next());
    if (rest_.empty() || lead < 0x20) return false;
    const size_t size = lead < 0x80   ? 1
                        : lead < 0xC2 ? 0
                        : lead < 0xE0 ? 2
                        : lead < 0xF0 ? 3
                        : lead < 0xF5 ? 4
                                      : 0;
    if (size == 0 || rest_.size() < size) return false;
    for (size_t i = 1; i < size; ++i) {
      if ((static_cast<uint8_t>(rest_[i]) & 0xC0) != 0x80) return false;
    }
    const uint8_t second = size > 1 ? static_cast<uint8_t>(rest_[1]) : 0;
    const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool beyond = (lead == 0xED && second > 0x9F) || (lead == 0xF4 && second > 0x8F);
    rest_.remove_prefix(size);
    return !overlong && !beyond;
  }

  std::string_view rest_;
};

}  // namespace fuzz

#endif
