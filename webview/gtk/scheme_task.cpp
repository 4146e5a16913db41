#include "webview/gtk/scheme_task.h"

#include <libsoup/soup.h>

#include <array>

namespace {

std::string text(const char *value) {
  return value != nullptr ? value : "";
}

// The stream is memory that the engine holds already, so reading it does not wait.
std::string read_all(GInputStream *stream) {
  std::string bytes;
  std::array<char, 16384> part{};
  for (;;) {
    const gssize count = g_input_stream_read(stream, part.data(), part.size(), nullptr, nullptr);
    if (count <= 0) return bytes;
    bytes.append(part.data(), static_cast<size_t>(count));
  }
}

}  // namespace

xp_engine_task xp_gtk_scheme_task(WebKitURISchemeRequest *request) {
  xp_engine_task task{.url = text(webkit_uri_scheme_request_get_uri(request)),
                      .method = text(webkit_uri_scheme_request_get_http_method(request)),
                      .body = {}};
  g_autoptr(GInputStream) stream = webkit_uri_scheme_request_get_http_body(request);
  if (stream != nullptr) task.body = read_all(stream);
  return task;
}

xp_gtk_scheme_reply::~xp_gtk_scheme_reply() {
  if (!answered_) fail(xp_engine_url_errors, XP_URL_ERROR_UNAVAILABLE);
}

void xp_gtk_scheme_reply::respond(int status, std::string_view mime_type,
                                  const std::vector<std::pair<std::string, std::string>> &headers,
                                  std::string_view bytes) {
  answered_ = true;
  g_autoptr(GBytes) copy = g_bytes_new(bytes.data(), bytes.size());
  g_autoptr(GInputStream) stream = g_memory_input_stream_new_from_bytes(copy);
  g_autoptr(WebKitURISchemeResponse) response =
      webkit_uri_scheme_response_new(stream, static_cast<gint64>(bytes.size()));
  webkit_uri_scheme_response_set_status(response, static_cast<guint>(status), nullptr);
  webkit_uri_scheme_response_set_content_type(response, std::string(mime_type).c_str());
  SoupMessageHeaders *fields = soup_message_headers_new(SOUP_MESSAGE_HEADERS_RESPONSE);
  for (const auto &[name, value] : headers)
    soup_message_headers_replace(fields, name.c_str(), value.c_str());
  webkit_uri_scheme_response_set_http_headers(response, fields);
  webkit_uri_scheme_request_finish_with_response(request_, response);
}

void xp_gtk_scheme_reply::fail(std::string_view domain, int64_t code) {
  answered_ = true;
  g_autoptr(GError) error = g_error_new_literal(g_quark_from_string(std::string(domain).c_str()),
                                                static_cast<gint>(code), "The resource cannot be loaded.");
  webkit_uri_scheme_request_finish_error(request_, error);
}
