#include "xp/plist/json.h"

#include "xp/plist/byte_scan.h"
#include "xp/string/text.h"

#include <string.h>

#include <array>
#include <cstddef>
#include <string_view>

namespace {

// One run over a text. Nodes live on a fixed stack: an open container, the key that leads into it, and a
// value while it is handed over take a place each.
class tokenizer {
public:
  tokenizer(const char *text, const char *end, xp_json_handler handler, void *context)
      : at_(text), end_(end), handler_(handler), context_(context) {}

  int64_t run() {
    for (skip_blank(); at_ < end_; skip_blank()) {
      token_ = at_;
      if (int64_t result = token(); result != XP_JSON_OK) return result;
    }
    token_ = end_;
    return container_ == nullptr ? XP_JSON_OK : XP_JSON_TRUNCATED;
  }

  // Where the last token began; the end of a text that was read to its end.
  const char *last_token() const { return token_; }

private:
  static constexpr ptrdiff_t max_nodes = 32;

  // Deliberate: bytes are compared signed, so every byte from 128 on outside a string counts as white space.
  // Texts with a byte order mark or stray bytes between tokens are read because of it.
  void skip_blank() {
    while (at_ < end_ && static_cast<signed char>(*at_) < 33)
      ++at_;
  }

  int64_t token() {
    switch (*at_) {
      case '{': return open(XP_JSON_OBJECT);
      case '[': return open(XP_JSON_ARRAY);
      case '}': return close(XP_JSON_OBJECT);
      case ']': return close(XP_JSON_ARRAY);
      case ',': return comma();
      case '"': return string();
      case '-':
      case '0':
      case '1':
      case '2':
      case '3':
      case '4':
      case '5':
      case '6':
      case '7':
      case '8':
      case '9': return number();
      case 't':
      case 'T': return literal("true", XP_JSON_BOOLEAN, "1");
      case 'f':
      case 'F': return literal("false", XP_JSON_BOOLEAN, "0");
      case 'n':
      case 'N': return literal("null", XP_JSON_NULL, {});
      default: return XP_JSON_BAD_TOKEN;
    }
  }

  bool wants_key() const {
    return container_ != nullptr && container_->kind == XP_JSON_OBJECT && key_ == nullptr;
  }

  xp_json_node *push(xp_json_kind kind, std::string_view text) {
    if (count_ == max_nodes) return nullptr;
    xp_json_node *node = &nodes_[static_cast<size_t>(count_++)];
    *node = {.parent = container_,
             .previous = key_,
             .kind = kind,
             .length = static_cast<int64_t>(text.size()),
             .text = text.data()};
    return node;
  }

  int64_t tell(xp_json_event event, xp_json_node *node) {
    if (handler_ == nullptr) return XP_JSON_OK;
    int64_t link = 0;
    if (node->previous != nullptr) {
      link = static_cast<int64_t>(reinterpret_cast<intptr_t>(node->previous));
    } else if (node->parent != nullptr) {
      link = 1;
    }
    return handler_(event, node, context_, link);
  }

  int64_t open(xp_json_kind kind) {
    if (wants_key()) return XP_JSON_BAD_SYNTAX;
    xp_json_node *node = push(kind, {});
    if (node == nullptr) return XP_JSON_TOO_DEEP;
    ++at_;
    container_ = node;
    key_ = nullptr;
    return tell(XP_JSON_OPEN, node);
  }

  // A key that still waits for its value is dropped with its container.
  int64_t close(xp_json_kind kind) {
    xp_json_node *node = container_;
    if (node == nullptr) return XP_JSON_NOT_OPEN;
    if (node->kind != kind) return XP_JSON_BAD_SYNTAX;
    ++at_;
    int64_t result = tell(XP_JSON_CLOSE, node);
    count_ = (node->previous != nullptr ? node->previous : node) - nodes_.data();
    container_ = node->parent;
    key_ = nullptr;
    return result;
  }

  // Deliberate: commas separate nothing. Values may stand side by side, and commas may be missing or
  // repeated; only between a key and its value they are a fault.
  int64_t comma() {
    if (key_ != nullptr) return XP_JSON_BAD_SYNTAX;
    ++at_;
    return XP_JSON_OK;
  }

  // A string that the end of the text cuts off ends there, also right behind a backslash.
  int64_t string() {
    const char *begin = ++at_;
    while ((at_ = xp::scan(at_, end_, xp::string_ends)) < end_ && *at_ == '\\') {
      at_ += end_ - at_ > 1 ? 2 : 1;
    }
    const std::string_view text(begin, static_cast<size_t>(at_ - begin));
    if (at_ < end_) ++at_;
    return wants_key() ? key(text) : value(XP_JSON_STRING, text);
  }

  int64_t key(std::string_view text) {
    xp_json_node *node = push(XP_JSON_STRING, text);
    if (node == nullptr) return XP_JSON_TOO_DEEP;
    key_ = node;
    skip_blank();
    if (at_ == end_ || *at_ != ':') return XP_JSON_BAD_SYNTAX;
    ++at_;
    return XP_JSON_OK;
  }

  static bool in_number(char byte) {
    return (byte >= '0' && byte <= '9') || byte == '.' || byte == '-' || byte == '+' || byte == 'e' ||
           byte == 'E';
  }

  int64_t number() {
    const char *begin = at_++;
    while (at_ < end_ && in_number(*at_))
      ++at_;
    return value(XP_JSON_NUMBER, {begin, static_cast<size_t>(at_ - begin)});
  }

  // Takes exactly the letters of the word; what follows starts the next token.
  int64_t literal(std::string_view word, xp_json_kind kind, std::string_view text) {
    if (static_cast<size_t>(end_ - at_) < word.size()) return XP_JSON_BAD_TOKEN;
    for (char letter : word) {
      if ((*at_++ | 0x20) != letter) return XP_JSON_BAD_TOKEN;
    }
    return value(kind, text);
  }

  int64_t value(xp_json_kind kind, std::string_view text) {
    if (container_ == nullptr || wants_key()) return XP_JSON_BAD_SYNTAX;
    xp_json_node *node = push(kind, text);
    if (node == nullptr) return XP_JSON_TOO_DEEP;
    int64_t result = tell(XP_JSON_VALUE, node);
    count_ -= key_ != nullptr ? 2 : 1;
    key_ = nullptr;
    return result;
  }

  const char *at_;
  const char *end_;
  const char *token_ = nullptr;
  xp_json_handler handler_;
  void *context_;
  xp_json_node *container_ = nullptr;  // innermost open container
  xp_json_node *key_ = nullptr;        // key that waits for its value
  ptrdiff_t count_ = 0;
  std::array<xp_json_node, max_nodes> nodes_;  // only the first count_ are set
};

int hex_digit(char byte) {
  if (byte >= '0' && byte <= '9') return byte - '0';
  const char lower = static_cast<char>(byte | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

uint64_t hex_value(std::string_view digits) {
  uint64_t value = 0;
  for (char byte : digits) {
    const int digit = hex_digit(byte);
    if (digit < 0) break;
    value = value << 4 | static_cast<uint64_t>(digit);
  }
  return value;
}

uint64_t decimal_value(std::string_view digits) {
  uint64_t value = 0;
  for (char byte : digits) {
    switch (byte) {
      case 'K': return value << 10;
      case 'M': return value << 20;
      case 'G': return value << 30;
      default: break;
    }
    if (byte < '0' || byte > '9') break;
    value = value * 10 + static_cast<uint64_t>(byte - '0');
  }
  return value;
}

}  // namespace

int64_t xp_json_parse(const char *text, xp_json_handler handler, void *context) {
  if (text == nullptr) return XP_JSON_OK;
  return tokenizer(text, text + strlen(text), handler, context).run();
}

int64_t xp_json_parsetext(const char *text, int64_t length, xp_json_handler handler, void *context) {
  if (text == nullptr || length < 0) return xp_json_parse(text, handler, context);
  return tokenizer(text, text + strnlen(text, static_cast<size_t>(length)), handler, context).run();
}

int64_t xp_json_locate(std::string_view text, xp_json_handler handler, void *context, int64_t *place) {
  tokenizer tokens(text.data(), text.data() + text.size(), handler, context);
  const int64_t result = tokens.run();
  *place = tokens.last_token() - text.data();
  return result;
}

int32_t xp_json_nodenamed(const xp_json_node *node, const char *name, int64_t length) {
  if (node == nullptr || node->kind == XP_JSON_NULL || name == nullptr) return 0;
  return xp_str_txtmatch(node->text, node->length, name, length, 0);
}

uint64_t xp_json_nodevalue(const xp_json_node *node) {
  if (node == nullptr || node->text == nullptr) return 0;
  const std::string_view text(node->text, static_cast<size_t>(node->length));
  const bool hexadecimal = text.size() >= 2 && text[0] == '0' && (text[1] | 0x20) == 'x';
  return hexadecimal ? hex_value(text.substr(2)) : decimal_value(text);
}
