#include "xp/format/value_text.h"

#include "xp/format/engine.h"
#include "xp/format/format.h"
#include "xp/format/into_buffer.h"
#include "xp/object/number_text.h"

#include <arpa/inet.h>
#include <string.h>

namespace {

int64_t write_time(char *buffer, int64_t size, int64_t seconds, const char *pattern, xpf_kind kind) {
  xpf_directive directive;
  directive.kind = kind;
  directive.parameter = pattern;
  if (pattern != nullptr) {
    directive.parameter_length = static_cast<int64_t>(strlen(pattern));
  } else {
    directive.flags = XPF_PLUS;
  }
  return xpf_into_buffer(buffer, size, [&](xpf_sink &out) { xpf_time(out, directive, seconds); });
}

}  // namespace

int64_t xp_fmt_long(char *buffer, int64_t size, int32_t value) {
  return xp_fmt_format(buffer, size, "%d", value);
}

int64_t xp_fmt_quad(char *buffer, int64_t size, int64_t value) {
  if (value >= 0) return xp_fmt_format(buffer, size, "%ld", value);
  return xp_fmt_format(buffer, size, "-%lu", 0 - static_cast<uint64_t>(value));
}

int64_t xp_fmt_ulong(char *buffer, int64_t size, uint32_t value) {
  return xp_fmt_format(buffer, size, "%u", value);
}

int64_t xp_fmt_uquad(char *buffer, int64_t size, uint64_t value) {
  return xp_fmt_format(buffer, size, "%lu", value);
}

int64_t xp_fmt_xlong(char *buffer, int64_t size, uint32_t value) {
  return xp_fmt_format(buffer, size, "%x", value);
}

int64_t xp_fmt_xquad(char *buffer, int64_t size, uint64_t value) {
  return xp_fmt_format(buffer, size, "%lx", value);
}

int64_t xp_fmt_hexlong(char *buffer, int64_t size, uint32_t value) {
  return xp_fmt_format(buffer, size, "%08X", value);
}

int64_t xp_fmt_hexquad(char *buffer, int64_t size, uint64_t value) {
  return xp_fmt_format(buffer, size, "%016lX", value);
}

int64_t xp_fmt_double(char *buffer, int64_t size, double value) {
  char text[xp::number_text_size];
  return xp_fmt_text(buffer, size, text, xp::number_write(text, value));
}

int64_t xp_fmt_data(char *buffer, int64_t size, const void *bytes, int64_t length) {
  xpf_directive directive;
  directive.form = 'H';
  return xpf_into_buffer(buffer, size, [&](xpf_sink &out) { xpfs_hexify(out, directive, bytes, length); });
}

int64_t xp_fmt_uuid(char *buffer, int64_t size, const void *bytes) {
  return xp_fmt_format(buffer, size, "%p{U}", bytes);
}

int64_t xp_fmt_addr(char *buffer, int64_t size, const void *address, int64_t length) {
  char text[INET6_ADDRSTRLEN] = "";
  if (address != nullptr && (length == 4 || length == 16)) {
    inet_ntop(length == 4 ? AF_INET : AF_INET6, address, text, sizeof text);
  }
  return xp_fmt_text(buffer, size, text, -1);
}

int64_t xp_fmt_utctime(char *buffer, int64_t size, int64_t seconds, const char *pattern) {
  return write_time(buffer, size, seconds, pattern, xpf_kind::utc_time);
}

int64_t xp_fmt_localtime(char *buffer, int64_t size, int64_t seconds, const char *pattern) {
  return write_time(buffer, size, seconds, pattern, xpf_kind::local_time);
}
