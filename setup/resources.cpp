#include "setup/resources.h"

#include "setup/read_file.h"
#include "setup/values.h"
#include "xp/string/text.h"

#include <string>
#include <string_view>

namespace {

constexpr size_t none = std::string_view::npos;

std::string_view text_of(xp_obj *string) {
  if (xp_type(string) != xp_str_type()) return {};
  return {xp_str_getptr(string), static_cast<size_t>(xp_str_length(string))};
}

// Never destroyed: the process may end while the page still loads.
std::string &bundle_path() {
  static auto *const path = new std::string;
  return *path;
}

// An address's last component: where it begins, where the query (or the text) ends it, and its last dot,
// which may stand right at its beginning.
struct component {
  size_t begin;
  size_t end;
  size_t dot;
};

component last_component(std::string_view url) {
  const size_t query = url.find('?');
  const size_t end = query == none ? url.size() : query;
  const size_t slash = url.substr(0, end).rfind('/');
  const size_t begin = slash == none ? 0 : slash + 1;
  const size_t dot = url.substr(begin, end - begin).rfind('.');
  return {begin, end, dot == none ? none : begin + dot};
}

// The file's name in its folder.
// Deliberate: with a type and a query the "?" counts to the type, so such an address finds no resource; a
// page that passes queries to its files would otherwise be served the same file for all of them.
std::string file_name(std::string_view url) {
  const component last = last_component(url);
  const bool has_query = last.end < url.size();
  if (last.dot == none || last.dot == last.begin)
    return std::string(url.substr(last.begin, last.end - last.begin)) + ".html";
  return std::string(url.substr(last.begin, last.end + (has_query ? 1 : 0) - last.begin));
}

// The folder below the resource folder; empty when the address names none.
// Deliberate: folders further on are ignored, so all files of a page lie in one folder and can be moved
// between its subfolders without a change to the bundle.
std::string folder_name(std::string_view url) {
  const size_t scheme = url.find("://");
  if (scheme == none) return {};
  const std::string_view rest = url.substr(scheme + 3);
  const size_t slash = rest.find('/');
  return std::string(slash == none ? std::string_view() : rest.substr(0, slash));
}

struct media_type {
  const char *extension;
  const char *type;
};

constexpr media_type media_types[] = {
    {"html", "text/html"},
    {"css", "text/css"},
    {"js", "text/javascript"},
    {"svg", "image/svg+xml"},
};
constexpr const char *default_media_type = media_types[0].type;

}  // namespace

void cv_setup_setbundle(const char *path) {
  bundle_path() = path == nullptr ? "" : path;
}

xp_obj *cv_setup_oslocalfile(xp_obj *url) {
  const std::string_view text = text_of(url);
  if (text.empty() || bundle_path().empty()) return nullptr;
  const component last = last_component(text);
  if (last.begin == last.end) return nullptr;
  return cv_setup_read_below(bundle_path(), folder_name(text), file_name(text)).leak();
}

xp_obj *cv_setup_mediatype(xp_obj *url) {
  const std::string_view text = text_of(url);
  const component last = last_component(text);
  if (last.dot == none) return xp_str_const(default_media_type);
  const std::string_view extension = text.substr(last.dot + 1, last.end - last.dot - 1);
  for (const media_type &row : media_types)
    if (xp_str_txticmpq(extension.data(), static_cast<int64_t>(extension.size()), row.extension, -1) == 0)
      return xp_str_const(row.type);
  return nullptr;
}

void cv_setup_answer_resource(xp_obj *event) {
  const xp::ref url = cv_setup_string(event, "url");
  const xp::ref response = xp::ref::adopt(cv_setup_oslocalfile(url.get()));
  const xp::ref type = xp::ref::adopt(cv_setup_mediatype(url.get()));
  xp_dict_store(event, "response", -1, response.get());
  xp_dict_store(event, "mimetype", -1, type.get());
}
