// The readers of XML lists from the outside, and the chain of them.

#include "xp/plist/reader.h"
#include "xp/plist/xml_form.h"
#include "xp/plist/xml_forms.h"
#include "xp/plist/xml_plain.h"

#include <algorithm>

namespace {

using namespace std::string_view_literals;

// What is read once: the forms that may read it, of which the root element picks one.
class document {
public:
  enum form : uint8_t { plist, dic, rpc, soap, item, any };

  explicit document(form wanted) : wanted_(wanted) {}

  // As the XML reader reads it.
  xp_obj *read(std::string_view text, xp_xml_fault &fault);

  // As the short way for plain property lists reads it; null when it is anything else.
  xp_obj *read_plain(std::string_view text);

  // The form that the root element has picked; `any` when there was none. Whether it could have picked the
  // dictionary file, too.
  form picked() const { return picked_; }
  bool may_be_dic() const { return may_be_dic_; }

private:
  static const char *opens(void *self, std::string_view name, const xp_xml_attributes *attributes);
  static const char *closes(void *self) { return static_cast<document *>(self)->form_->closes(); }
  static const char *text(void *self, std::string_view piece) {
    return static_cast<document *>(self)->form_->text(piece);
  }
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

const char *document::opens(void *self, std::string_view name, const xp_xml_attributes *attributes) {
  auto &me = *static_cast<document *>(self);
  if (me.form_ == nullptr && !me.pick(name)) return "an unknown element";
  return me.form_->opens(name, *attributes);
}

xp_obj *document::read(std::string_view text, xp_xml_fault &fault) {
  const auto length = static_cast<int64_t>(text.size());
  if (xp_xml_parse(text.data(), length, &handler, this, &fault) != 0) return nullptr;
  fault = {.offset = length, .reason = "a list without a value"};
  return build_.tree.take_root();
}

xp_obj *document::read_plain(std::string_view text) {
  if ((wanted_ != plist && wanted_ != any) || text.size() > XP_XML_LONGEST_TEXT) return nullptr;
  picked_ = plist;
  return xp::read_plain_plist(text, plist_) ? build_.tree.take_root() : nullptr;
}

// A text of single bytes ends at its first zero byte; 16-bit text tells itself by its first two.
std::string_view whole_text(std::string_view text) {
  const bool wide = text.starts_with("\xFE\xFF"sv) || text.starts_with("\xFF\xFE"sv) ||
                    text.starts_with("\0<"sv) || text.starts_with("<\0"sv);
  return wide ? text : text.substr(0, text.find('\0'));
}

struct outcome {
  xp_obj *root;
  document::form form;  // what the root element has picked
  bool may_be_dic;
};

// White space in front, which XML does not allow before its declaration, is passed over.
outcome read_as(document::form wanted, std::string_view given, xp_plist_fault &fault) {
  std::string_view text = whole_text(given);
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  {
    document quick(wanted);
    xp_obj *root = quick.read_plain(text);
    if (root != nullptr) return {.root = root, .form = document::plist, .may_be_dic = false};
  }
  document whole(wanted);
  xp_xml_fault found{};
  xp_obj *root = whole.read(text, found);
  if (root == nullptr)
    fault = {.offset = found.offset + (text.data() - given.data()), .reason = found.reason};
  return {.root = root, .form = whole.picked(), .may_be_dic = whole.may_be_dic()};
}

}  // namespace

xp_obj *xp_plist_plistparser(std::string_view text, xp_plist_fault *fault) {
  return read_as(document::plist, text, *fault).root;
}

xp_obj *xp_plist_dicparser(std::string_view text, xp_plist_fault *fault) {
  return read_as(document::dic, text, *fault).root;
}

xp_obj *xp_plist_xmlrpcparser(std::string_view text, xp_plist_fault *fault) {
  return read_as(document::rpc, text, *fault).root;
}

xp_obj *xp_plist_soapparser(std::string_view text, xp_plist_fault *fault) {
  return read_as(document::soap, text, *fault).root;
}

xp_obj *xp_plist_xmlparser(std::string_view text, xp_plist_fault *fault) {
  return read_as(document::item, text, *fault).root;
}

// The forms tell each other apart by their root elements, but for the dictionary file, whose root could be
// that of a property list. So one look at the root does for trying all forms in turn, and only what failed as
// a property list is read again. The fault is that of the one that came further.
xp_obj *xp::read_xml(std::string_view text, int32_t &style, xp_plist_fault &fault) {
  static constexpr int32_t styles[] = {0, 0, 6, 6, 7};
  const outcome first = read_as(document::any, text, fault);
  if (first.form != document::any) style = styles[first.form];
  if (first.root != nullptr || !first.may_be_dic || fault.reason == "out of memory"sv) return first.root;
  xp_plist_fault again{};
  xp_obj *root = xp_plist_dicparser(text, &again);
  if (root == nullptr && (again.offset > fault.offset || again.reason == "out of memory"sv)) fault = again;
  return root;
}
