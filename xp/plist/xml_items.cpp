// The item list.

#include "xp/plist/xml_form.h"

#include <string.h>

namespace xp {

// The key of what opens, from its attributes, where a key is needed.
const char *xml_item_form::find_place(const xp_xml_attributes &attributes) {
  if (tree_.in_dict()) {
    const char *key = nullptr;
    for (const char *attribute : {"label", "ident", "rel"}) {
      if (key == nullptr) key = xp_xml_attribute(&attributes, attribute);
    }
    if (key == nullptr) return "a value without a key";
    if (const char *reason = tree_.set_key(key)) return reason;
  }
  return tree_.check_place();
}

const char *xml_item_form::open_container(bool is_list) {
  const auto level = static_cast<size_t>(tree_.depth());
  const char *reason = is_list ? tree_.open_array() : tree_.open_dict();
  if (reason != nullptr) return reason;
  in_field_before_[level] = std::exchange(in_field_, false);
  takes_text_ = false;
  return nullptr;
}

bool xml_item_form::find_kind(const char *type) {
  static constexpr struct {
    std::string_view name;
    kind meaning;
  } types[] = {{"text", kind::text}, {"long", kind::integer}, {"real", kind::real},
               {"data", kind::data}, {"date", kind::date},    {"boolean", kind::boolean},
               {"link", kind::link}, {"true", kind::yes},     {"false", kind::no}};
  kind_ = kind::untyped;
  if (type == nullptr) return true;
  for (const auto &one : types) {
    if (one.name == type) kind_ = one.meaning;
  }
  return kind_ != kind::untyped;
}

const char *xml_item_form::open_field(const xp_xml_attributes &attributes) {
  if (!find_kind(xp_xml_attribute(&attributes, "type"))) return "an unknown type";
  in_field_ = true;
  filled_ = false;
  href_ = 0;
  collect();
  if (kind_ == kind::yes || kind_ == kind::no) takes_text_ = false;
  const char *href = kind_ == kind::link ? xp_xml_attribute(&attributes, "href") : nullptr;
  if (href == nullptr) return nullptr;
  href_ = strlen(href);
  return text_.append(href, href_) ? nullptr : "out of memory";
}

const char *xml_item_form::opens(std::string_view name, const xp_xml_attributes &attributes) {
  if (!takes(name)) return "an unknown element";
  const bool is_field = name == "field";
  if (!in_field_) {
    if (const char *reason = find_place(attributes)) return reason;
    return is_field ? open_field(attributes) : open_container(name == "list");
  }
  if (is_field) return "a field inside a field";
  if (filled_) return "more than one value";
  if (!is_blank(text_.view().substr(href_))) return "text outside a value";
  return open_container(name == "list");
}

xml_value xml_item_form::value() const {
  const std::string_view text = text_.view();
  switch (kind_) {
    case kind::integer: return xml_integer(text);
    case kind::real: return xml_real(text);
    case kind::data: return xml_data(text);
    case kind::date: return xml_date(text);
    case kind::boolean: return xml_boolean(text);
    case kind::link: return xml_link(href_ > 0 ? text.substr(0, href_) : text);
    case kind::yes: return xml_truth(true);
    case kind::no: return xml_truth(false);
    default: return xml_string(text);
  }
}

const char *xml_item_form::close_field() {
  in_field_ = false;
  takes_text_ = false;
  if (filled_) return nullptr;
  const bool is_null = kind_ == kind::untyped && text_.view().empty();
  return is_null ? tree_.add_null() : tree_.add(value());
}

const char *xml_item_form::closes() {
  if (in_field_) return close_field();
  const char *reason = tree_.close();
  in_field_ = in_field_before_[static_cast<size_t>(tree_.depth())];
  filled_ = in_field_;
  return reason;
}

}  // namespace xp
