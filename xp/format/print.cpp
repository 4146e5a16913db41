// What each kind of directive prints, and the walk over the format.

#include "xp/format/directive.h"
#include "xp/format/engine.h"
#include "xp/format/quick.h"
#include "xp/format/wide.h"
#include "xp/object/memory.h"
#include "xp/object/type.h"
#include "xp/string/utf8.h"

#include <stdarg.h>
#include <string.h>

#include <algorithm>

namespace {

// Counted or, with a length below 0, zero-terminated text, cut at the precision.
void print_text(xpf_sink &out, const xpf_directive &directive, const char *text, int64_t length) {
  if (text == nullptr) {
    length = 0;
  } else if (length >= 0) {
    if (directive.precision >= 0) length = xps_cut(text, length, directive.precision);
  } else if (directive.precision < 0) {
    length = static_cast<int64_t>(strlen(text));
  } else {
    // A text that the precision limits need not have a zero byte behind it: nothing there may be looked at.
    length = static_cast<int64_t>(strnlen(text, static_cast<size_t>(directive.precision)));
    if (length == directive.precision) length = xps_whole(text, length);
  }
  xpfs_str(out, directive, text, length);
}

void print_any_text(xpf_sink &out, const xpf_directive &directive, const void *text, int64_t length) {
  if (directive.has(XPF_LONG)) {
    xpfs_wstr(out, directive, text, length);
  } else {
    print_text(out, directive, static_cast<const char *>(text), length);
  }
}

void print_character(xpf_sink &out, const xpf_directive &directive, int64_t value) {
  if (directive.has(XPF_LONG)) {
    auto unit = static_cast<char16_t>(value);
    xpfs_wstr(out, directive, &unit, unit != 0 ? 1 : 0);
  } else {
    auto byte = static_cast<char>(value);
    xpfs_str(out, directive, &byte, byte != 0 ? 1 : 0);
  }
}

// Zero bytes of a short code print nothing.
void print_code(xpf_sink &out, const xpf_directive &directive, int64_t value) {
  char text[4];
  int64_t length = 0;
  for (int i = 0; i < 4; ++i) {
    auto c = static_cast<char>(value >> (8 * i));
    if (c != 0) text[length++] = c;
  }
  xpfs_str(out, directive, text, length);
}

void print_prefixed(xpf_sink &out, const xpf_directive &directive, const char *text) {
  if (text == nullptr) {
    print_text(out, directive, nullptr, 0);
  } else {
    print_text(out, directive, text + 1, static_cast<unsigned char>(text[0]));
  }
}

int64_t write_to_sink(void *context, const char *bytes, int64_t length) {
  auto *out = static_cast<xpf_sink *>(context);
  out->text(bytes, length);
  return out->stopped() ? -1 : length;
}

// The text that the object writes, by a temporary copy.
void print_copied_text(xpf_sink &out, const xpf_directive &directive, xp_obj *obj) {
  char stack[256];
  int64_t room = std::max<int64_t>(xp_textify(obj, nullptr, 0), 0);
  auto *copy = static_cast<char *>(xp_alloc_fast(static_cast<size_t>(room), 0, stack, sizeof stack));
  int64_t written = copy != nullptr ? xp_textify(obj, copy, room) : 0;
  print_text(out, directive, copy, std::max<int64_t>(written, 0));
  xp_free_fast(copy, stack);
}

// The bytes that the object points to, or its text when it has no pointer to give.
void print_object_text(xpf_sink &out, const xpf_directive &directive, xp_obj *obj) {
  uint32_t length = 0;
  if (int64_t own = xp_control(obj, XP_CTL_POINTER, 0, &length)) {
    print_text(out, directive, xp::result_pointer<const char>(own), length);
  } else {
    print_copied_text(out, directive, obj);
  }
}

void print_object(xpf_sink &out, xpf_directive directive, xp_obj *obj) {
  if (obj == nullptr) {
    // The parameter stands for an object that is missing.
    print_text(out, directive, directive.parameter, directive.parameter_length);
  } else if (directive.has(XPF_LEFT | XPF_ESCAPES)) {
    print_object_text(out, directive, obj);
  } else {
    // Deliberate: an object without escapes is written as it is, so a case flag alone does nothing. With the
    // case applied, texts that formats have printed with the object's own spelling would change.
    directive.flags &= ~static_cast<uint32_t>(XPF_UPPER | XPF_LOWER);
    if (directive.width > 0 || directive.precision >= 0) {
      print_copied_text(out, directive, obj);
    } else {
      xp_stream(obj, write_to_sink, &out);
    }
  }
}

}  // namespace

void xpfs_wstr(xpf_sink &out, const xpf_directive &directive, const void *units, int64_t length) {
  char buffer[512];
  xpf_wide_text wide(static_cast<const char16_t *>(units), length, directive.precision, buffer,
                     sizeof buffer);
  print_text(out, directive, wide.text(), wide.length());
}

void xpf_print_value(xpf_sink &out, const xpf_directive &directive, const xpf_value &value) {
  switch (directive.kind) {
    case xpf_kind::percent:
    case xpf_kind::unknown:
    case xpf_kind::unknown_real: out.text(&directive.conversion, 1); break;
    case xpf_kind::signed_integer:
    case xpf_kind::unsigned_integer: xpf_integer(out, directive, value.number); break;
    case xpf_kind::pointer: xpf_pointer(out, directive, value.pointer); break;
    case xpf_kind::character: print_character(out, directive, value.number); break;
    case xpf_kind::text: print_any_text(out, directive, value.pointer, -1); break;
    case xpf_kind::counted:
      print_any_text(out, directive, value.pointer, std::max<int64_t>(value.number, 0));
      break;
    case xpf_kind::prefixed: print_prefixed(out, directive, static_cast<const char *>(value.pointer)); break;
    case xpf_kind::code: print_code(out, directive, value.number); break;
    case xpf_kind::object:
      print_object(out, directive, static_cast<xp_obj *>(const_cast<void *>(value.pointer)));
      break;
    case xpf_kind::real: xpf_real(out, directive, value.real); break;
    case xpf_kind::dump:
    case xpf_kind::long_dump: xpfs_hexify(out, directive, value.pointer, value.number); break;
    case xpf_kind::base64: xpf_base64(out, directive, value.pointer, value.number); break;
    case xpf_kind::uuid: xpf_uuid(out, directive, value.pointer); break;
    case xpf_kind::local_time:
    case xpf_kind::utc_time: xpf_time(out, directive, value.number); break;
  }
}

void xpf_print(xpf_sink &out, const char *format, va_list arguments) {
  xpf_lists lists;
  va_copy(lists.first, arguments);
  va_copy(lists.next, arguments);
  xpf_print(out, format, lists);
  va_end(lists.next);
  va_end(lists.first);
}

void xpf_print(xpf_sink &out, const char *format, xpf_lists &lists) {
  if (format == nullptr) return;
  xpf_arguments arguments(format, lists);
  while (!out.stopped()) {
    format = xpf_run(out, format);
    if (*format == 0) return;
    ++format;
    if (const char *behind = xpf_quick(out, format, arguments)) {
      format = behind;
      continue;
    }
    xpf_directive directive;
    format = xpf_parse(format, arguments, directive);
    if (directive.conversion == 0) return;
    xpf_print_value(out, directive, xpf_take(directive, arguments));
  }
}
