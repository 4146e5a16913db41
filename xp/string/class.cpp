#include "xp/string/class.h"

#include "xp/string/string.h"
#include "xp/string/text.h"

#include <string.h>

#include <algorithm>
#include <optional>
#include <string_view>

namespace {

using namespace std::string_view_literals;

struct named_class {
  std::string_view name, members;
  bool as_listed = true;  // whatever the caller's flags
};

constexpr named_class names[] = {
    {"[:alnum:]", "0-9A-Za-z"},
    {"[:alpha:]", "A-Za-z"},
    {"[:ascii:]", "\0-\x7F"sv},
    {"[:blank:]", " \t"},
    {"[:cntrl:]", "\0-\x1F\x7F"sv},
    {"[:digit:]", "0-9"},
    {"[:graph:]", "!-~"},
    {"[:lower:]", "a-z"},
    {"[:print:]", " -~"},
    {"[:punct:]", "!-/:-@[-`{-~"},
    {"[:space:]", " \t\n\r"},
    {"[:upper:]", "A-Z"},
    // Deliberate: added with the caller's flags. Listing the small letters would add them to exact classes.
    {"[:word:]", "0-9A-Z_", false},
    {"[:xdigit:]", "0-9A-Fa-f"},
};

const named_class *name_at(std::string_view pattern) {
  for (const named_class &row : names) {
    if (pattern.starts_with(row.name)) return &row;
  }
  return nullptr;
}

class builder {
public:
  builder(unsigned char mark, unsigned char *table) : mark_(mark), table_(table) {}

  void add(std::string_view pattern, bool exact) {
    while (!pattern.empty()) {
      if (const named_class *row = name_at(pattern)) {
        pattern.remove_prefix(row->name.size());
        add(row->members, row->as_listed || exact);
        continue;
      }
      unsigned char first = take_byte(pattern);
      add_range(first, take_range_end(pattern).value_or(first), exact);
    }
  }

private:
  static unsigned char take_byte(std::string_view &pattern) {
    if (pattern.front() == '\\' && pattern.size() > 1) pattern.remove_prefix(1);
    auto byte = static_cast<unsigned char>(pattern.front());
    pattern.remove_prefix(1);
    return byte;
  }

  static std::optional<unsigned char> take_range_end(std::string_view &pattern) {
    if (pattern.size() < 2 || pattern.front() != '-' || name_at(pattern.substr(1)) != nullptr)
      return std::nullopt;
    pattern.remove_prefix(1);
    return take_byte(pattern);
  }

  void add_range(unsigned from, unsigned to, bool exact) {
    for (unsigned c = std::min(from, to); c <= std::max(from, to); ++c) {
      table_[c] = mark_;
      unsigned letter = c | 0x20;
      if (!exact && letter >= 'a' && letter <= 'z') table_[c ^ 0x20] = mark_;
    }
  }

  unsigned char mark_;
  unsigned char *table_;
};

// The bytes at the start of the text whose membership is `member`.
int64_t run(const char *text, int64_t length, const char *set, bool member) {
  unsigned char table[256] = {};
  xps_charclass_add(set, -1, XP_CLASS_EXACT, 1, table);
  int64_t at = 0;
  while (at < length && (table[static_cast<unsigned char>(text[at])] != 0) == member)
    ++at;
  return at;
}

}  // namespace

void xps_charclass_add(const char *pattern, int64_t length, uint32_t flags, unsigned char mark,
                       unsigned char *table) {
  if (pattern == nullptr || table == nullptr) return;
  builder(mark, table)
      .add({pattern, static_cast<size_t>(xp_str_txtlen(pattern, length))}, (flags & XP_CLASS_EXACT) != 0);
}

int32_t xp_str_txtonly(const char *text, int64_t length, const char *set) {
  int64_t total = xp_str_txtlen(text, length);
  return total > 0 && run(text, total, set, true) == total;
}

int32_t xp_str_txtany(const char *text, int64_t length, const char *set) {
  int64_t total = xp_str_txtlen(text, length);
  return run(text, total, set, false) < total;
}

int32_t xp_str_only(xp_obj *s, const char *set) {
  return xp_str_txtonly(xp_str_getptr(s), xp_str_length(s), set);
}

int32_t xp_str_any(xp_obj *s, const char *set) {
  return xp_str_txtany(xp_str_getptr(s), xp_str_length(s), set);
}

int32_t xp_str_stronly(const char *text, const char *set) {
  return xp_str_txtonly(text, -1, set);
}

int32_t xp_str_strany(const char *text, const char *set) {
  return xp_str_txtany(text, -1, set);
}
