#include "xp/plist/xml_tree.h"

#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/memory.h"

#include <algorithm>
#include <utility>

namespace xp {

namespace {

constexpr const char *out_of_memory = "out of memory";

bool continues_character(char byte) {
  return (byte & 0xC0) == 0x80;
}

}  // namespace

xml_text::~xml_text() {
  xp_free(bytes_);
}

// By hand: the runtime's own function would lose the text when memory is exhausted.
bool xml_text::grow(size_t more) {
  const size_t capacity = std::max({capacity_ * 2, length_ + more, size_t{256}});
  auto *bytes = static_cast<char *>(xp_alloc(capacity));
  if (bytes == nullptr) return false;
  if (length_ > 0) memcpy(bytes, bytes_, length_);
  xp_free(bytes_);
  bytes_ = bytes;
  capacity_ = capacity;
  return true;
}

xml_tree::~xml_tree() {
  for (int64_t i = 0; i < count_; ++i)
    xp_release(elements_[i]);
  xp_free(elements_);
}

const char *xml_tree::set_key(std::string_view key) {
  if (key.empty()) return "an empty key";
  size_t length = std::min(key.size(), longest_key);
  if (length < key.size()) {
    while (length > 0 && continues_character(key[length]))
      --length;
  }
  memcpy(key_, key.data(), length);
  key_length_ = length;
  return nullptr;
}

// Keeps an element until its array closes.
bool xml_tree::wait(xp_obj *element) {
  if (count_ == capacity_) {
    const int64_t capacity = capacity_ == 0 ? 64 : capacity_ * 2;
    auto **elements = static_cast<xp_obj **>(xp_alloc(static_cast<size_t>(capacity) * sizeof(void *)));
    if (elements == nullptr) return false;
    std::copy_n(elements_, count_, elements);
    xp_free(elements_);
    elements_ = elements;
    capacity_ = capacity;
  }
  elements_[count_++] = element;
  return true;
}

// Appends to an array by geometric steps.
bool append(xp_obj *array, xp_obj *value) {
  xp_array_setgrowth(array, std::max<int64_t>(xp_array_length(array), 4));
  return xp_array_insert(array, value, -1) >= 0;
}

// Stores under the key. Takes the value over, also on failure.
const char *xml_tree::store(xp_obj *dict, xp_obj *value) {
  const auto length = static_cast<int64_t>(std::exchange(key_length_, 0));
  const ref before = gathers_ ? ref::adopt(xp_dict_fetch(dict, key_, length)) : nullptr;
  if (!before) return xp_dict_adopt(dict, key_, length, value) == 0 ? nullptr : out_of_memory;
  const ref added = ref::adopt(value);
  if (xp_type(before.get()) == xp_array_type()) {
    return append(before.get(), added.get()) ? nullptr : out_of_memory;
  }
  const ref both = ref::adopt(xp_array_new(0));
  const bool stored = append(both.get(), before.get()) && append(both.get(), added.get()) &&
                      xp_dict_store(dict, key_, length, both.get()) == 0;
  return stored ? nullptr : out_of_memory;
}

// Takes the value over, also on failure.
const char *xml_tree::place(xp_obj *value) {
  if (const char *reason = check_place()) {
    xp_release(value);
    return reason;
  }
  if (depth_ == 0) {
    root_ = ref::adopt(value);
    return nullptr;
  }
  frame &around = frames_[depth_ - 1];
  if (around.is_dict) return store(around.container, value);
  if (wait(value)) return nullptr;
  xp_release(value);
  return out_of_memory;
}

const char *xml_tree::add(xml_value value) {
  return value.object == nullptr ? value.fault : place(value.object);
}

const char *xml_tree::open(xp_obj *container, bool is_dict) {
  if (container == nullptr) return out_of_memory;
  if (depth_ == deepest_list) {
    xp_release(container);
    return "containers nested too deep";
  }
  if (const char *reason = place(container)) return reason;
  frames_[depth_++] = {.container = container, .is_dict = is_dict, .waiting = count_};
  return nullptr;
}

const char *xml_tree::open_dict() {
  return open(xp_dict_new(0), true);
}

const char *xml_tree::open_array() {
  return open(xp_array_new(0), false);
}

// Moves the elements from `from` on into their array.
bool xml_tree::fill(xp_obj *array, int64_t from) {
  const int64_t length = count_ - from;
  bool complete = length == 0 || xp_array_setinitial(array, length) >= length;
  for (int64_t i = from; i < count_; ++i) {
    const ref element = ref::adopt(elements_[i]);
    complete = complete && xp_array_insert(array, element.get(), -1) >= 0;
  }
  count_ = from;
  return complete;
}

const char *xml_tree::close() {
  const frame &closing = frames_[--depth_];
  if (closing.is_dict) return has_key() ? "a key without a value" : nullptr;
  return fill(closing.container, closing.waiting) ? nullptr : out_of_memory;
}

}  // namespace xp
