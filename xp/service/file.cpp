#include "xp/service/file.h"

#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/service/joined_text.h"
#include "xp/service/traversal.h"
#include "xp/service/url.h"
#include "xp/service/url_percent.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <sys/stat.h>

#include <algorithm>
#include <string_view>

namespace {

// The path stands behind the struct, zero-terminated.
struct file : xp_obj {
  static constexpr uint32_t code = xp_code("\\:*/");
  int64_t length;

  char *text() { return reinterpret_cast<char *>(this + 1); }
  std::string_view path() { return {text(), static_cast<size_t>(length)}; }
};

std::string_view path_of(xp_obj *f) {
  auto *self = xp::as<file>(f);
  return self == nullptr ? std::string_view() : self->path();
}

int64_t compare(xp_obj *a, xp_obj *b) {
  return path_of(a).compare(path_of(b));
}

int64_t textify(xp_obj *obj, char *buffer, int64_t capacity) {
  std::string_view path = path_of(obj);
  auto length = static_cast<int64_t>(path.size());
  if (buffer == nullptr) return length;
  length = std::clamp<int64_t>(capacity, 0, length);
  xp_memcpy(buffer, path.data(), static_cast<size_t>(length));
  return length;
}

int64_t bytes(file *f, int64_t argument, void *length) {
  if (argument != 0 || length == nullptr || f->length > UINT32_MAX) return 0;
  *static_cast<uint32_t *>(length) = static_cast<uint32_t>(f->length);
  return xp::result(f->text());
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void *pointer) {
  auto *f = xp::as<file>(obj);
  if (f == nullptr) return 0;
  switch (code) {
    case XP_CTL_POINTER: return bytes(f, argument, pointer);
    // Deliberate: a file can be walked but does not count as a container, or writers of trees would write a
    // folder's files in the place of its name.
    case XP_CTL_TRAVERSE:
      return argument == XP_TRAV_MAKE ? xp::result(reinterpret_cast<const void *>(xp_file_travnew)) : 0;
    default: return 0;
  }
}

constexpr xp::ops file_ops = {.retain = xp_obj_retain,
                              .release = xp_obj_release,
                              .compare = compare,
                              .textify = textify,
                              .control = control};

// Writes the path as this module keeps it, which is never longer, and returns its length.
int64_t tidy(std::string_view path, char *to) {
  char *at = to;
  if (path.starts_with('/')) *at++ = '/';
  while (!path.empty()) {
    std::string_view step = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(step.size() + 1, path.size()));
    if (step.empty() || step == ".") continue;
    if (at > to && at[-1] != '/') *at++ = '/';
    at = std::copy(step.begin(), step.end(), at);
  }
  if (at == to) *at++ = '.';
  return at - to;
}

xp_obj *xpf_new(std::string_view path) {
  if (path.empty() || path.find('\0') != std::string_view::npos) return nullptr;
  auto *f = xp::make<file>(file_ops, path.size() + 1);
  if (f == nullptr) return nullptr;
  f->length = tidy(path, f->text());
  return f;
}

// A file of a string's text, whose reference it takes over.
xp_obj *of_string(xp_obj *string) {
  xp::ref path = xp::ref::adopt(string);
  return xpf_new(xp::view(path.get()));
}

// The last step of a path; the whole of it when there is no slash or nothing behind it.
std::string_view last_step(std::string_view path) {
  size_t slash = path.rfind('/');
  return slash == std::string_view::npos || path.size() == 1 ? path : path.substr(slash + 1);
}

bool is_plain_name(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

// The path of a URL in which no coded byte becomes a slash.
xp_obj *decoded_path(std::string_view path) {
  if (path.find("%2F") != std::string_view::npos || path.find("%2f") != std::string_view::npos)
    return nullptr;
  return of_string(xp_url_decode(path.data(), static_cast<int64_t>(path.size()), 0));
}

bool is_here(std::string_view host) {
  return host.empty() ||
         xp_str_txticmpq(host.data(), static_cast<int64_t>(host.size()), "localhost", -1) == 0;
}

}  // namespace

uint32_t xp_file_type() {
  return file::code;
}

xp_obj *xp_file_new(const char *path, int64_t length) {
  return xpf_new({path, static_cast<size_t>(xp_str_txtlen(path, length))});
}

xp_obj *xp_file_cfnew(xp_obj *url) {
  xp::ref u = xp::ref::adopt(xp_url_coerce(url));
  const xp_url_parts *parts = xp_url_getparts(u.get());
  if (parts == nullptr || !parts->path.starts_with('/') || !is_here(parts->host)) return nullptr;
  bool is_file =
      xp_str_txticmpq(parts->scheme.data(), static_cast<int64_t>(parts->scheme.size()), "file", -1) == 0;
  return is_file ? decoded_path(parts->path) : nullptr;
}

xp_obj *xp_file_coerce(xp_obj *obj) {
  if (xp_type(obj) == file::code) return xp_retain(obj);
  if (xp_type(obj) == xp_url_type() || xp_str_starts(obj, "file:", -1, 0) != 0) return xp_file_cfnew(obj);
  return xp_type(obj) == xp_str_type() ? xpf_new(xp::view(obj)) : nullptr;
}

xp_obj *xp_file_root() {
  return xpf_new("/");
}

xp_obj *xp_file_drive(xp_obj *f) {
  return xp::as<file>(f) == nullptr ? nullptr : xp_file_root();
}

// --- Names ---

xp_obj *xp_file_child(xp_obj *f, const char *name, int64_t length) {
  std::string_view plain(name, static_cast<size_t>(xp_str_txtlen(name, length)));
  std::string_view path = path_of(f);
  if (path.empty() || !is_plain_name(plain)) return nullptr;
  return of_string(xp::join_text({path, "/", plain}));
}

xp_obj *xp_file_parent(xp_obj *f) {
  std::string_view path = path_of(f);
  if (path.empty() || path == "/") return nullptr;
  std::string_view last = last_step(path);
  if (last == ".") return xpf_new("..");
  if (last == "..") return of_string(xp::join_text({path, "/.."}));
  std::string_view folder = path.substr(0, path.size() - last.size());
  return xpf_new(folder.empty() ? "." : folder);
}

xp_obj *xp_file_name(xp_obj *f) {
  std::string_view path = path_of(f);
  return path.empty() ? nullptr : xp::join_text({last_step(path)});
}

xp_obj *xp_file_path(xp_obj *f) {
  std::string_view path = path_of(f);
  return path.empty() ? nullptr : xp::join_text({path});
}

xp_obj *xp_file_url(xp_obj *f) {
  std::string_view path = path_of(f);
  if (!path.starts_with('/')) return nullptr;
  xp::ref coded = xp::ref::adopt(xp_url_encode(path.data(), static_cast<int64_t>(path.size()), XP_URL_PATH));
  if (!coded) return nullptr;
  xp_url_parts parts{.scheme = "file", .host = "", .path = xp::view(coded.get())};
  return xp_url_make(&parts);
}

const char *xp_file_getptr(xp_obj *f) {
  auto *self = xp::as<file>(f);
  return self == nullptr ? nullptr : self->text();
}

// --- Asking ---

int32_t xp_file_exists(xp_obj *f) {
  struct stat status;
  const char *path = xp_file_getptr(f);
  return path != nullptr && stat(path, &status) == 0 ? 1 : 0;
}

int32_t xp_file_isdir(xp_obj *f) {
  struct stat status;
  const char *path = xp_file_getptr(f);
  return path != nullptr && stat(path, &status) == 0 && S_ISDIR(status.st_mode) ? 1 : 0;
}
