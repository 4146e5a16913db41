// The arguments in a URL's query.

#include "xp/object/ref.h"
#include "xp/service/joined_text.h"
#include "xp/service/url.h"
#include "xp/service/url_buffer.h"
#include "xp/service/url_percent.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <string_view>

namespace {

using xp::ref;

// One argument as it stands.
struct argument {
  std::string_view whole;
  std::string_view name;
  std::string_view value;  // no data when there is no "="
};

// Cuts the next argument off; false at the end.
bool next(std::string_view &rest, argument &found) {
  while (rest.starts_with('&'))
    rest.remove_prefix(1);
  if (rest.empty()) return false;
  found = {};
  found.whole = rest.substr(0, rest.find('&'));
  rest.remove_prefix(found.whole.size());
  size_t equals = found.whole.find('=');
  found.name = found.whole.substr(0, equals);
  if (equals != std::string_view::npos) found.value = found.whole.substr(equals + 1);
  return true;
}

ref decoded(std::string_view text) {
  return ref::adopt(xp_url_decode(text.data(), static_cast<int64_t>(text.size()), XP_URL_PLUS));
}

ref coded(std::string_view text) {
  return ref::adopt(xp_url_encode(text.data(), static_cast<int64_t>(text.size()), XP_URL_ARGUMENT));
}

std::string_view view_of(const char *text, int64_t length) {
  return {text, static_cast<size_t>(xp_str_txtlen(text, length))};
}

// A new URL with another query; an empty one is left out.
xp_obj *with_query(const xp_url_parts &parts, std::string_view query) {
  xp_url_parts changed = parts;
  changed.query = query.empty() ? std::string_view() : query;
  return xp_url_make(&changed);
}

enum class outcome { none, found, failed };

// Writes a query without the arguments of a name and tells whether there were any.
outcome copy_without(std::string_view query, std::string_view name, xp::url_buffer &kept) {
  outcome result = kept ? outcome::none : outcome::failed;
  argument a;
  while (result != outcome::failed && next(query, a)) {
    ref plain = decoded(a.name);
    if (!plain) return outcome::failed;
    if (xp::view(plain.get()) == name) {
      result = outcome::found;
    } else {
      if (!kept.text().empty()) kept.add('&');
      kept.add(a.whole);
    }
  }
  return result;
}

// A new URL whose query is `query` and one argument more.
xp_obj *with_argument(const xp_url_parts &parts, std::string_view query, std::string_view name,
                      xp_obj *value) {
  ref coded_name = coded(name);
  ref text = ref::adopt(xp_str_coerce(value));
  ref coded_value = coded(xp::view(text.get()));
  if (!coded_name || !coded_value || (value != nullptr && !text)) return nullptr;
  ref all = ref::adopt(
      xp::join_text({query, query.empty() || query.ends_with('&') ? "" : "&", xp::view(coded_name.get()),
                     value == nullptr ? "" : "=", xp::view(coded_value.get())}));
  return all ? with_query(parts, xp::view(all.get())) : nullptr;
}

int64_t visit_one(const argument &a, xp_url_visitor visit, void *context) {
  ref name = decoded(a.name);
  ref value = a.value.data() == nullptr ? nullptr : decoded(a.value);
  if (!name || (a.value.data() != nullptr && !value)) return -1;
  return visit(name.get(), value.get(), context);
}

}  // namespace

int64_t xp_url_readargs(const char *query, int64_t length, xp_url_visitor visit, void *context) {
  if (query == nullptr || visit == nullptr) return 0;
  std::string_view rest = view_of(query, length);
  argument a;
  while (next(rest, a)) {
    int64_t result = visit_one(a, visit, context);
    if (result != 0) return result;
  }
  return 0;
}

int64_t xp_url_enumargs(xp_obj *u, xp_url_visitor visit, void *context) {
  const xp_url_parts *parts = xp_url_getparts(u);
  if (parts == nullptr || parts->query.data() == nullptr) return 0;
  return xp_url_readargs(parts->query.data(), static_cast<int64_t>(parts->query.size()), visit, context);
}

xp_obj *xp_url_getarg(xp_obj *u, const char *name, int64_t length) {
  const xp_url_parts *parts = xp_url_getparts(u);
  if (parts == nullptr) return nullptr;
  std::string_view wanted = view_of(name, length);
  std::string_view rest = parts->query;
  argument a;
  while (next(rest, a)) {
    ref plain = decoded(a.name);
    if (!plain) return nullptr;
    if (xp::view(plain.get()) == wanted) return decoded(a.value).leak();
  }
  return nullptr;
}

xp_obj *xp_url_addarg(xp_obj *u, const char *name, int64_t length, xp_obj *value) {
  const xp_url_parts *parts = xp_url_getparts(u);
  if (parts == nullptr) return nullptr;
  return with_argument(*parts, parts->query, view_of(name, length), value);
}

xp_obj *xp_url_setarg(xp_obj *u, const char *name, int64_t length, xp_obj *value) {
  const xp_url_parts *parts = xp_url_getparts(u);
  if (parts == nullptr) return nullptr;
  std::string_view wanted = view_of(name, length);
  xp::url_buffer kept(parts->query.size());
  if (copy_without(parts->query, wanted, kept) == outcome::failed) return nullptr;
  return with_argument(*parts, kept.text(), wanted, value);
}

xp_obj *xp_url_removearg(xp_obj *u, const char *name, int64_t length) {
  const xp_url_parts *parts = xp_url_getparts(u);
  if (parts == nullptr) return nullptr;
  xp::url_buffer kept(parts->query.size());
  switch (copy_without(parts->query, view_of(name, length), kept)) {
    case outcome::none: return xp_retain(u);
    case outcome::found: return with_query(*parts, kept.text());
    default: return nullptr;
  }
}
