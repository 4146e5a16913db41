// Paths into a property list: xp_plist_get and xp_plist_set.

#include "xp/array/array.h"
#include "xp/array/array_bulk.h"
#include "xp/dict/dict.h"
#include "xp/format/format.h"
#include "xp/object/ref.h"
#include "xp/plist/plist.h"
#include "xp/plist/plist_impl.h"

#include <algorithm>
#include <string_view>

namespace {

enum class step_kind : uint8_t {
  container,   // "": the node itself, a dictionary or an array
  dictionary,  // "@": the node itself, a dictionary
  array,       // "#": the node itself, an array
  key,         // the entry `key`
  index,       // the element `index`
  bad,
};

struct step {
  step_kind kind;
  std::string_view key;
  int32_t index;
  bool last;
};

bool is_self(const step &at) {
  return at.kind == step_kind::container || at.kind == step_kind::dictionary || at.kind == step_kind::array;
}

step parse_component(std::string_view text) {
  step result{.kind = step_kind::key, .key = text, .index = 0, .last = false};
  const auto is_digit = [](char byte) { return byte >= '0' && byte <= '9'; };
  if (text.empty()) {
    result.kind = step_kind::container;
  } else if (text[0] == '#') {
    text.remove_prefix(1);
    const bool digits = std::all_of(text.begin(), text.end(), is_digit);
    result.kind = text.empty() ? step_kind::array : digits ? step_kind::index : step_kind::bad;
    result.index = xp_fmt_getlong(text.data(), static_cast<int64_t>(text.size()));
  } else if (text[0] == '@') {
    text.remove_prefix(1);
    result.kind = text.empty() ? step_kind::dictionary : step_kind::key;
    result.key = text;
  }
  return result;
}

// Takes the next step off a path that is not empty. A node itself can only be asked for at the end.
step next_step(std::string_view &path) {
  if (path[0] != '/') return {.kind = step_kind::bad, .key = {}, .index = 0, .last = true};
  path.remove_prefix(1);
  const size_t size = std::min(path.find('/'), path.size());
  step result = parse_component(path.substr(0, size));
  path.remove_prefix(size);
  result.last = path.empty();
  if (is_self(result) && !result.last) result.kind = step_kind::bad;
  return result;
}

bool is_dict(const xp::ref &node) {
  return xp_type(node.get()) == xp_dict_type();
}
bool is_array(const xp::ref &node) {
  return xp_type(node.get()) == xp_array_type();
}

xp::ref fetch(const xp::ref &dict, std::string_view key) {
  return xp::ref::adopt(xp_dict_fetch(dict.get(), key.data(), static_cast<int64_t>(key.size())));
}

// What the step leads to; null when it leads nowhere.
xp::ref follow(const xp::ref &node, const step &at) {
  switch (at.kind) {
    case step_kind::container: return is_dict(node) || is_array(node) ? node : nullptr;
    case step_kind::dictionary: return is_dict(node) ? node : nullptr;
    case step_kind::array: return is_array(node) ? node : nullptr;
    case step_kind::key: return is_dict(node) ? fetch(node, at.key) : nullptr;
    case step_kind::index:
      return is_array(node) ? xp::ref::adopt(xp_array_get(node.get(), at.index)) : nullptr;
    case step_kind::bad: break;
  }
  return nullptr;
}

xp::ref new_dict() {
  return xp::ref::adopt(xp_dict_new(XP_DICT_NOCASE));
}

// The value below the dictionaries that the rest of a path names; null when the path names anything else in
// them.
xp::ref bury(std::string_view path, xp_obj *value) {
  xp::ref top = new_dict();
  xp::ref bottom = top;
  while (bottom) {
    const step at = next_step(path);
    if (at.kind != step_kind::key) return nullptr;
    xp::ref next = at.last ? nullptr : new_dict();
    if (!at.last && !next) return nullptr;
    xp_obj *entry = at.last ? value : next.get();
    if (xp_dict_store(bottom.get(), at.key.data(), static_cast<int64_t>(at.key.size()), entry) != 0)
      return nullptr;
    if (at.last) return top;
    bottom = std::move(next);
  }
  return nullptr;
}

// An array that cannot grow while it takes a single element is left empty; joining one that holds the element
// changes nothing then.
int32_t append(const xp::ref &array, xp_obj *value) {
  const xp::ref one = xp::ref::adopt(xp_array_new(0));
  if (xp_array_insert(one.get(), value, 0) != 0) return -1;
  return xp_array_join(array.get(), one.get()) < 0 ? -1 : 0;
}

int32_t store_at(const xp::ref &node, const step &at, xp_obj *value) {
  if (at.kind == step_kind::key && is_dict(node)) {
    return xp_dict_store(node.get(), at.key.data(), static_cast<int64_t>(at.key.size()), value);
  }
  if (at.kind != step_kind::index || !is_array(node)) return -1;
  if (at.index == xp_array_length(node.get())) return append(node, value);
  return static_cast<int32_t>(xp_array_set(node.get(), value, at.index));
}

// Stores below `node`, which exists. What is missing on the way is built first and stored last, so that a
// path that turns out bad changes nothing.
int32_t store_below(xp::ref node, std::string_view path, xp_obj *value) {
  for (;;) {
    const step at = next_step(path);
    if (at.last) return store_at(node, at, value);
    xp::ref next = follow(node, at);
    if (!next) {
      const xp::ref branch = bury(path, value);
      return branch ? store_at(node, at, branch.get()) : -1;
    }
    node = std::move(next);
  }
}

}  // namespace

xp_obj *xp_plist_get(xp_obj *p, const char *path) {
  const auto *list = xp::as<xp_plist>(p);
  if (list == nullptr) return nullptr;
  std::string_view rest = path != nullptr ? path : "";
  xp::ref node = xp::ref::share(list->root);
  while (node && !rest.empty())
    node = follow(node, next_step(rest));
  return node.leak();
}

int32_t xp_plist_set(xp_obj *p, const char *path, xp_obj *value) {
  auto *list = xp::as<xp_plist>(p);
  if (list == nullptr) return -1;
  xp::ref root;
  if (path == nullptr || *path == '\0') {
    root = xp::ref::share(value);
  } else if (list->root != nullptr) {
    return store_below(xp::ref::share(list->root), path, value);
  } else {
    root = bury(path, value);
    if (!root) return -1;
  }
  const xp::ref old = xp::ref::adopt(list->root);
  list->root = root.leak();
  return 0;
}
