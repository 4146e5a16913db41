// The readers of XML lists from the outside, and the chain of them.

#include "xp/plist/reader.h"
#include "xp/plist/xml_form.h"
#include "xp/plist/xml_forms.h"

#include <algorithm>

namespace {

// What is read: the forms that may read it, of which the root element picks one.
class document {
public:
  enum form : uint8_t { plist, dic, rpc, soap, item, any };

  explicit document(form wanted) : wanted_(wanted) {}

  xp_obj *read(std::string_view text, xp_plist_fault &fault);

  // The form that the root element has picked; `any` when there was none. Whether it could have picked the
  // dictionary file, too.
  form picked() const { return picked_; }
  bool may_be_dic() const { return may_be_dic_; }

private:
  static const char *opens(void *self, const char *name, const xp_xml_attributes *attributes);
  static const char *closes(void *self, const char *name);
  static const char *text(void *self, const char *bytes, int64_t length);
  static constexpr xp_xml_handler handler = {.opens = opens, .closes = closes, .text = text};

  bool pick(std::string_view root);
  template <typename Form>
  bool pick(std::string_view root, form which, Form &reader);

  form wanted_;
  form picked_ = any;
  bool may_be_dic_ = false;
  xp::xml_build build_;
  xp::xml_plist_form plist_{build_};
  xp::xml_dic_form dic_{build_};
  xp::xml_rpc_form rpc_{build_};
  xp::xml_soap_form soap_{build_};
  xp::xml_item_form item_{build_};
  xp::xml_form *form_ = nullptr;
};

template <typename Form>
bool document::pick(std::string_view root, form which, Form &reader) {
  if ((wanted_ != which && wanted_ != any) || !Form::takes(root)) return false;
  picked_ = which;
  form_ = &reader;
  return true;
}

bool document::pick(std::string_view root) {
  may_be_dic_ = xp::xml_dic_form::takes(root);
  return pick(root, plist, plist_) || pick(root, dic, dic_) || pick(root, rpc, rpc_) ||
         pick(root, soap, soap_) || pick(root, item, item_);
}

const char *document::opens(void *self, const char *name, const xp_xml_attributes *attributes) {
  auto &me = *static_cast<document *>(self);
  if (me.form_ == nullptr && !me.pick(name)) return "an unknown element";
  return me.form_->opens(name, *attributes);
}

const char *document::closes(void *self, const char * /*name*/) {
  return static_cast<document *>(self)->form_->closes();
}

const char *document::text(void *self, const char *bytes, int64_t length) {
  return static_cast<document *>(self)->form_->text({bytes, static_cast<size_t>(length)});
}

// A text of single bytes ends at its first zero byte; 16-bit text tells itself by its first two.
std::string_view whole_text(std::string_view text) {
  const bool wide = text.starts_with("\xFE\xFF") || text.starts_with("\xFF\xFE") ||
                    text.starts_with(std::string_view("\0<", 2)) ||
                    text.starts_with(std::string_view("<\0", 2));
  return wide ? text : text.substr(0, text.find('\0'));
}

// White space in front, which XML does not allow before its declaration, is passed over.
xp_obj *document::read(std::string_view text, xp_plist_fault &fault) {
  text = whole_text(text);
  const size_t skipped = std::min(text.find_first_not_of(" \t\r\n"), text.size());
  text.remove_prefix(skipped);
  xp_xml_fault found = {};
  if (xp_xml_parse(text.data(), static_cast<int64_t>(text.size()), &handler, this, &found) == 0) {
    xp_obj *root = build_.tree.take_root();
    if (root != nullptr) return root;
    found = {.offset = static_cast<int64_t>(text.size()), .reason = "a list without a value"};
  }
  fault = {.offset = found.offset + static_cast<int64_t>(skipped), .reason = found.reason};
  return nullptr;
}

xp_obj *read_as(document::form form, std::string_view text, xp_plist_fault *fault) {
  return document(form).read(text, *fault);
}

}  // namespace

xp_obj *xp_plist_plistparser(std::string_view text, xp_plist_fault *fault) {
  return read_as(document::plist, text, fault);
}

xp_obj *xp_plist_dicparser(std::string_view text, xp_plist_fault *fault) {
  return read_as(document::dic, text, fault);
}

xp_obj *xp_plist_xmlrpcparser(std::string_view text, xp_plist_fault *fault) {
  return read_as(document::rpc, text, fault);
}

xp_obj *xp_plist_soapparser(std::string_view text, xp_plist_fault *fault) {
  return read_as(document::soap, text, fault);
}

xp_obj *xp_plist_xmlparser(std::string_view text, xp_plist_fault *fault) {
  return read_as(document::item, text, fault);
}

// The forms tell each other apart by their root elements, but for the dictionary file, whose root could be
// that of a property list. So one look at the root does for trying all forms in turn, and only what failed as
// a property list is read again.
xp_obj *xp::read_xml(std::string_view text, int32_t &style, xp_plist_fault &fault) {
  static constexpr int32_t styles[] = {0, 0, 6, 6, 7};
  document first(document::any);
  xp_obj *root = first.read(text, fault);
  if (first.picked() != document::any) style = styles[first.picked()];
  if (root != nullptr || !first.may_be_dic()) return root;
  xp_plist_fault as_dictionary_file{};
  return xp_plist_dicparser(text, &as_dictionary_file);
}
