#include "xp/plist/copy.h"

#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/ref.h"
#include "xp/plist/plist_impl.h"
#include "xp/service/data.h"

#include <utility>

namespace {

// Containers whose copies still hold the members of the originals. Both are borrowed: the trees own them.
class worklist {
public:
  struct item {
    xp_obj *original;
    xp_obj *copy;
  };

  worklist() = default;
  ~worklist() { xp_free(items_); }
  worklist(const worklist &) = delete;
  worklist &operator=(const worklist &) = delete;

  bool empty() const { return count_ == 0; }
  item pop() { return items_[--count_]; }

  bool push(item next) {
    if (count_ == capacity_) {
      capacity_ = capacity_ == 0 ? 16 : 2 * capacity_;
      items_ = static_cast<item *>(xp_realloc(items_, capacity_ * sizeof(item)));
      if (items_ == nullptr) count_ = capacity_ = 0;
    }
    if (items_ == nullptr) return false;
    items_[count_++] = next;
    return true;
  }

private:
  item *items_ = nullptr;
  size_t count_ = 0;
  size_t capacity_ = 0;
};

// One container at work: what its members' copies go into.
struct filling {
  worklist &open;
  xp_obj *copy;
};

bool is_tree(xp_obj *node) {
  return xp_type(node) == xp_dict_type() || xp_type(node) == xp_array_type();
}

// The node's own copy: of a dictionary or an array one with the members of the original. An object that
// should copy itself and is shared instead tells that memory is exhausted.
xp::ref copy_one(worklist &open, xp_obj *node) {
  xp::ref copy = xp::ref::adopt(xp_duplicate(node, is_tree(node) ? XP_DUP_SHALLOW : 0U));
  const bool fresh = is_tree(node) || xp_type(node) == xp_data_type();
  if (fresh && copy.get() == node) return nullptr;
  if (is_tree(node) && !open.push({.original = node, .copy = copy.get()})) return nullptr;
  return copy;
}

int64_t copy_entry(xp_obj *, const char *key, int64_t keylen, xp_obj *value, void *context) {
  const filling &at = *static_cast<const filling *>(context);
  if (value == nullptr) return 0;
  xp::ref copy = copy_one(at.open, value);
  if (!copy) return -1;
  return copy.get() == value ? 0 : xp_dict_store(at.copy, key, keylen, copy.get());
}

int64_t copy_element(xp_obj *, int64_t index, xp_obj *value, void *context) {
  const filling &at = *static_cast<const filling *>(context);
  if (value == nullptr) return 0;
  xp::ref copy = copy_one(at.open, value);
  if (!copy) return -1;
  return copy.get() == value ? 0 : xp_array_set(at.copy, copy.get(), index);
}

bool fill(worklist &open, worklist::item at) {
  filling context{.open = open, .copy = at.copy};
  return xp_type(at.original) == xp_dict_type() ? xp_dict_enum(at.original, copy_entry, &context) == 0
                                                : xp_array_enum(at.original, copy_element, &context) == 0;
}

}  // namespace

xp_obj *xp_plist_icopy(xp_obj *node) {
  if (node == nullptr) return nullptr;
  worklist open;
  xp::ref copy = copy_one(open, node);
  while (copy && !open.empty()) {
    if (!fill(open, open.pop())) return nullptr;
  }
  return copy.leak();
}

xp_obj *xp_plist_dictcopy(xp_obj *dict) {
  return xp_type(dict) == xp_dict_type() ? xp_plist_icopy(dict) : nullptr;
}

xp_obj *xp_plist_arraycopy(xp_obj *array) {
  return xp_type(array) == xp_array_type() ? xp_plist_icopy(array) : nullptr;
}

xp_obj *xp_plist_copy(xp_obj *p) {
  const auto *list = xp::as<xp_plist>(p);
  if (list == nullptr) return nullptr;
  xp::ref root = xp::ref::adopt(xp_plist_icopy(list->root));
  if (!root && list->root != nullptr) return nullptr;
  return xp::wrap_list(std::move(root), list->style->number, list->settings);
}
