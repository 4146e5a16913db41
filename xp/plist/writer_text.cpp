#include "xp/plist/writer_text.h"

#include "xp/format/engine.h"
#include "xp/plist/byte_scan.h"
#include "xp/plist/text_form.h"
#include "xp/string/text.h"

#include <string.h>

#include <algorithm>
#include <bit>

namespace {

using xp::text_sink;

// The writer recurses; the format engine's sink is large and stands on no frame but these.
[[gnu::noinline]] void write_stage(text_sink &out, uint32_t flags, std::string_view text) {
  xpf_sink stage(text_sink::write, &out);
  xpf_str(stage, flags, text.data(), static_cast<int64_t>(text.size()));
  stage.finish();
}

std::string_view between(const char *from, const char *to) {
  return {from, static_cast<size_t>(to - from)};
}

// --- Scanning ---

// Fewer than eight bytes as a word that spaces, which carry no mark, fill up.
uint64_t load_short(const char *at, size_t size) {
  uint64_t word = size < 8 ? (xp::each_byte * ' ') << size * 8 : 0;
  if (size >= 4) {
    uint32_t first;
    uint32_t last;
    memcpy(&first, at, 4);
    memcpy(&last, at + size - 4, 4);
    return word | first | uint64_t{last} << (size - 4) * 8;
  }
  for (size_t i = 0; i < size; ++i)
    word |= uint64_t{static_cast<unsigned char>(at[i])} << i * 8;
  return word;
}

// As xp::scan does, for texts that are most often short: the last bytes are looked at once, in a word that
// reaches back over bytes without a mark.
template <typename Marks>
const char *find(const char *at, const char *end, Marks marks) {
  const auto size = static_cast<size_t>(end - at);
  if (size < 8) {
    const uint64_t found = marks(load_short(at, size));
    return found == 0 ? end : at + std::countr_zero(found) / 8;
  }
  for (const char *last = end - 8;; at = last - at < 8 ? last : at + 8) {
    uint64_t word;
    memcpy(&word, at, 8);
    if (const uint64_t found = marks(word); found != 0) return at + std::countr_zero(found) / 8;
    if (at == last) return end;
  }
}

// --- Quotes ---

bool needs_quotes(std::string_view text, std::string_view special) {
  return !text.empty() &&
         (xp::is_text_space(text.front()) || xp::is_text_space(text.back()) ||
          text.starts_with(xp::byte_order_mark) || text.find_first_of(special) != std::string_view::npos);
}

// --- XML ---

// A mark at each byte that equals `byte`, and maybe at others above the first of them.
constexpr uint64_t equals(uint64_t word, char byte) {
  const uint64_t rest = word ^ (xp::each_byte * static_cast<unsigned char>(byte));
  return (rest - xp::each_byte) & ~rest & xp::each_top;
}

// & and both angle brackets, which are one bit apart.
constexpr auto brackets = [](uint64_t word) {
  constexpr uint64_t apart = xp::each_byte * ('<' ^ '>');
  return equals(word, '&') | equals(word | apart, '>');
};

constexpr uint64_t controls_and_high(uint64_t word) {
  return ((word - xp::each_byte * ' ') | word) & xp::each_top;
}

constexpr auto special_in_text = [](uint64_t word) { return controls_and_high(word) | brackets(word); };

constexpr auto special_in_key = [](uint64_t word) { return special_in_text(word) | equals(word, '"'); };

// Where the text is written.
enum class place : uint8_t { content, cdata, key };

struct markup {
  text_sink &out;
  place where;
  std::string_view open;  // of a CDATA section
  std::string_view close;
  const char *begin;
  const char *end;

  void reference(std::string_view text) const {
    if (where == place::cdata) out.put(close);
    out.put(text);
    if (where == place::cdata) out.put(open);
  }

  // A control byte.
  void control(char byte) const {
    if (byte == '\r') return reference("&#13;");
    if (byte != '\t' && byte != '\n') return out.put(' ');
    if (where != place::key) return out.put(byte);
    out.put(byte == '\t' ? "&#9;" : "&#10;");
  }

  // One of & < > and the quote.
  void mark(const char *at) const {
    if (where == place::cdata) {
      if (*at == '>' && at - begin >= 2 && at[-1] == ']' && at[-2] == ']') reference({});
      return out.put(*at);
    }
    switch (*at) {
      case '&': return out.put("&amp;");
      case '<': return out.put("&lt;");
      case '>': return out.put("&gt;");
      default: return out.put("&quot;");
    }
  }

  // A run of bytes from 128 on; where it ends.
  const char *high(const char *at) const {
    const char *start = at;
    while (at < end && static_cast<signed char>(*at) < 0) {
      const int32_t size = xp_str_sequence(at, end - at);
      // U+FFFE and U+FFFF are no characters of XML.
      const bool none = size == 0 || (size == 3 && between(at, at + 2) == "\xEF\xBF" && at[2] >= '\xBE');
      if (none) {
        out.put(between(start, at));
        out.put('?');
      }
      at += size == 0 ? 1 : size;
      if (none) start = at;
    }
    out.put(between(start, at));
    return at;
  }

  template <typename Marks>
  void write(Marks marks) const {
    for (const char *at = begin; at < end;) {
      const char *stop = find(at, end, marks);
      out.put(between(at, stop));
      if (stop == end) return;
      if (static_cast<signed char>(*stop) < 0) {
        at = high(stop);
      } else {
        *stop < ' ' ? control(*stop) : mark(stop);
        at = stop + 1;
      }
    }
  }
};

}  // namespace

namespace xp {

void write_percent(text_sink &out, std::string_view text) {
  write_stage(out, XPF_PLUS, text);
}

void write_quotes(text_sink &out, const xp_plist_style &style, std::string_view text) {
  if (!needs_quotes(text, style.special)) return out.put(text);
  out.put(style.quote.before);
  while (!text.empty()) {
    const size_t plain = std::min(text.find_first_of(std::string_view("\"\0", 2)), text.size());
    out.put(text.substr(0, plain));
    if (plain == text.size()) break;
    out.put(text[plain] == '"' ? "\"\"" : " ");
    text.remove_prefix(plain + 1);
  }
  out.put(style.quote.after);
}

void write_markup(text_sink &out, const xp_plist_style &style, std::string_view text) {
  const char *end = text.data() + text.size();
  const char *special = find(text.data(), end, special_in_text);
  if (special == end) return out.put(text);
  const bool wraps = find(special, end, brackets) != end;
  if (wraps) out.put(style.quote.before);
  const markup characters{.out = out,
                          .where = wraps ? place::cdata : place::content,
                          .open = style.quote.before,
                          .close = style.quote.after,
                          .begin = text.data(),
                          .end = end};
  characters.write(special_in_text);
  if (wraps) out.put(style.quote.after);
}

void write_entities(text_sink &out, std::string_view text) {
  const markup characters{.out = out,
                          .where = place::key,
                          .open = {},
                          .close = {},
                          .begin = text.data(),
                          .end = text.data() + text.size()};
  characters.write(special_in_key);
}

}  // namespace xp
