#include "tests/support/objects.h"

#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/number.h"
#include "xp/plist/plist.h"
#include "xp/string/string.h"

#include <gtest/gtest.h>

#include <sstream>

xp::ref num(int64_t value) {
  return xp::ref::adopt(xp_number_new(value));
}

xp::ref str(std::string_view text) {
  return xp::ref::adopt(xp_str_make(text.data(), static_cast<int64_t>(text.size())));
}

xp::ref tree(std::string_view json, const char *path) {
  const xp::ref list =
      xp::ref::adopt(xp_plist_parse(json.data(), static_cast<int64_t>(json.size()), XP_PLIST_JSON));
  return xp::ref::adopt(xp_plist_get(list.get(), path));
}

std::string text_of(xp_obj *obj) {
  if (obj == nullptr) return "null";
  const bool tree = xp_type(obj) == xp_dict_type() || xp_type(obj) == xp_array_type();
  const xp::ref text =
      xp::ref::adopt(tree ? xp_plist_string(obj, XP_PLIST_JSON_BARE, 0) : xp_str_coerce(obj));
  return {xp_str_getptr(text.get()), static_cast<size_t>(xp_str_length(text.get()))};
}

std::string taken(xp_obj *obj) {
  return text_of(xp::ref::adopt(obj).get());
}

std::vector<std::pair<std::string, std::string>> pairs_of(const std::string &text) {
  std::vector<std::pair<std::string, std::string>> pairs;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const size_t mark = word.find('>');
    pairs.emplace_back(word.substr(0, mark), word.substr(mark + 1));
  }
  return pairs;
}

void expect(std::initializer_list<gave> given, std::string_view line, const char *file, int at) {
  std::string all;
  for (const gave &each : given)
    all += (&each == given.begin() ? "" : " ") + each.text;
  if (all == line) return;
  ADD_FAILURE_AT(file, at) << "gave   " << all << "\nwanted " << line;
}
