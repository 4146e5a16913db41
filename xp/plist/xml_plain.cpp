#include "xp/plist/xml_plain.h"

#include "xp/string/text.h"

#include <array>

namespace xp {

namespace {

using namespace std::string_view_literals;

// What a byte of text asks for.
enum class byte_class : uint8_t { plain, markup, unusual, bracket, high };

constexpr auto classes = [] {
  std::array<byte_class, 256> table{};
  for (size_t i = 0; i < ' '; ++i)
    table[i] = byte_class::unusual;  // no character of XML, or a carriage return, which becomes a line break
  table['\n'] = table['\t'] = byte_class::plain;
  table['<'] = table['&'] = byte_class::markup;
  table[']'] = byte_class::bracket;  // "]]>" is no text
  table[0xEF] = byte_class::high;    // U+FFFE and U+FFFF are no characters of XML
  return table;
}();

byte_class class_of(char byte) {
  return classes[static_cast<unsigned char>(byte)];
}

class scanner {
public:
  scanner(std::string_view text, xml_plist_form &form)
      : at_(text.data()), end_(text.data() + text.size()), form_(form) {}

  bool run() {
    if (!prolog()) return false;
    do {
      if (!markup() || (depth_ > 0 && !text())) return false;
    } while (depth_ > 0);
    skip_blanks();
    return at_ == end_;
  }

private:
  bool takes(std::string_view token) {
    if (static_cast<size_t>(end_ - at_) < token.size() || memcmp(at_, token.data(), token.size()) != 0) {
      return false;
    }
    at_ += token.size();
    return true;
  }

  void skip_blanks() {
    while (at_ < end_ && (*at_ == '\n' || *at_ == '\t' || *at_ == ' '))
      ++at_;
  }

  // A text in quotes that means the same under every reading, and the quote behind it.
  bool identifier() {
    while (at_ < end_ && ((*at_ >= 'a' && *at_ <= 'z') || (*at_ >= 'A' && *at_ <= 'Z') ||
                          (*at_ >= '-' && *at_ <= ':') || *at_ == ' ')) {
      ++at_;
    }
    return takes("\"");
  }

  bool prolog() {
    if (takes("<?xml version=\"1.0\" encoding=\"UTF-8\"?>")) skip_blanks();
    if (!takes("<!DOCTYPE plist PUBLIC \"")) return true;
    if (!identifier() || !takes(" \"") || !identifier() || !takes(">")) return false;
    skip_blanks();
    return true;
  }

  // The end of the text when there is nothing left to look at before.
  bool markup() {
    if (!takes("<")) return false;
    if (takes("/")) return close();
    if (takes("![CDATA[")) return depth_ > 0 && section();
    return open();
  }

  uint64_t name() {
    uint64_t packed = 0;
    const char *limit = end_ - at_ > 8 ? at_ + 8 : end_;
    for (; at_ < limit && *at_ >= 'a' && *at_ <= 'z'; ++at_)
      packed = packed << 8U | static_cast<unsigned char>(*at_);
    return packed;
  }

  bool open() {
    const uint64_t element = name();
    if (depth_ == 0) takes(" version=\"1.0\"");
    if (depth_ == deepest || form_.opens(element) != nullptr) return false;
    open_[depth_++] = element;
    if (takes(">")) return true;
    takes(" ");
    --depth_;
    return takes("/>") && form_.closes() == nullptr;
  }

  bool close() { return depth_ > 0 && name() == open_[--depth_] && takes(">") && form_.closes() == nullptr; }

  bool tell(const char *begin, const char *end) {
    return begin == end || form_.text({begin, static_cast<size_t>(end - begin)}) == nullptr;
  }

  // Passes over plain text.
  bool pass() {
    for (;; ++at_) {
      while (at_ < end_ && class_of(*at_) == byte_class::plain)
        ++at_;
      if (at_ == end_) return false;
      const std::string_view rest(at_, static_cast<size_t>(end_ - at_));
      switch (class_of(*at_)) {
        case byte_class::bracket:
          if (rest.starts_with("]]>")) return true;
          break;
        case byte_class::high:
          if (rest.starts_with("\xEF\xBF\xBE"sv) || rest.starts_with("\xEF\xBF\xBF"sv)) return false;
          break;
        case byte_class::unusual: return false;
        default: return true;
      }
    }
  }

  bool reference() {
    static constexpr struct {
      std::string_view token;
      char meaning;
    } references[] = {{"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
    for (const auto &one : references) {
      if (takes(one.token)) return tell(&one.meaning, &one.meaning + 1);
    }
    return false;
  }

  // Up to the next markup.
  bool text() {
    for (;;) {
      const char *begin = at_;
      if (!pass() || !tell(begin, at_)) return false;
      if (*at_ == '<') return true;
      if (!reference()) return false;
    }
  }

  bool section() {
    const char *begin = at_;
    for (;;) {
      if (!pass()) return false;
      if (*at_ == ']') break;
      ++at_;
    }
    return tell(begin, at_) && takes("]]>");
  }

  static constexpr size_t deepest = deepest_list + 2;  // the containers, the list around them, a value inside

  const char *at_;
  const char *end_;
  xml_plist_form &form_;
  size_t depth_ = 0;
  std::array<uint64_t, deepest> open_;  // names; the first depth_ are set
};

}  // namespace

bool read_plain_plist(std::string_view text, xml_plist_form &form) {
  return scanner(text, form).run() && xp_str_txtvalid(text.data(), static_cast<int64_t>(text.size())) < 0;
}

}  // namespace xp
