#include "xp/plist/writer.h"

#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/writer_text.h"
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
  uint32_t flags;
  bool nulls;        // keys with null values are written
  bool indents;      // tabs before items, a line break before closing brackets
  int64_t bare_top;  // 1 for a style without brackets at the top, whose items are indented one tab less
  int32_t left = XP_PLIST_DEEPEST;  // levels of containers that may still open
};

// An open container on the way down.
struct level {
  job &work;
  int64_t depth;
  bool bare = false;  // has no brackets
  bool first = true;
};

void write_value(job &work, int64_t depth, xp_obj *obj);

void write_tabs(const job &work, int64_t count) {
  static constexpr auto tabs = [] {
    std::array<char, max_tabs> bytes{};
    bytes.fill('\t');
    return bytes;
  }();
  if (work.indents) work.out.put({tabs.data(), static_cast<size_t>(std::clamp<int64_t>(count, 0, max_tabs))});
}

void begin_item(level &at, std::string_view lead, std::string_view separator) {
  if (!at.first || !at.bare) at.work.out.put_mark(at.first ? lead : separator);
  at.first = false;
  write_tabs(at.work, at.depth + 1 - at.work.bare_top);
}

void end_items(const level &at) {
  if (at.bare) return;
  if (at.work.indents) at.work.out.put('\n');
  write_tabs(at.work, at.depth - at.work.bare_top);
}

// The text of a string, or of what is written like one.
void write_text(const job &work, std::string_view text) {
  switch (work.style.escape) {
    case xp_plist_escape::literal: return xp::write_literal(work.out, text);
    case xp_plist_escape::percent: return xp::write_percent(work.out, text);
    case xp_plist_escape::quotes: return xp::write_quotes(work.out, work.style, text);
    case xp_plist_escape::markup: return xp::write_markup(work.out, work.style, text);
  }
}

void write_key(const job &work, std::string_view key) {
  switch (work.style.escape) {
    case xp_plist_escape::literal: return work.out.put(key);
    case xp_plist_escape::percent: return xp::write_percent(work.out, key);
    case xp_plist_escape::quotes: return xp::write_quotes(work.out, work.style, key);
    case xp_plist_escape::markup: return xp::write_entities(work.out, key);
  }
}

// The text of a number, a date or data, which only percent-encoding changes.
void write_plain(const job &work, std::string_view text) {
  if (work.style.escape == xp_plist_escape::percent) return xp::write_percent(work.out, text);
  work.out.put(text);
}

bool is_dict(xp_obj *obj) {
  return xp_type(obj) == xp_code("dict");
}

// A value with or without a key in front. In styles in which a value is the rest of an element, `element`
// completes it.
void write_item(job &work, int64_t depth, xp_obj *obj, bool keyed) {
  const xp_plist_around &element = work.style.element;
  if (element.before.empty()) return write_value(work, depth, obj);
  const bool container = is_dict(obj) || xp_type(obj) == xp_code("arry");
  if (keyed && container) work.out.put('>');
  if (!keyed && !container) work.out.put(element.before);
  write_value(work, depth, obj);
  if (keyed && container) work.out.put(element.after);
}

const xp_plist_around &around_key(const level &at, xp_obj *value) {
  if (at.depth != 0) return at.work.style.key;
  return is_dict(value) ? at.work.style.top_key : at.work.style.top_value;
}

int64_t write_entry(xp_obj *, const char *key, int64_t keylen, xp_obj *value, void *context) {
  level &at = *static_cast<level *>(context);
  job &work = at.work;
  if (value == nullptr && !work.nulls) return 0;
  const xp_plist_around &around = around_key(at, value);
  begin_item(at, work.style.object_lead, work.style.object_separator);
  work.out.put_mark(around.before);
  write_key(work, {key, static_cast<size_t>(keylen)});
  work.out.put_mark(around.after);
  write_item(work, at.depth + 1, value, true);
  return 0;
}

void write_string(const job &work, const xp_plist_around &around, xp_obj *string) {
  work.out.put_mark(around.before);
  write_text(work, {xp_str_getptr(string), static_cast<size_t>(xp_str_length(string))});
  work.out.put_mark(around.after);
}

// A container that the style has no form for: its JSON text, as a string.
[[gnu::noinline]] void write_as_json(const job &work, xp_obj *container) {
  xp::string_sink text;
  xp::write_compact_json(text, work.flags, container, work.left);
  const xp::ref string = xp::ref::adopt(text.string());
  if (!string) work.out.fail();
  write_string(work, work.style.string, string.get());
}

void write_dict(job &work, int64_t depth, xp_obj *dict) {
  const xp_plist_around &around = depth == 0 ? work.style.top_object : work.style.object;
  level at{.work = work, .depth = depth, .bare = depth < work.bare_top};
  work.out.put_mark(around.before);
  if (xp_dict_enumsorted(dict, write_entry, &at) != 0) work.out.fail();
  end_items(at);
  work.out.put_mark(around.after);
}

int64_t write_element(xp_obj *, int64_t, xp_obj *value, void *context) {
  level &at = *static_cast<level *>(context);
  begin_item(at, at.work.style.array_lead, at.work.style.array_separator);
  write_item(at.work, at.depth + 1, value, false);
  return 0;
}

void write_array(job &work, int64_t depth, xp_obj *array) {
  level at{.work = work, .depth = depth};
  work.out.put_mark(work.style.array.before);
  xp_array_enum(array, write_element, &at);
  end_items(at);
  work.out.put_mark(work.style.array.after);
}

void write_text_of(const job &work, const xp_plist_around &around, xp_obj *obj) {
  const xp::ref string = xp::ref::adopt(xp_str_coerce(obj));
  if (!string) work.out.fail();
  write_string(work, around, string.get());
}

// Deliberate: no text of JSON stands for infinity or NaN; the text for null does, so that the whole stays
// readable.
[[gnu::noinline]] void write_number(const job &work, xp_obj *number) {
  const bool real = xp_number_isfloat(number) != 0;
  if (real && !std::isfinite(xp_number_float(number)) && work.style.escape == xp_plist_escape::literal) {
    return work.out.put(work.style.null);
  }
  std::array<char, 40> text;
  const int64_t length = xp_num_textify(number, text.data(), std::ssize(text));
  const xp_plist_around &around = real ? work.style.real : work.style.integer;
  work.out.put_mark(around.before);
  const std::string_view digits(text.data(), static_cast<size_t>(length));
  real ? write_plain(work, digits) : work.out.put(digits);
  work.out.put_mark(around.after);
}

void write_boolean(const job &work, xp_obj *boolean) {
  work.out.put_mark(work.style.boolean.before);
  work.out.put(xp_value(boolean) != 0 ? "true" : "false");
  work.out.put_mark(work.style.boolean.after);
}

[[gnu::noinline]] void write_data(const job &work, xp_obj *data) {
  constexpr int64_t piece = 192;
  std::array<char, piece / 3 * 4> text;
  const char *bytes = static_cast<const char *>(xp_data_getptr(data));
  const int64_t length = xp_data_length(data);
  work.out.put_mark(work.style.data.before);
  for (int64_t at = 0; at < length; at += piece) {
    const int64_t size =
        xp_b64_encode(bytes + at, std::min(piece, length - at), 0, text.data(), std::ssize(text));
    write_plain(work, {text.data(), static_cast<size_t>(size)});
  }
  work.out.put_mark(work.style.data.after);
}

// A date's own text is its UTC date and time with a "Z" at the end; here milliseconds stand before that. The
// format engine's time conversions do not serve: they take 0 for the present.
[[gnu::noinline]] void write_date(const job &work, xp_obj *date) {
  std::array<char, 64> text{};
  const int64_t length = xp_textify(date, text.data(), std::ssize(text));
  std::string_view utc(text.data(), static_cast<size_t>(length));
  if (utc.ends_with('Z')) utc.remove_suffix(1);
  work.out.put_mark(work.style.date.before);
  write_plain(work, utc);
  write_plain(work, ".000Z");
  work.out.put_mark(work.style.date.after);
}

bool is_stream(uint32_t type) {
  return (type & 0xFFFFFF) == xp_code("stm");
}

// A container, unless it is one level too deep; after such a one none is written, so that a tree with itself
// inside is left at once.
void write_container(job &work, int64_t depth, xp_obj *container) {
  if (work.left <= 0) {
    work.left = -XP_PLIST_DEEPEST;  // as many levels may be left behind
    return work.out.fail();
  }
  const bool dict = is_dict(container);
  const bool has_form = dict ? depth < work.style.levels : work.style.array.before.data() != nullptr;
  if (!has_form) return write_as_json(work, container);
  --work.left;
  dict ? write_dict(work, depth, container) : write_array(work, depth, container);
  ++work.left;
}

void write_value(job &work, int64_t depth, xp_obj *obj) {
  const uint32_t type = xp_type(obj);
  switch (type) {
    case xp_code("xstr"): return write_string(work, work.style.string, obj);
    case xp_code("xnum"): return write_number(work, obj);
    case xp_code("bool"): return write_boolean(work, obj);
    case xp_code("dict"):
    case xp_code("arry"): return write_container(work, depth, obj);
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

void write_node_of_any_style(text_sink &out, const xp_plist_style &style, uint32_t flags, int64_t depth,
                             xp_obj *obj) {
  job work{.out = out,
           .style = style,
           .flags = flags,
           .nulls = (flags & XP_PLIST_NULLS) != 0 && style.null.data() != nullptr,
           .indents = (style.flags & (XP_STYLE_LINES | XP_STYLE_FLAT)) == XP_STYLE_LINES,
           .bare_top = style.top_object.before.empty() ? 1 : 0};
  write_item(work, depth, obj, false);
}

void write_node(text_sink &out, const xp_plist_style &style, uint32_t flags, int64_t depth, xp_obj *obj) {
  // Their items have no indentation that would depend on the depth.
  const bool compact = &style == &xp_plist_stylerecord(1) || &style == &xp_plist_stylerecord(8);
  if (compact) return write_compact_json(out, flags, obj);
  write_node_of_any_style(out, style, flags, depth, obj);
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
  return sink.finish();
}

int64_t xp_plist_istream(xp_obj *obj, const xp_plist_style *style, uint32_t flags, int64_t depth,
                         xp_writer writer, void *context) {
  if (style == nullptr || writer == nullptr) return 0;
  xp::stream_sink sink(writer, context);
  xp::write_node(sink, *style, flags, depth, obj);
  return sink.finish();
}
