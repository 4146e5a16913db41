#include "xp/format/format.h"

#include "xp/format/engine.h"

#include <stdarg.h>

namespace {

// `arguments` is a va_list or both lists.
template <typename Arguments>
int64_t print_into(char *buffer, int64_t size, const char *format, Arguments &arguments) {
  if (buffer == nullptr) {
    xpf_sink counter;
    xpf_print(counter, format, arguments);
    return counter.finish();
  }
  if (size < 1) return 0;
  xpf_sink out(buffer, size);
  xpf_print(out, format, arguments);
  return out.finish();
}

}  // namespace

int64_t xp_fmt_vformat(char *buffer, int64_t size, const char *format, va_list arguments) {
  return print_into(buffer, size, format, arguments);
}

int64_t xp_fmt_format(char *buffer, int64_t size, const char *format, ...) {
  xpf_lists lists;
  va_start(lists.first, format);
  va_start(lists.next, format);
  int64_t result = print_into(buffer, size, format, lists);
  va_end(lists.next);
  va_end(lists.first);
  return result;
}

int64_t xp_fmt_append(char *buffer, int64_t size, int64_t position, const char *format, ...) {
  if (position < 0) position = 0;
  if (buffer != nullptr && position >= size) return size > 0 ? size - 1 : 0;
  va_list arguments;
  va_start(arguments, format);
  int64_t written = buffer == nullptr ? xp_fmt_vformat(nullptr, 0, format, arguments)
                                      : xp_fmt_vformat(buffer + position, size - position, format, arguments);
  va_end(arguments);
  return position + written;
}

int64_t xp_fmt_vstream(xp_writer writer, void *context, const char *format, va_list arguments) {
  if (writer == nullptr) return 0;
  xpf_sink out(writer, context);
  xpf_print(out, format, arguments);
  return out.finish();
}

int64_t xp_fmt_stream(xp_writer writer, void *context, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int64_t result = xp_fmt_vstream(writer, context, format, arguments);
  va_end(arguments);
  return result;
}
