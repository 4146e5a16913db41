// XML-RPC and SOAP.

#include "xp/plist/xml_form.h"

namespace xp {

namespace {

// The elements of XML-RPC, one bit each, so that parents are a set.
enum : uint32_t {
  call = 1U << 0U,
  response = 1U << 1U,
  method_name = 1U << 2U,
  params = 1U << 3U,
  fault = 1U << 4U,
  param = 1U << 5U,
  value = 1U << 6U,
  structure = 1U << 7U,
  member = 1U << 8U,
  name = 1U << 9U,
  array = 1U << 10U,
  data = 1U << 11U,
  string = 1U << 12U,
  integer = 1U << 13U,
  real = 1U << 14U,
  boolean = 1U << 15U,
  base64 = 1U << 16U,
  date = 1U << 17U,
};

constexpr uint32_t scalars = string | integer | real | boolean | base64 | date;
constexpr uint32_t holds_one = value | param | array;  // elements with at most one inside

struct rule {
  std::string_view element;
  uint32_t bit;
  uint32_t parents;  // 0: a root
};

constexpr auto rules = std::to_array<rule>({
    {"methodCall", call, 0},
    {"methodResponse", response, 0},
    {"methodName", method_name, call},
    {"params", params, call | response},
    {"fault", fault, response},
    {"param", param, params},
    {"value", value, param | fault | member | data},
    {"struct", structure, value},
    {"member", member, structure},
    {"name", name, member},
    {"array", array, value},
    {"data", data, array},
    {"string", string, value},
    {"int", integer, value},
    {"i4", integer, value},
    {"double", real, value},
    {"boolean", boolean, value},
    {"base64", base64, value},
    {"dateTime.iso8601", date, value},
});

const rule *rule_of(std::string_view element) {
  for (const rule &one : rules) {
    if (one.element == element) return &one;
  }
  return nullptr;
}

}  // namespace

// What the parent says about an element that opens in it.
const char *xml_rpc_form::stand_in_parent(uint32_t element) {
  if (depth_ == 0) return nullptr;
  open_element &parent = open_[static_cast<size_t>(depth_ - 1)];
  if (parent.filled && (parent.name & holds_one) != 0) return "more than one value";
  if (parent.name == value && !is_blank(text_.view())) return "text outside a value";
  if (element == value && (parent.name & (member | fault)) != 0 && !tree_.has_key()) {
    return "a value without a key";
  }
  if (element == name && tree_.has_key()) return "a key without a value";
  parent.filled = true;
  return nullptr;
}

// A part of the root that stands there once, under a key of its own.
const char *xml_rpc_form::begin_once(uint32_t element, const char *key) {
  if ((seen_ & element) != 0) return "a part that is there already";
  seen_ |= element;
  return tree_.set_key(key);
}

const char *xml_rpc_form::begin(uint32_t element) {
  const char *reason = nullptr;
  switch (element) {
    case call:
    case response:
    case structure: return tree_.open_dict();
    case array: return tree_.open_array();
    case fault: return begin_once(element, "fault");
    case params:
      reason = begin_once(element, "params");
      return reason != nullptr ? reason : tree_.open_array();
    case method_name:
      reason = begin_once(element, "methodName");
      collect();
      return reason;
    case value:
    case name: collect(); return nullptr;
    default:
      if ((element & scalars) != 0) collect();
      return nullptr;
  }
}

const char *xml_rpc_form::opens(std::string_view element, const xp_xml_attributes & /*attributes*/) {
  const rule *found = rule_of(element);
  if (found == nullptr) return "an unknown element";
  const bool fits =
      depth_ == 0 ? found->parents == 0 : (found->parents & open_[static_cast<size_t>(depth_ - 1)].name) != 0;
  if (!fits) return "an element in the wrong place";
  if (const char *reason = stand_in_parent(found->bit)) return reason;
  takes_text_ = false;
  open_[static_cast<size_t>(depth_++)] = {.name = found->bit, .filled = false};
  return begin(found->bit);
}

const char *xml_rpc_form::end_root(uint32_t root) {
  if (root == call) {
    if ((seen_ & method_name) == 0) return "a call without a method";
    if ((seen_ & params) == 0) {
      const char *reason = tree_.set_key("params");
      if (reason == nullptr) reason = tree_.open_array();
      if (reason == nullptr) reason = tree_.close();
      if (reason != nullptr) return reason;
    }
  } else if (((seen_ & params) == 0) == ((seen_ & fault) == 0)) {
    return "a response without either params or a fault";
  }
  return tree_.close();
}

xml_value xml_rpc_form::value_of(uint32_t element) const {
  const std::string_view text = text_.view();
  switch (element) {
    case integer: return xml_integer(text);
    case real: return xml_real(text);
    case boolean: return xml_boolean(text);
    case base64: return xml_data(text);
    case date: return xml_date(text);
    default: return xml_string(text);
  }
}

const char *xml_rpc_form::closes() {
  const open_element closing = open_[static_cast<size_t>(--depth_)];
  takes_text_ = false;
  switch (closing.name) {
    case call:
    case response: return end_root(closing.name);
    case structure:
    case params:
    case array: return tree_.close();
    case name: return tree_.set_key(text_.view());
    case param: return closing.filled ? nullptr : "a parameter without a value";
    case member:
    case fault: return tree_.has_key() ? "a key without a value" : nullptr;
    case value: return closing.filled ? nullptr : tree_.add(xml_string(text_.view()));
    case data: return nullptr;
    default: return tree_.add(value_of(closing.name));
  }
}

const char *xml_soap_form::opens(std::string_view name, const xp_xml_attributes & /*attributes*/) {
  if (!tree_.has_root()) {
    tree_.gather();
    return takes(name) ? tree_.open_dict() : "an unknown element";
  }
  if (undecided_) {
    if (!is_blank(text_.view())) return "text outside a value";
    if (const char *reason = tree_.open_dict()) return reason;
  }
  undecided_ = true;
  collect();
  const size_t colon = name.rfind(':');
  return tree_.set_key(colon == std::string_view::npos ? name : name.substr(colon + 1));
}

const char *xml_soap_form::closes() {
  takes_text_ = false;
  return std::exchange(undecided_, false) ? tree_.add(xml_string(text_.view())) : tree_.close();
}

}  // namespace xp
