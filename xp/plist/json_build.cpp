#include "xp/plist/json_build.h"

#include "xp/array/build.h"
#include "xp/dict/build.h"
#include "xp/dict/hash.h"
#include "xp/object/boolean.h"
#include "xp/object/memory.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/json_string.h"
#include "xp/string/string.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>

namespace {

using xp::dict_member;

constexpr int32_t max_nodes = 32;  // as the tokenizer counts: open containers, the keys to them, and a value

// The values of all open containers, innermost last, with their keys where they have one.
class value_stack {
public:
  value_stack() = default;
  ~value_stack() {
    for (const dict_member &m : from(0))
      xp_release(m.value);
    xp_free_fast(items_, few_.data());
  }
  value_stack(const value_stack &) = delete;
  value_stack &operator=(const value_stack &) = delete;

  size_t size() const { return static_cast<size_t>(top_ - items_); }

  // A value, null behind a key that waits for one. False, and the value is released, when memory is
  // exhausted.
  //
  // Deliberate: the parts one by one. A struct written in parts and read at once waits for its writes.
  bool push(xp_obj *value, const char *key, uint32_t key_length, uint32_t hash) {
    if (top_ == end_ && !grow()) {
      xp_release(value);
      return false;
    }
    top_->value = value;
    top_->key = key;
    top_->key_length = key_length;
    top_->hash = hash;
    ++top_;
    return true;
  }

  // What was pushed last.
  dict_member &last() { return top_[-1]; }

  // What was pushed since there were `base`; its references are the caller's once it is cut off.
  std::span<const dict_member> from(size_t base) const { return {items_ + base, top_}; }
  void cut(size_t base) { top_ = items_ + base; }

private:
  // In two large steps first: what is not written yet is no memory yet, but every former block was.
  bool grow() {
    const size_t used = size();
    const size_t room = used * (used < 16384 ? 16 : 2);
    auto *items = static_cast<dict_member *>(xp::block_unzeroed(room * sizeof(dict_member)));
    if (items == nullptr) return false;
    std::copy_n(items_, used, items);
    xp_free_fast(items_, few_.data());
    items_ = items;
    top_ = items + used;
    end_ = items + room;
    return true;
  }

  std::array<dict_member, 64> few_;  // not zeroed
  dict_member *items_ = few_.data();
  dict_member *top_ = items_;
  dict_member *end_ = items_ + few_.size();
};

class reader {
public:
  explicit reader(std::string_view text) : at_(text.data()), end_(at_ + text.size()) {}

  // The tree; null when the text has a fault or memory is exhausted.
  xp::ref run() {
    while (skip_blank()) {
      if (!step()) return nullptr;
    }
    return depth_ == 0 ? std::move(root_) : nullptr;
  }

private:
  // An open container.
  struct frame {
    size_t base;  // where its values begin
    bool is_object;
    bool has_key;  // a key leads to it, below its values
  };

  // Whether there is something left.
  //
  // Deliberate: bytes from 128 on are white space, as for the tokenizer.
  bool skip_blank() {
    while (at_ < end_ && static_cast<signed char>(*at_) < 33)
      ++at_;
    return at_ < end_;
  }

  bool wants_key() const { return depth_ > 0 && top().is_object && !waiting_; }
  frame &top() { return frames_[depth_ - 1]; }
  const frame &top() const { return frames_[depth_ - 1]; }

  // One token, or a key and what follows it.
  bool step() {
    switch (*at_) {
      case ',': ++at_; return !waiting_;
      case '}': return close(true);
      case ']': return close(false);
      case '"': return wants_key() ? key() : depth_ > 0 && string();
      default: return !wants_key() && value();
    }
  }

  bool value() {
    switch (*at_) {
      case '{': return open(true);
      case '[': return open(false);
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
      case '9': return depth_ > 0 && number();
      case 't':
      case 'T': return depth_ > 0 && word("true") && put(xp_boolean_new(1));
      case 'f':
      case 'F': return depth_ > 0 && word("false") && put(xp_boolean_new(0));
      case 'n':
      case 'N': return depth_ > 0 && word("null") && put_null();
      default: return false;
    }
  }

  bool word(std::string_view letters) {
    if (static_cast<size_t>(end_ - at_) < letters.size()) return false;
    for (char letter : letters) {
      if ((*at_++ | 0x20) != letter) return false;
    }
    return true;
  }

  bool open(bool is_object) {
    if (nodes_ == max_nodes) return false;
    ++nodes_;
    ++at_;
    frame &opened = frames_[depth_++];
    opened.base = values_.size();
    opened.is_object = is_object;
    opened.has_key = waiting_;
    waiting_ = false;
    return true;
  }

  bool close(bool is_object) {
    if (depth_ == 0 || top().is_object != is_object) return false;
    ++at_;
    const frame &closed = top();
    --depth_;
    --nodes_;
    if (waiting_) drop_key();
    waiting_ = closed.has_key;
    const auto members = values_.from(closed.base);
    xp_obj *container = is_object ? xp::dict_of(members) : array_of(members);
    // Whoever makes a container takes over the references, also when it fails.
    values_.cut(closed.base);
    return container != nullptr && keep(container);
  }

  // A key that still waits for its value goes with its object.
  void drop_key() {
    values_.cut(values_.size() - 1);
    --nodes_;
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

  bool key() {
    if (nodes_ == max_nodes) return false;
    const std::string_view text = xp::json_raw_string(++at_, end_);
    const uint32_t length = xp::json_key_length(text);
    if (!values_.push(nullptr, text.data(), length, xp::dict_hash::of(text.data(), length, true)))
      return false;
    waiting_ = true;
    ++nodes_;
    at_ += text.size();
    if (at_ < end_) ++at_;
    if (!skip_blank() || *at_ != ':') return false;
    ++at_;
    // Most often a string: no detour.
    return !skip_blank() || *at_ != '"' || string();
  }

  bool string() {
    ++at_;
    return put(xp::json_string(at_, end_));
  }

  bool number() { return put(xp::json_number(at_, end_)); }

  // A new value, which takes a place among the nodes while it is put where it belongs.
  bool put(xp_obj *value) {
    if (value == nullptr || nodes_ == max_nodes) {
      xp_release(value);
      return false;
    }
    return keep(value);
  }

  bool put_null() { return nodes_ < max_nodes && keep(nullptr); }

  // Puts a value under the key that waits, or behind the items of an array, or makes it the root.
  bool keep(xp_obj *value) {
    if (waiting_) {
      values_.last().value = value;
      waiting_ = false;
      --nodes_;
      return values_.last().key_length > 0;
    }
    if (depth_ > 0) return values_.push(value, nullptr, 0, 0);
    const bool first = !root_;
    xp::ref made = xp::ref::adopt(value);
    if (first) root_ = std::move(made);
    return first;
  }

  const char *at_;
  const char *end_;
  size_t depth_ = 0;
  bool waiting_ = false;  // the last of the values is a key that waits for its value
  int32_t nodes_ = 0;
  xp::ref root_;
  value_stack values_;
  std::array<frame, max_nodes> frames_;  // not zeroed; only the first depth_ are set
};

}  // namespace

xp_obj *xp::json_build(std::string_view text) {
  return reader(text).run().leak();
}
