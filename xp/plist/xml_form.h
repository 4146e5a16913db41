// The readers of XML lists from the inside: one class per form, each told what xp_xml_parse meets. Internal
// to them; the forms themselves are told of in xp/plist/xml_forms.h.

#ifndef XP_PLIST_XML_FORM_H
#define XP_PLIST_XML_FORM_H

#include "xp/plist/fault.h"
#include "xp/plist/xml_tree.h"
#include "xp/plist/xml_value.h"
#include "xp/service/xml.h"

#include <stdint.h>

#include <array>
#include <string_view>
#include <utility>

namespace xp {

// What a form builds with; one for a text.
struct xml_build {
  xml_tree tree;
  xml_text text;            // of the innermost element that takes text
  bool takes_text = false;  // whether text is collected; otherwise only white space may come
};

// Null from opens and closes goes on; else the reason to stop.
class xml_form {
public:
  explicit xml_form(xml_build &build) : tree_(build.tree), text_(build.text), takes_text_(build.takes_text) {}
  xml_form(const xml_form &) = delete;
  xml_form &operator=(const xml_form &) = delete;

  virtual const char *opens(std::string_view name, const xp_xml_attributes &attributes) = 0;
  virtual const char *closes() = 0;

  const char *text(std::string_view piece) {
    if (!takes_text_) return is_blank(piece) ? nullptr : "text outside a value";
    return text_.append(piece.data(), piece.size()) ? nullptr : "out of memory";
  }

protected:
  ~xml_form() = default;

  void collect() {
    text_.clear();
    takes_text_ = true;
  }

  xml_tree &tree_;
  xml_text &text_;
  bool &takes_text_;
};

class xml_plist_form final : public xml_form {
public:
  using xml_form::xml_form;
  static bool takes(std::string_view root);
  const char *opens(std::string_view name, const xp_xml_attributes &attributes) override;
  const char *closes() override;

  // The same for a name of at most 8 bytes, as a big-endian number; 0 for a longer one.
  const char *opens(uint64_t name);

private:
  const char *open_plist();
  const char *open_leaf(uint64_t word);
  const char *close_leaf();

  uint64_t leaf_ = 0;  // the name of the open element that holds no others; 0: none
  bool in_plist_ = false;
};

class xml_dic_form final : public xml_form {
public:
  using xml_form::xml_form;
  static bool takes(std::string_view root) { return root == "dict"; }
  const char *opens(std::string_view name, const xp_xml_attributes &attributes) override;
  const char *closes() override;

private:
  enum class level : uint8_t { nothing, dict, translation, string };
  level level_ = level::nothing;
  int32_t strings_ = 0;  // of the open translation
};

class xml_rpc_form final : public xml_form {
public:
  using xml_form::xml_form;
  static bool takes(std::string_view root) { return root == "methodCall" || root == "methodResponse"; }
  const char *opens(std::string_view name, const xp_xml_attributes &attributes) override;
  const char *closes() override;

private:
  struct open_element {
    uint32_t name;  // one bit
    bool filled;    // something stands in it
  };
  const char *stand_in_parent(uint32_t name);
  const char *begin(uint32_t name);
  const char *begin_once(uint32_t name, const char *key);
  const char *end_root(uint32_t name);
  xml_value value_of(uint32_t name) const;

  uint32_t seen_ = 0;  // parts of the root
  int64_t depth_ = 0;
  std::array<open_element, XP_XML_DEEPEST> open_;  // the first depth_ are set
};

class xml_soap_form final : public xml_form {
public:
  using xml_form::xml_form;
  static bool takes(std::string_view root) { return root.ends_with(":Envelope"); }
  const char *opens(std::string_view name, const xp_xml_attributes &attributes) override;
  const char *closes() override;

private:
  bool undecided_ = false;  // the innermost element has none inside yet; its name is the key
};

class xml_item_form final : public xml_form {
public:
  using xml_form::xml_form;
  static bool takes(std::string_view root) { return root == "list" || root == "item" || root == "field"; }
  const char *opens(std::string_view name, const xp_xml_attributes &attributes) override;
  const char *closes() override;

private:
  enum class kind : uint8_t { untyped, text, integer, real, data, date, boolean, link, yes, no };
  const char *find_place(const xp_xml_attributes &attributes);
  const char *open_container(bool is_list);
  bool find_kind(const char *type);
  const char *open_field(const xp_xml_attributes &attributes);
  const char *close_field();
  xml_value value() const;

  kind kind_ = kind::untyped;                       // of the open field
  bool in_field_ = false;                           // the innermost element is a field
  bool filled_ = false;                             // a container stands in it already
  size_t href_ = 0;                                 // how much of the text is the attribute
  std::array<bool, deepest_list> in_field_before_;  // by container: whether a field is around it
};

}  // namespace xp

#endif
