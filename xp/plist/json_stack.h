// What the reader of JSON holds while it reads: the values of all open containers, with their keys. Internal
// to this folder.

#ifndef XP_PLIST_JSON_STACK_H
#define XP_PLIST_JSON_STACK_H

#include "xp/dict/build.h"
#include "xp/object/memory.h"

#include <stddef.h>
#include <stdint.h>

#include <algorithm>
#include <array>
#include <span>

namespace xp {

// Innermost last.
class json_stack {
public:
  json_stack() = default;
  ~json_stack() {
    for (const dict_member &m : from(0))
      xp_release(m.value);
    xp_free_fast(items_, few_.data());
  }
  json_stack(const json_stack &) = delete;
  json_stack &operator=(const json_stack &) = delete;

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
  std::span<dict_member> from(size_t base) { return {items_ + base, top_}; }
  void cut(size_t base) { top_ = items_ + base; }

private:
  // In two large steps first: what is not written yet is no memory yet, but every former block was.
  bool grow() {
    const size_t used = size();
    const size_t room = used * (used < 16384 ? 16 : 2);
    auto *items = static_cast<dict_member *>(block_unzeroed(room * sizeof(dict_member)));
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

}  // namespace xp

#endif
