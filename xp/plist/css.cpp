#include "xp/plist/css.h"

#include "xp/dict/dict.h"
#include "xp/object/ref.h"

#include <string.h>

#include <algorithm>

namespace {

using xp::token_of;

// What stands before a brace or semicolon, white space and comments around it left out.
struct statement {
  const char *begin;
  const char *end;         // behind its last byte
  const char *colon;       // the first one, or null
  const char *before;      // where the name before the colon ends
  const char *terminator;  // the brace, the semicolon or the end of the text
};

std::string_view between(const char *from, const char *to) {
  return {from, static_cast<size_t>(to - from)};
}

class parser {
public:
  parser(std::string_view text, xp_css_handler handler, void *context, xp_plist_fault &fault)
      : begin_(text.data()), end_(begin_ + text.size()), handler_(handler), context_(context), fault_(fault) {
    at_ = xp::without_mark(text).data();
  }

  int64_t run() {
    for (;;) {
      while (skip_space() && at_ < end_ && *at_ == ';')
        ++at_;
      if (failed_) return -1;
      if (at_ == end_) return depth_ == 0 ? 0 : stop(at_, "a block without its end");
      const int64_t stopped = *at_ == '}' ? close() : item();
      if (stopped != 0) return stopped;
    }
  }

private:
  int64_t item() {
    statement found;
    if (!scan(found)) return -1;
    at_ = found.terminator;
    return at_ < end_ && *at_ == '{' ? open(found) : value(found);
  }

  int64_t open(const statement &found) {
    const bool named = found.colon != nullptr && found.colon + 1 == found.end;
    const xp_css_node node{.name = token_of(between(found.begin, named ? found.before : found.end)),
                           .value = {}};
    if (node.name.text.empty()) return stop(found.begin, "a block without a name");
    if (depth_ + 1 == xp::deepest_list) return stop(at_, "too many blocks inside each other");
    ++depth_;
    ++at_;
    return tell(XP_CSS_OPEN, node, found.begin);
  }

  int64_t close() {
    if (depth_ == 0) return stop(at_, "a brace that closes nothing");
    --depth_;
    return tell(XP_CSS_CLOSE, {}, at_++);
  }

  int64_t value(const statement &found) {
    if (found.colon == nullptr) return *found.begin == '@' ? 0 : stop(found.begin, "a value without a colon");
    const char *name_begin = found.begin;
    at_ = found.colon + 1;
    skip_space();
    const xp_css_node node{.name = token_of(between(name_begin, found.before)),
                           .value = token_of(between(at_, std::max(at_, found.end)))};
    at_ = found.terminator;
    if (node.name.text.empty()) return stop(found.begin, "a value without a name");
    return tell(XP_CSS_VALUE, node, found.begin);
  }

  // Looks through the statement that begins here, at a byte that is neither white space nor a comment.
  bool scan(statement &found) {
    found = {.begin = at_, .end = at_, .colon = nullptr, .before = at_, .terminator = end_};
    while (skip_space() && at_ < end_) {
      if (*at_ == '{' || *at_ == '}' || *at_ == ';') break;
      if (*at_ == ':' && found.colon == nullptr) {
        found.colon = at_;
        found.before = found.end;
      }
      if (!skip_byte()) return false;
      found.end = at_;
    }
    found.terminator = at_;
    return !failed_;
  }

  // A byte, or all that is quoted here.
  bool skip_byte() {
    if (*at_ != '"') {
      ++at_;
      return true;
    }
    const char *behind = xp::find_quote_end(at_, end_);
    if (behind == nullptr) return stop(at_, "a quote without its end") == 0;
    at_ = behind;
    return true;
  }

  // White space and comments. False after a fault.
  bool skip_space() {
    for (;;) {
      at_ = std::find_if_not(at_, end_, xp::is_text_space);
      if (end_ - at_ < 2 || at_[0] != '/' || at_[1] != '*') return true;
      const std::string_view comment = between(at_ + 2, end_);
      const size_t length = comment.find("*/");
      if (length == std::string_view::npos) return stop(at_, "a comment without its end") == 0;
      at_ += length + 4;
    }
  }

  int64_t tell(xp_css_event event, const xp_css_node &node, const char *place) {
    const int64_t result = handler_ == nullptr ? 0 : handler_(event, &node, context_);
    if (result != 0) stop(place, nullptr);
    return result;
  }

  int64_t stop(const char *place, const char *reason) {
    failed_ = true;
    fault_ = {.offset = place - begin_, .reason = reason};
    return -1;
  }

  const char *begin_;
  const char *at_;
  const char *end_;
  xp_css_handler handler_;
  void *context_;
  xp_plist_fault &fault_;
  int32_t depth_ = 0;  // of open blocks
  bool failed_ = false;
};

}  // namespace

int64_t xp_css_parse(const char *text, int64_t length, xp_css_handler handler, void *context,
                     xp_plist_fault *fault) {
  if (text == nullptr) return 0;
  xp_plist_fault ignored{};
  const size_t size = length < 0 ? strlen(text) : static_cast<size_t>(length);
  return parser({text, size}, handler, context, fault == nullptr ? ignored : *fault).run();
}

int64_t xp_plist_cssparser(xp_css_event event, const xp_css_node *node, void *state) {
  if (node == nullptr || state == nullptr) return -1;
  auto &tree = *static_cast<xp_plist_cssstate *>(state);
  xp_obj *dict = tree.open[tree.depth];
  switch (event) {
    case XP_CSS_OPEN:
      if (tree.depth + 1 == xp::deepest_list) return -1;
      tree.open[tree.depth + 1] = xp::enter_dict(dict, node->name);
      return tree.open[++tree.depth] == nullptr ? -1 : 0;
    case XP_CSS_VALUE: return xp::store_token(dict, node->name, node->value) ? 0 : -1;
    case XP_CSS_CLOSE: return tree.depth == 0 ? -1 : (--tree.depth, 0);
  }
  return -1;
}

namespace xp {

xp_obj *read_css(std::string_view text, xp_plist_fault &fault) {
  ref root = ref::adopt(xp_dict_new(XP_DICT_NOCASE));
  xp_plist_cssstate state{.open = {root.get()}, .depth = 0};
  fault = {};
  if (root && xp_css_parse(text.data(), std::ssize(text), xp_plist_cssparser, &state, &fault) == 0) {
    return root.leak();
  }
  if (fault.reason == nullptr) fault.reason = "out of memory";
  return nullptr;
}

}  // namespace xp
