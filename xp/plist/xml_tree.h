// What the readers of XML lists build with: the tree that grows, and the text that is being collected.
// Internal to them.

#ifndef XP_PLIST_XML_TREE_H
#define XP_PLIST_XML_TREE_H

#include "xp/object/ref.h"
#include "xp/plist/reader.h"

#include <stdint.h>
#include <string.h>

#include <string_view>

namespace xp {

// A text that grows and is used again and again.
class xml_text {
public:
  xml_text() = default;
  ~xml_text();
  xml_text(const xml_text &) = delete;
  xml_text &operator=(const xml_text &) = delete;

  // With a pointer even when it is empty, for those who take a null one for no text at all.
  std::string_view view() const {
    return length_ == 0 ? std::string_view("") : std::string_view(bytes_, length_);
  }
  void clear() { length_ = 0; }

  // False, with nothing changed, when memory is exhausted.
  bool append(const char *bytes, size_t length) {
    if (length > capacity_ - length_ && !grow(length)) return false;
    memcpy(bytes_ + length_, bytes, length);
    length_ += length;
    return true;
  }

private:
  bool grow(size_t more);

  char *bytes_ = nullptr;
  size_t length_ = 0;
  size_t capacity_ = 0;
};

// A value that was made of a text: an object, a new reference, or the reason why there is none.
struct xml_value {
  xp_obj *object;
  const char *fault;
};

// A tree under construction. Containers find their place when they open, so that the root owns everything
// and one key is enough; an array gets its elements, which wait until then, when it closes. What returns a
// text returns null when all went well, else the reason, a literal.
class xml_tree {
public:
  xml_tree() = default;
  ~xml_tree();
  xml_tree(const xml_tree &) = delete;
  xml_tree &operator=(const xml_tree &) = delete;

  int64_t depth() const { return depth_; }
  bool in_dict() const { return depth_ > 0 && frames_[depth_ - 1].is_dict; }
  bool has_root() const { return static_cast<bool>(root_); }
  bool has_key() const { return key_length_ > 0; }

  // The key of the next value, copied.
  const char *set_key(std::string_view key);

  // Whether a value may come next.
  const char *check_place() const {
    if (depth_ == 0) return root_ ? "a second root" : nullptr;
    return frames_[depth_ - 1].is_dict && key_length_ == 0 ? "a value without a key" : nullptr;
  }

  // Places a value, a null.
  const char *add(xml_value value);
  const char *add_null() { return place(nullptr); }

  // From now on values of equal keys in one dictionary become an array; no other arrays may be there.
  void gather() { gathers_ = true; }

  const char *open_dict();
  const char *open_array();
  const char *close();

  // The finished tree, a new reference; the tree is empty then.
  xp_obj *take_root() { return root_.leak(); }

private:
  static constexpr size_t longest_key = 255;  // as dictionaries keep them

  struct frame {
    xp_obj *container;  // owned by the one around it
    bool is_dict;
    int64_t waiting;  // arrays: where their elements begin among those that wait
  };

  const char *open(xp_obj *container, bool is_dict);
  const char *place(xp_obj *value);
  const char *store(xp_obj *dict, xp_obj *value);
  bool wait(xp_obj *element);
  bool fill(xp_obj *array, int64_t from);

  ref root_;
  bool gathers_ = false;
  int64_t depth_ = 0;
  size_t key_length_ = 0;
  xp_obj **elements_ = nullptr;  // of all open arrays, innermost last; owned
  int64_t count_ = 0;
  int64_t capacity_ = 0;
  char key_[longest_key];       // the first key_length_ bytes are set
  frame frames_[deepest_list];  // the first depth_ are set
};

}  // namespace xp

#endif
