#include "xp/plist/json_build.h"

#include "xp/array/build.h"
#include "xp/dict/build.h"
#include "xp/dict/dict.h"
#include "xp/dict/dict_impl.h"
#include "xp/dict/hash.h"
#include "xp/object/boolean.h"
#include "xp/object/ref.h"
#include "xp/plist/byte_scan.h"
#include "xp/plist/json_stack.h"
#include "xp/plist/json_string.h"

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>
#include <span>

namespace {

using xp::dict_member;

constexpr int32_t max_nodes = 32;  // as the tokenizer counts: open containers, the keys to them, and a value
constexpr ptrdiff_t tail = xp::dict_hash::tail_size;

// Every step gets the place it begins at and returns the place behind, null for a fault or when memory is
// exhausted.
class reader {
public:
  explicit reader(std::string_view text) : begin_(text.data()), end_(begin_ + text.size()) {
    frames_[0].is_object = false;
  }

  // The tree; null when the text has a fault or memory is exhausted.
  xp::ref run() {
    const char *at = begin_;
    while ((at = skip_blank(at)) < end_) {
      at = top().is_object ? object_step(at) : array_step(at);
      if (at == nullptr) return nullptr;
    }
    return depth_ == 0 ? std::move(root_) : nullptr;
  }

private:
  // An open container, or the outside of all.
  struct frame {
    size_t base;  // where its values begin
    bool is_object;
    bool has_key;  // a key leads to it, below its values
    bool alike;    // so far the keys are those of the model of its depth; their hashes are not set
    xp::dict::entry *expected;  // the next key of the model
    xp::dict::entry *past;      // behind its last one
  };

  frame &top() { return frames_[depth_]; }

  // Deliberate: bytes from 128 on are white space, as for the tokenizer.
  const char *skip_blank(const char *at) const {
    while (at < end_ && static_cast<signed char>(*at) < 33)
      ++at;
    return at;
  }

  const char *object_step(const char *at) {
    switch (*at) {
      case '"': return member(at + 1);
      case ',': return at + 1;
      case '}': return close(at + 1);
      default: return nullptr;
    }
  }

  // Also outside.
  const char *array_step(const char *at) {
    switch (*at) {
      case ',': return at + 1;
      case ']': return depth_ > 0 ? close(at + 1) : nullptr;
      default: return value<false>(at);
    }
  }

  // --- Values ---

  // `keyed` behind a key, which waits on top of the stack.
  template <bool keyed>
  const char *value(const char *at) {
    switch (*at) {
      case '"': return put<keyed>(xp::json_string(at + 1, end_));
      case '{': return open<keyed>(at + 1, true);
      case '[': return open<keyed>(at + 1, false);
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
      case '9': return put<keyed>(xp::json_number(at, end_));
      case 't':
      case 'T': return word<keyed>(at, "true", 1);
      case 'f':
      case 'F': return word<keyed>(at, "false", 0);
      case 'n':
      case 'N': return is_word(at, "null") && has_place<keyed>() && keep<keyed>(nullptr) ? at + 4 : nullptr;
      default: return nullptr;
    }
  }

  bool is_word(const char *at, std::string_view letters) const {
    if (static_cast<size_t>(end_ - at) < letters.size()) return false;
    for (char letter : letters) {
      if ((*at++ | 0x20) != letter) return false;
    }
    return true;
  }

  template <bool keyed>
  const char *word(const char *at, std::string_view letters, int64_t truth) {
    if (!is_word(at, letters)) return nullptr;
    return put<keyed>({xp_boolean_new(truth), at + letters.size()});
  }

  // Whether a value that is no container finds a place: one is left among the nodes, and it is in a
  // container.
  template <bool keyed>
  bool has_place() const {
    return keyed ? nodes_ + 1 < max_nodes : nodes_ < max_nodes && depth_ > 0;
  }

  template <bool keyed>
  const char *put(xp::json_token token) {
    if (token.value == nullptr || !has_place<keyed>()) {
      xp_release(token.value);
      return nullptr;
    }
    return keep<keyed>(token.value) ? token.behind : nullptr;
  }

  // Puts a value under the key that waits, or behind the items of an array.
  template <bool keyed>
  bool keep(xp_obj *value) {
    if (!keyed) return values_.push(value, nullptr, 0, 0);
    values_.last().value = value;
    return true;
  }

  // --- Containers ---

  template <bool keyed>
  const char *open(const char *at, bool is_object) {
    if (nodes_ + keyed >= max_nodes) return nullptr;
    nodes_ += 1 + keyed;
    frame &opened = frames_[++depth_];
    opened.base = values_.size();
    opened.is_object = is_object;
    opened.has_key = keyed;
    opened.alike = false;
    opened.expected = opened.past = nullptr;
    if (is_object && depth_ < models_known_) {
      opened.expected = models_[depth_].first;
      opened.past = models_[depth_].past;
      opened.alike = opened.past != nullptr;
    }
    return at;
  }

  const char *close(const char *at) {
    frame &closed = top();
    const auto members = values_.from(closed.base);
    xp_obj *container = closed.is_object ? object_of(members) : array_of(members);
    // Whoever makes a container takes over the references, also when it fails.
    values_.cut(closed.base);
    --depth_;
    nodes_ -= 1 + closed.has_key;
    if (container == nullptr) return nullptr;
    if (closed.has_key) return keep<true>(container) ? at : nullptr;
    if (depth_ > 0) return keep<false>(container) ? at : nullptr;
    const bool first = !root_;
    xp::ref made = xp::ref::adopt(container);
    if (first) root_ = std::move(made);
    return first ? at : nullptr;
  }

  static xp_obj *array_of(std::span<const dict_member> members) {
    xp_obj **items = nullptr;
    xp_obj *array = xp::array_of(std::ssize(members), &items);
    for (const dict_member &m : members) {
      if (array != nullptr) {
        *items++ = m.value;
      } else {
        xp_release(m.value);
      }
    }
    return array;
  }

  // The object that closes. One with the keys of the former object of its depth is copied from that.
  xp_obj *object_of(std::span<dict_member> members) {
    if (top().alike && members.size() == models_[depth_].size())
      return xp::dict_like(models_[depth_], members);
    leave_model(top());
    xp_obj *made = xp::dict_of(members);
    if (made == nullptr) return nullptr;
    // A value that gave way to another one may have been a model, or held one: all of those are deeper.
    if (xp_dict_count(made) != members.size()) models_known_ = std::min(models_known_, depth_ + 1);
    const xp::dict_model model = xp::dict_model_of(made, members.size());
    if (model.dictionary == nullptr) return made;
    while (models_known_ <= depth_)
      models_[models_known_++] = {};
    models_[depth_] = model;
    return made;
  }

  // From here on the keys of an object go their own way.
  void leave_model(frame &object) {
    if (!object.alike) return;
    object.alike = false;
    object.expected = object.past = nullptr;
    for (dict_member &m : values_.from(object.base))
      m.hash = any_hash(m.key, m.key_length);
  }

  // --- Members ---

  // From behind the quote that begins a key.
  const char *member(const char *at) {
    if (nodes_ >= max_nodes) return nullptr;
    frame &object = top();
    if (object.expected != object.past && is_key(at, object.expected)) {
      const uint32_t length = object.expected->key_length;
      object.expected = object.expected->behind();
      return values_.push(nullptr, at, length, 0) ? member_value(at + length + 1) : nullptr;
    }
    leave_model(object);
    return end_ - at >= xp::string_step ? short_key(at) : any_key(at);
  }

  const char *short_key(const char *at) {
    const uint32_t marks = xp::string_marks(at);
    const auto length = static_cast<uint32_t>(std::countr_zero(marks));
    if (marks == 0 || at[length] != '"' || length == 0) return any_key(at);
    const char *end = at + length;
    const uint32_t hash =
        end - begin_ >= tail ? xp::dict_hash::of_tail(end, length, true) : any_hash(at, length);
    return values_.push(nullptr, at, length, hash) ? member_value(end + 1) : nullptr;
  }

  [[gnu::noinline]] const char *any_key(const char *at) {
    const std::string_view text = xp::json_raw_string(at, end_);
    const uint32_t length = xp::json_key_length(text);
    if (!values_.push(nullptr, at, length, any_hash(at, length))) return nullptr;
    at += text.size();
    return member_value(at < end_ ? at + 1 : at);
  }

  [[gnu::noinline]] static uint32_t any_hash(const char *key, uint32_t length) {
    return xp::dict_hash::of(key, length, true);
  }

  // Whether the text goes on with the key of a model's entry and a quote. What ends a key ends it here, too:
  // no key ends inside an escape. Where there is a model there are eight bytes in front of the key's end.
  bool is_key(const char *at, xp::dict::entry *e) const {
    const size_t length = e->key_length;
    if (static_cast<size_t>(end_ - at) <= length || at[length] != '"') return false;
    return xp::dict_hash::last_word_inside(at, length) == xp::dict_hash::last_word_inside(e->key(), length) &&
           xp::dict_hash::same_front(at, e->key(), length, false);
  }

  // The colon and the value of a key on top of the stack. A key that still waits when its object closes goes,
  // and nothing else may follow an empty one.
  const char *member_value(const char *at) {
    at = skip_blank(at);
    if (at == end_ || *at != ':') return nullptr;
    at = skip_blank(at + 1);
    if (at == end_) return nullptr;
    if (*at == '}') {
      leave_model(top());
      values_.cut(values_.size() - 1);
      return close(at + 1);
    }
    return values_.last().key_length > 0 ? value<true>(at) : nullptr;
  }

  const char *begin_;
  const char *end_;
  size_t depth_ = 0;
  int32_t nodes_ = 0;  // the open containers and the keys that lead to them
  xp::ref root_;
  xp::json_stack values_;
  size_t models_known_ = 0;
  std::array<xp::dict_model, max_nodes + 1>
      models_;                               // for each depth below that the last object that can be one
  std::array<frame, max_nodes + 1> frames_;  // not zeroed; those up to depth_ are set
};

}  // namespace

xp_obj *xp::json_build(std::string_view text) {
  return reader(text).run().leak();
}
