#include "xp/plist/ini.h"

#include "xp/dict/dict.h"
#include "xp/object/ref.h"
#include "xp/plist/reader.h"

#include <string.h>

#include <algorithm>

namespace {

using xp::find_quote_end;
using xp::token_of;
using xp::without_space_behind;

bool is_line_end(char byte) {
  return byte == '\n' || byte == '\r';
}

class parser {
public:
  parser(std::string_view text, xp_ini_handler handler, void *context, xp_plist_fault &fault)
      : begin_(text.data()), end_(begin_ + text.size()), handler_(handler), context_(context), fault_(fault) {
    at_ = xp::without_mark(text).data();
  }

  int64_t run() {
    for (;;) {
      at_ = std::find_if_not(at_, end_, xp::is_text_space);
      if (at_ == end_) return 0;
      if (const int64_t stopped = item(); stopped != 0) return stopped;
    }
  }

private:
  int64_t item() {
    if (*at_ == '#' || *at_ == ';') {
      at_ = line_end();
      return 0;
    }
    return *at_ == '[' ? section() : value();
  }

  int64_t section() {
    const char *opening = at_++;
    xp_ini_node node{};
    if (!take_name(']', node.name)) return stop(opening, "a section's name without its end");
    if (node.name.text.empty()) return stop(opening, "a section without a name");
    if (skip('=')) {
      node.value = take_value();
      return tell(XP_INI_ROOT, node, opening);
    }
    skip(',');
    if (at_ < end_ && (*at_ == '#' || *at_ == ';')) at_ = line_end();
    if (!at_line_end()) return stop(at_, "text behind a section's name");
    return tell(XP_INI_SECTION, node, opening);
  }

  int64_t value() {
    const char *line = at_;
    xp_ini_node node{};
    if (!take_name('=', node.name)) return stop(line, "a line without an equals sign");
    if (node.name.text.empty()) return stop(line, "a value without a name");
    node.value = take_value();
    return tell(XP_INI_VALUE, node, line);
  }

  // A name and the byte that ends it.
  bool take_name(char ending, xp_plist_token &name) {
    skip_blanks();
    const char *closing = quote_before([ending](const char *at) { return *at == ending; });
    if (closing == nullptr || closing == end_) closing = std::find(at_, line_end(), ending);
    if (closing == end_ || *closing != ending) return false;
    name = token_of(without_space_behind({at_, static_cast<size_t>(closing - at_)}));
    at_ = closing + 1;
    return true;
  }

  xp_plist_token take_value() {
    skip_blanks();
    const char *closing = quote_before([](const char *at) { return is_line_end(*at) || *at == ','; });
    if (closing == end_ || (closing != nullptr && ends_line(closing))) {
      const std::string_view quoted(at_, static_cast<size_t>(closing - at_));
      at_ = closing;
      skip(',');
      return token_of(without_space_behind(quoted));
    }
    std::string_view text = without_space_behind({at_, static_cast<size_t>(line_end() - at_)});
    at_ = line_end();
    if (text.ends_with(',')) text = without_space_behind(text.substr(0, text.size() - 1));
    return {.text = text, .quoted = false};
  }

  // Where what is quoted here ends, white space behind it included, when `ends` holds there or the text ends;
  // else null.
  template <typename Ends>
  const char *quote_before(Ends ends) const {
    if (at_ == end_ || *at_ != '"') return nullptr;
    const char *behind = find_quote_end(at_, end_);
    if (behind == nullptr) return nullptr;
    behind = std::find_if_not(behind, end_, is_blank);
    return behind == end_ || ends(behind) ? behind : nullptr;
  }

  // Whether at most a comma stands between `at` and the end of its line.
  bool ends_line(const char *at) const {
    if (*at == ',') at = std::find_if_not(at + 1, end_, is_blank);
    return at == end_ || is_line_end(*at);
  }

  static bool is_blank(char byte) { return xp::is_text_space(byte) && !is_line_end(byte); }
  void skip_blanks() { at_ = std::find_if_not(at_, end_, is_blank); }

  // Skips a byte, with the white space around it, when it stands here.
  bool skip(char byte) {
    skip_blanks();
    if (at_ == end_ || *at_ != byte) return false;
    ++at_;
    skip_blanks();
    return true;
  }

  const char *line_end() const { return std::find_if(at_, end_, is_line_end); }
  bool at_line_end() const { return at_ == end_ || is_line_end(*at_); }

  int64_t tell(xp_ini_event event, const xp_ini_node &node, const char *place) {
    const int64_t result = handler_ == nullptr ? 0 : handler_(event, &node, context_);
    if (result != 0) stop(place, nullptr);
    return result;
  }

  int64_t stop(const char *place, const char *reason) {
    fault_ = {.offset = place - begin_, .reason = reason};
    return -1;
  }

  const char *begin_;
  const char *at_;
  const char *end_;
  xp_ini_handler handler_;
  void *context_;
  xp_plist_fault &fault_;
};

}  // namespace

int64_t xp_ini_parse(const char *text, int64_t length, xp_ini_handler handler, void *context,
                     xp_plist_fault *fault) {
  if (text == nullptr) return 0;
  xp_plist_fault ignored{};
  const size_t size = length < 0 ? strlen(text) : static_cast<size_t>(length);
  return parser({text, size}, handler, context, fault == nullptr ? ignored : *fault).run();
}

int64_t xp_plist_iniparser(xp_ini_event event, const xp_ini_node *node, void *state) {
  if (node == nullptr || state == nullptr) return -1;
  auto &tree = *static_cast<xp_plist_inistate *>(state);
  if (event == XP_INI_SECTION) {
    tree.section = xp::enter_dict(tree.root, node->name);
    return tree.section == nullptr ? -1 : 0;
  }
  // A value of the root may take the place of the section itself.
  if (event == XP_INI_ROOT) tree.section = nullptr;
  xp_obj *dict = tree.section == nullptr ? tree.root : tree.section;
  return xp::store_token(dict, node->name, node->value) ? 0 : -1;
}

namespace xp {

xp_obj *read_sections(std::string_view text, xp_plist_fault &fault) {
  ref root = ref::adopt(xp_dict_new(XP_DICT_NOCASE));
  xp_plist_inistate state{.root = root.get(), .section = nullptr};
  fault = {};
  if (root && xp_ini_parse(text.data(), std::ssize(text), xp_plist_iniparser, &state, &fault) == 0) {
    return root.leak();
  }
  if (fault.reason == nullptr) fault.reason = "out of memory";
  return nullptr;
}

}  // namespace xp
