#include "xp/object/ref.h"
#include "xp/service/joined_text.h"
#include "xp/service/url.h"
#include "xp/service/url_buffer.h"
#include "xp/service/url_chars.h"

namespace {

using buffer = xp::url_buffer;

// Takes away the last "/" and what follows it; everything when there is none.
void drop_step(buffer &out) {
  size_t slash = out.text().rfind('/');
  out.cut(slash == std::string_view::npos ? 0 : slash);
}

// Writes a path without its "." and ".." steps (RFC 3986, 5.2.4).
void remove_dots(std::string_view path, buffer &out) {
  while (!path.empty()) {
    if (path.starts_with("../")) {
      path.remove_prefix(3);
    } else if (path.starts_with("./") || path.starts_with("/./")) {
      path.remove_prefix(2);
    } else if (path.starts_with("/../")) {
      path.remove_prefix(3);
      drop_step(out);
    } else if (path == "/.") {
      path = "/";
    } else if (path == "/..") {
      path = "/";
      drop_step(out);
    } else if (path == "." || path == "..") {
      path = {};
    } else {
      std::string_view step = path.substr(0, path.find('/', 1));
      out.add(step);
      path.remove_prefix(step.size());
    }
  }
}

// The path's place without a host: one that begins with "//" would read as a host.
xp_obj *make(xp_url_parts parts, buffer &path) {
  if (parts.host.data() != nullptr || !path.text().starts_with("//")) {
    parts.path = path.text();
    return xp_url_make(&parts);
  }
  xp::ref guarded = xp::ref::adopt(xp::join_text({"/.", path.text()}));
  parts.path = xp::view(guarded.get());
  return xp_url_make(&parts);
}

// The path of a reference behind the last "/" of the base's.
void merge(const xp_url_parts &base, std::string_view path, buffer &out) {
  if (base.host.data() != nullptr && base.path.empty()) {
    out.add('/');
  } else {
    out.add(base.path.substr(0, base.path.rfind('/') + 1));
  }
  out.add(path);
}

// The reference's authority and path on the base (RFC 3986, 5.2.2), the path yet with its dots.
void transfer(const xp_url_parts &base, const xp_url_parts &reference, xp_url_parts &target, buffer &path) {
  if (reference.scheme.data() != nullptr || reference.host.data() != nullptr) {
    path.add(reference.path);
  } else {
    target.user = base.user;
    target.host = base.host;
    target.port = base.port;
    if (reference.path.empty()) {
      path.add(base.path);
      if (reference.query.data() == nullptr) target.query = base.query;
    } else if (reference.path.starts_with('/')) {
      path.add(reference.path);
    } else {
      merge(base, reference.path, path);
    }
  }
  if (reference.scheme.data() == nullptr) target.scheme = base.scheme;
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

// A part with its coded bytes in the normal form; plain bytes in lower case if wanted. The result is never
// longer.
std::string_view normal_part(std::string_view part, bool lower_case, buffer &out) {
  if (part.data() == nullptr) return part;
  size_t start = out.text().size();
  for (size_t i = 0; i < part.size(); ++i) {
    int byte = xp::coded_byte(part.substr(i));
    char plain = byte >= 0 ? static_cast<char>(byte) : part[i];
    if (byte >= 0) i += 2;
    if (byte < 0 || xp::stands(plain, XP_URL_UNRESERVED)) {
      out.add(lower_case ? lower(plain) : plain);
    } else {
      out.add('%');
      out.add(xp::upper_hex[byte >> 4]);
      out.add(xp::upper_hex[byte & 15]);
    }
  }
  return out.text().substr(start);
}

}  // namespace

xp_obj *xp_url_resolve(xp_obj *base, xp_obj *reference) {
  const xp_url_parts *b = xp_url_getparts(base);
  const xp_url_parts *r = xp_url_getparts(reference);
  if (b == nullptr || r == nullptr || b->scheme.data() == nullptr) return nullptr;
  size_t longest = b->path.size() + r->path.size() + 1;
  buffer dotted(longest);
  buffer path(longest);
  if (!dotted || !path) return nullptr;
  xp_url_parts target = *r;
  transfer(*b, *r, target, dotted);
  if (r->path.empty()) {
    path.add(dotted.text());
  } else {
    remove_dots(dotted.text(), path);
  }
  return make(target, path);
}

xp_obj *xp_url_normal(xp_obj *u) {
  const xp_url_parts *from = xp_url_getparts(u);
  if (from == nullptr) return nullptr;
  xp::ref text = xp::ref::adopt(xp_url_string(u));
  buffer parts(xp::view(text.get()).size());
  buffer path(from->path.size());
  if (!parts || !path) return nullptr;
  xp_url_parts to{.scheme = normal_part(from->scheme, true, parts),
                  .user = normal_part(from->user, false, parts),
                  .host = normal_part(from->host, true, parts),
                  .port = from->port,
                  .path = normal_part(from->path, false, parts),
                  .query = normal_part(from->query, false, parts),
                  .fragment = normal_part(from->fragment, false, parts)};
  if (to.scheme.data() == nullptr) return xp_url_make(&to);
  remove_dots(to.path, path);
  return make(to, path);
}
