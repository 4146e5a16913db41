#include "xp/plist/text_form.h"

#include "xp/dict/dict.h"
#include "xp/object/memory.h"
#include "xp/object/ref.h"
#include "xp/string/string.h"

#include <string.h>

#include <array>

namespace {

// Keys are this long at most; dictionaries cut them.
constexpr size_t longest_key = 255;

bool has_pairs(const xp_plist_token &token) {
  return token.quoted && token.text.find('"') != std::string_view::npos;
}

// Copies the text with one quote for two, as far as the room goes; the bytes copied.
size_t copy_single(std::string_view text, char *to, size_t room) {
  size_t copied = 0;
  for (size_t at = 0; at < text.size() && copied < room; ++at) {
    to[copied++] = text[at];
    if (text[at] == '"') ++at;
  }
  return copied;
}

xp_obj *string_of(std::string_view text) {
  return xp_str_make(text.data(), std::ssize(text));
}

xp_obj *token_string(const xp_plist_token &token) {
  if (!has_pairs(token)) return string_of(token.text);
  std::array<char, 256> small;
  const size_t size = token.text.size();
  auto *plain = static_cast<char *>(xp_alloc_fast(size, 0, small.data(), small.size()));
  if (plain == nullptr) return nullptr;
  xp_obj *string = string_of({plain, copy_single(token.text, plain, size)});
  xp_free_fast(plain, small.data());
  return string;
}

class key {
public:
  explicit key(const xp_plist_token &name) : text_(name.text) {
    if (has_pairs(name)) text_ = {plain_.data(), copy_single(name.text, plain_.data(), plain_.size())};
  }
  key(const key &) = delete;
  key &operator=(const key &) = delete;

  const char *data() const { return text_.data(); }
  int64_t length() const { return std::ssize(text_); }

private:
  std::string_view text_;
  std::array<char, longest_key> plain_;
};

}  // namespace

namespace xp {

std::string_view without_space_behind(std::string_view text) {
  while (!text.empty() && is_text_space(text.back()))
    text.remove_suffix(1);
  return text;
}

const char *find_quote_end(const char *at, const char *end) {
  ++at;
  while (at < end) {
    at = static_cast<const char *>(memchr(at, '"', static_cast<size_t>(end - at)));
    if (at == nullptr) return nullptr;
    if (at + 1 == end || at[1] != '"') return at + 1;
    at += 2;
  }
  return nullptr;
}

xp_plist_token token_of(std::string_view text) {
  const char *end = text.data() + text.size();
  const bool quoted = text.starts_with('"') && find_quote_end(text.data(), end) == end;
  return {.text = quoted ? text.substr(1, text.size() - 2) : text, .quoted = quoted};
}

std::string_view without_mark(std::string_view text) {
  return text.starts_with(byte_order_mark) ? text.substr(byte_order_mark.size()) : text;
}

bool store_token(xp_obj *dict, const xp_plist_token &name, const xp_plist_token &value) {
  const key plain(name);
  ref string = ref::adopt(token_string(value));
  return string && xp_dict_adopt(dict, plain.data(), plain.length(), string.leak()) == 0;
}

xp_obj *enter_dict(xp_obj *dict, const xp_plist_token &name) {
  const key plain(name);
  const ref there = ref::adopt(xp_dict_fetch(dict, plain.data(), plain.length()));
  if (xp_type(there.get()) == xp_dict_type()) return there.get();
  const ref made = ref::adopt(xp_dict_new(XP_DICT_NOCASE));
  return made && xp_dict_store(dict, plain.data(), plain.length(), made.get()) == 0 ? made.get() : nullptr;
}

}  // namespace xp
