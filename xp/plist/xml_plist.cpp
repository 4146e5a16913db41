// The XML property list format and the dictionary file.

#include "xp/plist/xml_form.h"

namespace xp {

namespace {

// A name of at most 8 bytes as a number; 0 for longer ones.
constexpr uint64_t word(std::string_view name) {
  uint64_t packed = 0;
  if (name.size() > 8) return 0;
  for (const char byte : name)
    packed = packed << 8U | static_cast<unsigned char>(byte);
  return packed;
}

}  // namespace

bool xml_plist_form::takes(std::string_view root) {
  switch (word(root)) {
    case word("plist"):
    case word("dict"):
    case word("array"):
    case word("string"):
    case word("integer"):
    case word("real"):
    case word("true"):
    case word("false"):
    case word("data"):
    case word("date"): return true;
    default: return false;
  }
}

const char *xml_plist_form::open_plist() {
  if (in_plist_ || tree_.has_root()) return "an element in the wrong place";
  in_plist_ = true;
  return nullptr;
}

const char *xml_plist_form::open_leaf(uint64_t leaf) {
  if (leaf == word("key")) {
    if (!tree_.in_dict()) return "a key outside a dictionary";
    if (tree_.has_key()) return "a key without a value";
  } else if (const char *reason = tree_.check_place()) {
    return reason;
  }
  leaf_ = leaf;
  if (leaf != word("true") && leaf != word("false")) collect();
  return nullptr;
}

const char *xml_plist_form::opens(std::string_view name, const xp_xml_attributes & /*attributes*/) {
  return opens(word(name));
}

const char *xml_plist_form::opens(uint64_t element) {
  if (leaf_ != 0) return "an element inside a value";
  switch (element) {
    case word("plist"): return open_plist();
    case word("dict"): return tree_.open_dict();
    case word("array"): return tree_.open_array();
    case word("key"):
    case word("string"):
    case word("integer"):
    case word("real"):
    case word("true"):
    case word("false"):
    case word("data"):
    case word("date"): return open_leaf(element);
    default: return "an unknown element";
  }
}

const char *xml_plist_form::close_leaf() {
  const std::string_view text = text_.view();
  takes_text_ = false;
  switch (std::exchange(leaf_, 0)) {
    case word("key"): return tree_.set_key(text);
    case word("string"): return tree_.add(xml_string(text));
    case word("integer"): return tree_.add(xml_integer(text));
    case word("real"): return tree_.add(xml_real(text));
    case word("data"): return tree_.add(xml_data(text));
    case word("date"): return tree_.add(xml_date(text));
    case word("true"): return tree_.add(xml_truth(true));
    default: return tree_.add(xml_truth(false));
  }
}

const char *xml_plist_form::closes() {
  if (leaf_ != 0) return close_leaf();
  if (tree_.depth() > 0) return tree_.close();
  return tree_.has_root() ? nullptr : "a list without a value";
}

const char *xml_dic_form::opens(std::string_view name, const xp_xml_attributes & /*attributes*/) {
  switch (level_) {
    case level::nothing:
      level_ = level::dict;
      return name == "dict" ? tree_.open_dict() : "an unknown element";
    case level::dict:
      level_ = level::translation;
      strings_ = 0;
      return name == "translation" ? nullptr : "an unknown element";
    case level::translation:
      if (name != "string") return "an unknown element";
      if (++strings_ > 2) return "a translation with more than two strings";
      level_ = level::string;
      collect();
      return nullptr;
    default: return "an element inside a value";
  }
}

const char *xml_dic_form::closes() {
  switch (level_) {
    case level::string:
      level_ = level::translation;
      takes_text_ = false;
      return strings_ == 1 ? tree_.set_key(text_.view()) : tree_.add(xml_string(text_.view()));
    case level::translation:
      level_ = level::dict;
      if (strings_ == 0) return "a translation without a string";
      return strings_ == 1 ? tree_.add(xml_string({})) : nullptr;
    default: return tree_.close();
  }
}

}  // namespace xp
