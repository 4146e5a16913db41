#include "xp/plist/value.h"

#include "xp/object/boolean.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/plist.h"
#include "xp/service/base64.h"
#include "xp/service/data.h"
#include "xp/string/string.h"

#include <string.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <utility>

namespace {

using xp::ref;

ref node_at(xp_obj *p, const char *path) {
  return ref::adopt(xp_plist_get(p, path));
}

bool is_string(const ref &node) {
  return xp_type(node.get()) == xp_str_type();
}

// Containers and data have no text of their own.
ref with_text(ref node) {
  const bool none = xp_instanceof(node.get(), xp_code("trav")) != 0 || xp_type(node.get()) == xp_data_type();
  return none ? nullptr : std::move(node);
}

std::string_view view_of(const ref &string) {
  return {xp_str_getptr(string.get()), static_cast<size_t>(xp_str_length(string.get()))};
}

bool is_word(std::string_view text, std::string_view word) {
  return std::equal(text.begin(), text.end(), word.begin(), word.end(),
                    [](char a, char b) { return a == b || (a >= 'A' && a <= 'Z' && a + 32 == b); });
}

bool says_yes(std::string_view text) {
  return is_word(text, "true") || is_word(text, "yes") || is_word(text, "on");
}

double number_of(const ref &node) {
  const uint32_t type = xp_type(node.get());
  if (type == xp_boolean_type()) return static_cast<double>(xp_value(node.get()));
  if (type != xp_number_type() && type != xp_str_type()) return 0;
  return xp_number_float(ref::adopt(xp_number_coerce(node.get())).get());
}

// Takes the digits at the start of a text off it; false when there are none.
bool take_digits(std::string_view &text) {
  const size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
  text.remove_prefix(count);
  return count > 0;
}

bool take_one_of(std::string_view &text, std::string_view bytes) {
  if (text.empty() || bytes.find(text[0]) == std::string_view::npos) return false;
  text.remove_prefix(1);
  return true;
}

// Whether a text is a number by the grammar of JSON.
bool is_number(std::string_view text) {
  take_one_of(text, "-");
  const bool one_zero = text.starts_with('0');
  if (one_zero ? !take_one_of(text, "0") : !take_digits(text)) return false;
  if (take_one_of(text, ".") && !take_digits(text)) return false;
  if (take_one_of(text, "eE")) {
    take_one_of(text, "+-");
    if (!take_digits(text)) return false;
  }
  return text.empty();
}

ref string_of(std::string_view text) {
  return ref::adopt(xp_str_make(text.data(), static_cast<int64_t>(text.size())));
}

int32_t store(xp_obj *p, const char *path, const ref &value) {
  return value ? xp_plist_set(p, path, value.get()) : -1;
}

}  // namespace

int64_t xp_plist_getvalue(xp_obj *p, const char *path) {
  return xp_value(node_at(p, path).get());
}

double xp_plist_getnumber(xp_obj *p, const char *path) {
  return number_of(node_at(p, path));
}

int32_t xp_plist_getboolean(xp_obj *p, const char *path) {
  const ref node = node_at(p, path);
  const bool yes = is_string(node) && says_yes(view_of(node));
  return yes || number_of(node) != 0 ? 1 : 0;
}

const char *xp_plist_getstring(xp_obj *p, const char *path) {
  return xp_str_getptr(node_at(p, path).get());
}

xp_obj *xp_plist_getxpstr(xp_obj *p, const char *path) {
  return xp_str_coerce(with_text(node_at(p, path)).get());
}

int64_t xp_plist_gettext(xp_obj *p, const char *path, char *buffer, int64_t capacity) {
  return xp_textify(with_text(node_at(p, path)).get(), buffer, capacity);
}

xp_obj *xp_plist_getdata(xp_obj *p, const char *path) {
  ref node = node_at(p, path);
  if (xp_type(node.get()) == xp_data_type()) return node.leak();
  if (!is_string(node)) return nullptr;
  return xp_b64_data(xp_str_getptr(node.get()), xp_str_length(node.get()), XP_B64_LENIENT);
}

uint32_t xp_plist_gettag(xp_obj *p, const char *path) {
  const ref node = node_at(p, path);
  if (!is_string(node)) return static_cast<uint32_t>(xp_value(node.get()));
  const std::string_view text = view_of(node).substr(0, sizeof(uint32_t));
  uint32_t tag = 0;
  memcpy(&tag, text.data(), text.size());
  return tag;
}

int32_t xp_plist_setboolean(xp_obj *p, const char *path, int32_t value) {
  return store(p, path, ref::adopt(xp_boolean_new(value)));
}

int32_t xp_plist_setnumber(xp_obj *p, const char *path, double value) {
  constexpr double exact = int64_t{1} << 53;
  const bool whole =
      std::trunc(value) == value && std::fabs(value) < exact && !(value == 0 && std::signbit(value));
  return store(p, path,
               ref::adopt(whole ? xp_number_new(static_cast<int64_t>(value)) : xp_number_newfloat(value)));
}

int32_t xp_plist_setstring(xp_obj *p, const char *path, const char *text, int64_t length) {
  return store(p, path, ref::adopt(xp_str_make(text, length)));
}

int32_t xp_plist_setdata(xp_obj *p, const char *path, const void *bytes, int64_t length) {
  return store(p, path, ref::adopt(xp_data_new(bytes, length)));
}

int32_t xp_plist_settag(xp_obj *p, const char *path, uint32_t tag) {
  std::array<char, sizeof tag> text;
  memcpy(text.data(), &tag, text.size());
  std::string_view whole(text.data(), text.size());
  whole = whole.substr(0, whole.find_last_not_of('\0') + 1);
  return store(p, path, string_of(whole));
}

int32_t xp_plist_seteval(xp_obj *p, const char *path, const char *text, int64_t length) {
  if (text == nullptr) return xp_plist_set(p, path, nullptr);
  const std::string_view said(text, length < 0 ? strlen(text) : static_cast<size_t>(length));
  if (is_word(said, "null")) return xp_plist_set(p, path, nullptr);
  if (is_word(said, "true") || is_word(said, "false"))
    return xp_plist_setboolean(p, path, is_word(said, "true") ? 1 : 0);
  if (is_number(said)) return store(p, path, ref::adopt(xp_number_parse(text, std::ssize(said))));
  if (said.starts_with('{') || said.starts_with('[')) {
    xp_plist_fault fault;
    const ref list = ref::adopt(xp_plist_read(text, std::ssize(said), XP_PLIST_JSON, &fault));
    if (list) return store(p, path, node_at(list.get(), nullptr));
    if (std::string_view(fault.reason) == "out of memory") return -1;
  }
  return store(p, path, string_of(said));
}
