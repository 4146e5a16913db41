#include "xp/plist/writer.h"

#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/format/engine.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/byte_scan.h"
#include "xp/service/base64.h"
#include "xp/service/data.h"
#include "xp/string/string.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

using xp::text_sink;

constexpr int64_t max_tabs = 64;

// What stays the same while a tree is written.
struct job {
  text_sink &out;
  const xp_plist_style &style;
  bool nulls;    // keys with null values are written
  bool indents;  // tabs before items, a line break before closing brackets
};

// An open container on the way down.
struct level {
  const job &work;
  int64_t depth;
  bool first = true;
};

void write_value(const job &work, int64_t depth, xp_obj *obj);

void write_tabs(const job &work, int64_t count) {
  static constexpr auto tabs = [] {
    std::array<char, max_tabs> bytes{};
    bytes.fill('\t');
    return bytes;
  }();
  if (work.indents) work.out.put({tabs.data(), static_cast<size_t>(std::clamp<int64_t>(count, 0, max_tabs))});
}

void begin_item(level &at, std::string_view lead, std::string_view separator) {
  at.work.out.put_mark(at.first ? lead : separator);
  at.first = false;
  write_tabs(at.work, at.depth + 1);
}

void end_items(const level &at) {
  if (at.work.indents) at.work.out.put('\n');
  write_tabs(at.work, at.depth);
}

int64_t write_entry(xp_obj *, const char *key, int64_t keylen, xp_obj *value, void *context) {
  level &at = *static_cast<level *>(context);
  const job &work = at.work;
  if (value == nullptr && !work.nulls) return 0;
  const xp_plist_around &around = at.depth == 0 ? work.style.top_key : work.style.key;
  begin_item(at, work.style.object_lead, work.style.object_separator);
  work.out.put_mark(around.before);
  work.out.put({key, static_cast<size_t>(keylen)});
  work.out.put_mark(around.after);
  write_value(work, at.depth + 1, value);
  return 0;
}

void write_dict(const job &work, int64_t depth, xp_obj *dict) {
  const xp_plist_around &around = depth == 0 ? work.style.top_object : work.style.object;
  level at{.work = work, .depth = depth};
  work.out.put_mark(around.before);
  if (xp_dict_enumsorted(dict, write_entry, &at) != 0) work.out.fail();
  end_items(at);
  work.out.put_mark(around.after);
}

int64_t write_element(xp_obj *, int64_t, xp_obj *value, void *context) {
  level &at = *static_cast<level *>(context);
  begin_item(at, at.work.style.array_lead, at.work.style.array_separator);
  write_value(at.work, at.depth + 1, value);
  return 0;
}

void write_array(const job &work, int64_t depth, xp_obj *array) {
  level at{.work = work, .depth = depth};
  work.out.put_mark(work.style.array.before);
  xp_array_enum(array, write_element, &at);
  end_items(at);
  work.out.put_mark(work.style.array.after);
}

// A string's text passes through the format engine's string stage ("~"), which also replaces what is not
// UTF-8: no text can end its own quotes. What comes before the first byte that the stage looks at is copied
// at once.
void write_string(const job &work, const xp_plist_around &around, xp_obj *string) {
  const char *text = xp_str_getptr(string);
  const char *end = text + xp_str_length(string);
  const char *rest = xp::scan(text, end, xp::not_plain);
  work.out.put_mark(around.before);
  work.out.put({text, static_cast<size_t>(rest - text)});
  if (rest < end) {
    xpf_sink stage(text_sink::write, &work.out);
    xpf_escape(stage, XPF_LITERAL, rest, end - rest);
    stage.finish();
  }
  work.out.put_mark(around.after);
}

void write_text_of(const job &work, const xp_plist_around &around, xp_obj *obj) {
  const xp::ref string = xp::ref::adopt(xp_str_coerce(obj));
  if (!string) work.out.fail();
  write_string(work, around, string.get());
}

// Deliberate: no text of JSON stands for infinity or NaN; a style with a text for null takes that one, so
// that the whole stays readable.
void write_number(const job &work, xp_obj *number) {
  const bool real = xp_number_isfloat(number) != 0;
  if (real && !std::isfinite(xp_number_float(number)) && work.style.null.data() != nullptr) {
    return work.out.put(work.style.null);
  }
  std::array<char, 40> text;
  const int64_t length = xp_num_textify(number, text.data(), std::ssize(text));
  const xp_plist_around &around = real ? work.style.real : work.style.integer;
  work.out.put_mark(around.before);
  work.out.put({text.data(), static_cast<size_t>(length)});
  work.out.put_mark(around.after);
}

void write_boolean(const job &work, xp_obj *boolean) {
  work.out.put_mark(work.style.boolean.before);
  work.out.put(xp_value(boolean) != 0 ? "true" : "false");
  work.out.put_mark(work.style.boolean.after);
}

void write_data(const job &work, xp_obj *data) {
  constexpr int64_t piece = 192;
  std::array<char, piece / 3 * 4> text;
  const char *bytes = static_cast<const char *>(xp_data_getptr(data));
  const int64_t length = xp_data_length(data);
  work.out.put_mark(work.style.data.before);
  for (int64_t at = 0; at < length; at += piece) {
    const int64_t size =
        xp_b64_encode(bytes + at, std::min(piece, length - at), 0, text.data(), std::ssize(text));
    work.out.put({text.data(), static_cast<size_t>(size)});
  }
  work.out.put_mark(work.style.data.after);
}

// A date's own text is its UTC date and time with a "Z" at the end; here milliseconds stand before that. The
// format engine's time conversions do not serve: they take 0 for the present.
void write_date(const job &work, xp_obj *date) {
  std::array<char, 64> text{};
  const int64_t length = xp_textify(date, text.data(), std::ssize(text));
  std::string_view utc(text.data(), static_cast<size_t>(length));
  if (utc.ends_with('Z')) utc.remove_suffix(1);
  work.out.put_mark(work.style.date.before);
  work.out.put(utc);
  work.out.put(".000Z");
  work.out.put_mark(work.style.date.after);
}

bool is_stream(uint32_t type) {
  return (type & 0xFFFFFF) == xp_code("stm");
}

void write_value(const job &work, int64_t depth, xp_obj *obj) {
  const uint32_t type = xp_type(obj);
  switch (type) {
    case xp_code("xstr"): return write_string(work, work.style.string, obj);
    case xp_code("xnum"): return write_number(work, obj);
    case xp_code("bool"): return write_boolean(work, obj);
    case xp_code("dict"): return write_dict(work, depth, obj);
    case xp_code("arry"): return write_array(work, depth, obj);
    case xp_code("data"): return write_data(work, obj);
    case xp_code("xdat"): return write_date(work, obj);
    case xp_code("xurl"): return write_text_of(work, work.style.url, obj);
    default: break;
  }
  if (obj == nullptr || is_stream(type)) return work.out.put(work.style.null);
  write_text_of(work, work.style.string, obj);
}

}  // namespace

namespace xp {

void write_node(text_sink &out, const xp_plist_style &style, uint32_t flags, int64_t depth, xp_obj *obj) {
  const job work{.out = out,
                 .style = style,
                 .nulls = (flags & XP_PLIST_NULLS) != 0 && style.null.data() != nullptr,
                 .indents = (style.flags & (XP_STYLE_LINES | XP_STYLE_FLAT)) == XP_STYLE_LINES};
  write_value(work, depth, obj);
}

void write_document(text_sink &out, const xp_plist_style &style, uint32_t flags, xp_obj *root) {
  out.put(style.document.before);
  write_node(out, style, flags, 0, root);
  out.put(style.document.after);
}

}  // namespace xp

int64_t xp_plist_itextify(xp_obj *obj, const xp_plist_style *style, uint32_t flags, int64_t depth,
                          char *buffer, int64_t capacity) {
  if (style == nullptr) return 0;
  if (buffer == nullptr) {
    xp::measuring_sink sink;
    xp::write_node(sink, *style, flags, depth, obj);
    return sink.length();
  }
  xp::buffer_sink sink(buffer, capacity);
  xp::write_node(sink, *style, flags, depth, obj);
  return sink.length();
}

int64_t xp_plist_istream(xp_obj *obj, const xp_plist_style *style, uint32_t flags, int64_t depth,
                         xp_writer writer, void *context) {
  if (style == nullptr || writer == nullptr) return 0;
  xp::stream_sink sink(writer, context);
  xp::write_node(sink, *style, flags, depth, obj);
  return sink.finish();
}
