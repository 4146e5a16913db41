#include "xp/service/url_percent.h"

#include "xp/object/memory.h"
#include "xp/service/url_chars.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <algorithm>
#include <string_view>

namespace {

// A new string of a block's bytes up to `end`; the block is freed.
xp_obj *take_block(char *block, const char *end) {
  xp_obj *string = block == nullptr ? nullptr : xp_str_make(block, end - block);
  xp_free(block);
  return string;
}

std::string_view view_of(const char *text, int64_t length) {
  return {text, static_cast<size_t>(xp_str_txtlen(text, length))};
}

}  // namespace

xp_obj *xp_url_encode(const char *text, int64_t length, xp_url_place place) {
  std::string_view plain = view_of(text, length);
  auto coded = std::count_if(plain.begin(), plain.end(), [&](char c) { return !xp::stands(c, place); });
  auto *block = static_cast<char *>(xp_alloc(plain.size() + 2 * static_cast<size_t>(coded) + 1));
  char *at = block;
  for (size_t i = 0; block != nullptr && i < plain.size(); ++i) {
    char c = plain[i];
    if (xp::stands(c, place)) {
      *at++ = c;
    } else {
      *at++ = '%';
      *at++ = xp::upper_hex[static_cast<unsigned char>(c) >> 4];
      *at++ = xp::upper_hex[c & 15];
    }
  }
  return take_block(block, at);
}

xp_obj *xp_url_decode(const char *text, int64_t length, uint32_t flags) {
  std::string_view coded = view_of(text, length);
  auto *block = static_cast<char *>(xp_alloc(coded.size() + 1));
  char *at = block;
  for (size_t i = 0; block != nullptr && i < coded.size(); ++i) {
    int byte = xp::coded_byte(coded.substr(i));
    if (byte >= 0) {
      *at++ = static_cast<char>(byte);
      i += 2;
    } else if (coded[i] == '%' && (flags & XP_URL_STRICT) != 0) {
      xp_free(block);
      return nullptr;
    } else {
      *at++ = coded[i] == '+' && (flags & XP_URL_PLUS) != 0 ? ' ' : coded[i];
    }
  }
  return take_block(block, at);
}
