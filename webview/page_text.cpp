#include "webview/page_text.h"

#include "webview/webview.h"
#include "xp/object/ref.h"
#include "xp/service/data.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

namespace {

void append_utf8(std::string &out, uint32_t point) {
  const auto put = [&out](uint32_t byte) {
    out.push_back(static_cast<char>(static_cast<unsigned char>(byte)));
  };
  if (point < 0x80) {
    put(point);
  } else if (point < 0x800) {
    put(0xc0 | (point >> 6));
    put(0x80 | (point & 0x3f));
  } else if (point < 0x10000) {
    put(0xe0 | (point >> 12));
    put(0x80 | ((point >> 6) & 0x3f));
    put(0x80 | (point & 0x3f));
  } else {
    put(0xf0 | (point >> 18));
    put(0x80 | ((point >> 12) & 0x3f));
    put(0x80 | ((point >> 6) & 0x3f));
    put(0x80 | (point & 0x3f));
  }
}

bool is_utf8(std::string_view text) {
  return xp_str_txtvalid(text.data(), static_cast<int64_t>(text.size())) < 0;
}

// The text itself when it is UTF-8, otherwise the text read as ISO Latin-1, in which every byte is a
// character.
std::string well_formed(std::string_view text) {
  if (text.empty() || is_utf8(text)) return std::string(text);
  std::string result;
  for (const char c : text)
    append_utf8(result, static_cast<unsigned char>(c));
  return result;
}

xp_obj *make_string(std::string_view text) {
  return xp_str_make(text.data(), static_cast<int64_t>(text.size()));
}

}  // namespace

uint64_t xp_wv_integer(double number) {
  // 2 to the power of 64 is the first value that does not fit; NaN fails both comparisons.
  return number > 0 && number < 18446744073709551616.0 ? static_cast<uint64_t>(number) : 0;
}

size_t xp_wv_units(std::string_view text) {
  size_t units = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xc0) != 0x80) ++units;  // a character begins
    if (byte >= 0xf0) ++units;           // and takes a surrogate pair
  }
  return units;
}

std::string xp_wv_from_utf16(std::span<const uint8_t> bytes) {
  const size_t count = bytes.size() / 2;
  const auto unit = [bytes](size_t i) { return uint32_t{bytes[2 * i]} << 8 | bytes[2 * i + 1]; };
  std::string result;
  for (size_t i = 0; i < count; ++i) {
    uint32_t point = unit(i);
    if (point >= 0xd800 && point < 0xe000) {
      const uint32_t low = i + 1 < count ? unit(i + 1) : 0;
      const bool pair = point < 0xdc00 && low >= 0xdc00 && low < 0xe000;
      if (pair) ++i;
      point = pair ? 0x10000 + ((point - 0xd800) << 10) + (low - 0xdc00) : 0xfffd;
    }
    append_utf8(result, point);
  }
  return result;
}

std::string xp_wv_quoted(std::string_view text) {
  constexpr std::string_view digits = "0123456789abcdef";
  constexpr std::string_view plain = "bfnrt";
  constexpr std::string_view control = "\b\f\n\r\t";
  std::string result = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (const size_t at = control.find(c); at != std::string_view::npos) {
      result += {'\\', plain[at]};
    } else if (c == '"' || c == '\\') {
      result += {'\\', c};
    } else if (byte < 0x20 || c == '\'') {
      result += {'\\', 'u', '0', '0', digits[byte >> 4], digits[byte & 15]};
    } else {
      result += c;
    }
  }
  return result += '"';
}

std::string xp_wv_text(xp_obj *obj) {
  const xp::ref text = xp::ref::adopt(xp_str_coerce(obj));
  if (!text) return {};
  return well_formed({xp_str_getptr(text.get()), static_cast<size_t>(xp_str_length(text.get()))});
}

std::string xp_wv_bytes(xp_obj *obj) {
  if (xp_type(obj) == xp_data_type()) {
    const int64_t length = xp_data_length(obj);
    return length > 0
               ? std::string(static_cast<const char *>(xp_data_getptr(obj)), static_cast<size_t>(length))
               : std::string();
  }
  const xp::ref text = xp::ref::adopt(xp_str_coerce(obj));
  if (!text) return {};
  return {xp_str_getptr(text.get()), static_cast<size_t>(xp_str_length(text.get()))};
}

xp_obj *xp_wv_string(std::string_view text) {
  if (!is_utf8(text)) return nullptr;
  return make_string(text);
}

xp_obj *xp_wv_utf8(const char *text) {
  return make_string(well_formed(text != nullptr ? std::string_view(text) : std::string_view("")));
}
