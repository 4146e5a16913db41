// Compact JSON, the text of the records of styles 1 and 8: what the writer of all styles makes of them
// (writer.cpp), written straight into the sink's window. A place to write to is handed from function to
// function; each asks for room once for all that it writes before it hands on.

#include "xp/array/array_impl.h"
#include "xp/dict/dict_impl.h"
#include "xp/format/digits.h"
#include "xp/object/number_text.h"
#include "xp/object/scalar_impl.h"
#include "xp/plist/writer.h"
#include "xp/plist/writer_text.h"
#include "xp/string/string_impl.h"

#include <string.h>

#include <cmath>

namespace {

using xp::dict::entry;

// A key with its punctuation, and behind it a number or the brackets of an empty container.
constexpr size_t item_room = xp::dict::longest_key + 48;
static_assert(item_room <= xp::text_sink::sure_room && xp::number_text_size <= 40);

struct job {
  xp::text_sink &out;
  uint32_t flags;
  char *end;     // of the window
  int32_t left;  // levels of containers that may still open

  bool nulls() const { return (flags & XP_PLIST_NULLS) != 0; }
};

char *write_value(job &work, char *to, xp_obj *obj);

// --- Room ---

[[gnu::noinline]] char *widen(job &work, char *to, size_t size) {
  work.out.took(to);
  work.out.ask(size);
  work.end = work.out.end();
  return work.out.at();
}

inline char *ensure(job &work, char *to, size_t size) {
  return static_cast<size_t>(work.end - to) >= size ? to : widen(work, to, size);
}

// Calls write() for something that goes through the sink.
template <typename Write>
char *through_sink(job &work, char *to, Write write) {
  work.out.took(to);
  write();
  work.end = work.out.end();
  return work.out.at();
}

template <size_t Size>
char *add(char *to, const char (&text)[Size]) {
  memcpy(to, text, Size - 1);
  return to + Size - 1;
}

// --- Values ---

char *write_string(job &work, char *to, const xps_string *string) {
  const auto length = static_cast<size_t>(string->length);
  const size_t room = xp::literal_room(length) + 2;
  if (static_cast<size_t>(work.end - to) < room) [[unlikely]] {
    to = widen(work, to, room);
    if (static_cast<size_t>(work.end - to) < room) {
      return through_sink(work, to, [&] {
        work.out.put('"');
        xp::write_literal(work.out, {string->text, length});
        work.out.put('"');
      });
    }
  }
  *to++ = '"';
  const char *end = string->text + length;
  to = xp::write_literal_run({.at = string->text, .stop = end, .to = to}, end).to;
  *to++ = '"';
  return to;
}

char *write_integer(char *to, int64_t value) {
  auto magnitude = static_cast<uint64_t>(value);
  if (value < 0) {
    *to++ = '-';
    magnitude = 0 - magnitude;
  }
  const int digits = xpf::decimal_digits(magnitude);
  to += digits;
  xpf::write_decimal(to, magnitude, digits);
  return to;
}

char *write_real(char *to, double value) {
  if (!std::isfinite(value)) return add(to, "null");
  char text[xp::number_text_size];
  const auto length = static_cast<size_t>(xp::number_write(text, value));
  memcpy(to, text, sizeof text);
  return to + length;
}

char *write_number(char *to, const xp::number *number) {
  return number->is_float != 0 ? write_real(to, number->real) : write_integer(to, number->integer);
}

// --- Containers ---

struct items {
  job &work;
  char *to;
  bool first = true;
};

inline char *write_entry(job &work, char *to, entry *e, bool first) {
  to = ensure(work, to, item_room);
  *to = ',';
  to += first ? 0 : 1;
  *to++ = '"';
  memcpy(to, e->key(), e->key_length);
  to += e->key_length;
  to = add(to, "\":");
  return write_value(work, to, e->value);
}

int64_t visit_entry(xp_obj *, const char *key, int64_t /*keylen*/, xp_obj *value, void *context) {
  items &at = *static_cast<items *>(context);
  if (value == nullptr && !at.work.nulls()) return 0;
  auto *e = reinterpret_cast<entry *>(const_cast<char *>(key) - offsetof(entry, first_key_bytes));
  at.to = write_entry(at.work, at.to, e, at.first);
  at.first = false;
  return 0;
}

// A dictionary with a lock, or with more entries than are put in order here.
[[gnu::noinline]] char *write_dict_by_visits(job &work, char *to, xp_obj *dict) {
  items at{.work = work, .to = to};
  if (xp_dict_enumsorted(dict, visit_entry, &at) != 0) work.out.fail();
  return at.to;
}

[[gnu::noinline]] char *write_few_entries(job &work, char *to, xp::dict::object *dict) {
  entry *entries[xp::dict::few_entries];
  const uint32_t count = xp::dict::order_few(dict, entries);
  bool first = true;
  for (uint32_t i = 0; i < count; ++i) {
    if (entries[i]->value == nullptr && !work.nulls()) continue;
    to = write_entry(work, to, entries[i], first);
    first = false;
  }
  return to;
}

// Whether a container may open here. After one that was a level too deep none does, so that a tree with
// itself inside is left at once.
bool enter(job &work) {
  if (work.left > 0) [[likely]] {
    --work.left;
    return true;
  }
  work.left = -XP_PLIST_DEEPEST;  // as many levels may be left behind
  work.out.fail();
  return false;
}

char *write_dict(job &work, char *to, xp::dict::object *dict) {
  if (!enter(work)) return to;
  *to++ = '{';
  const bool few = dict->lock == nullptr && dict->count <= xp::dict::few_entries;
  to = few ? write_few_entries(work, to, dict) : write_dict_by_visits(work, to, dict);
  to = ensure(work, to, 1);
  *to++ = '}';
  ++work.left;
  return to;
}

int64_t visit_element(xp_obj *, int64_t, xp_obj *value, void *context) {
  items &at = *static_cast<items *>(context);
  at.to = ensure(at.work, at.to, item_room);
  if (!at.first) *at.to++ = ',';
  at.first = false;
  at.to = write_value(at.work, at.to, value);
  return 0;
}

// Asks for the memory of the elements behind the one that is written next: of a large tree little is at hand,
// and the processor sees too late where it has to go.
void fetch_ahead(const xp::array::object *array, int64_t i) {
  if (i + 2 < array->count) __builtin_prefetch(array->items[i + 2]);
  const xp_obj *next = i + 1 < array->count ? array->items[i + 1] : nullptr;
  if (next == nullptr || next->type != xp::dict::object::code) return;
  constexpr size_t line = 64;
  for (size_t at = line; at < 7 * line; at += line)
    __builtin_prefetch(reinterpret_cast<const char *>(next) + at);
}

[[gnu::noinline]] char *write_elements(job &work, char *to, xp::array::object *array) {
  // What a foreign object does while its text is made may change the array.
  for (int64_t i = 0; i < array->count; ++i) {
    fetch_ahead(array, i);
    to = ensure(work, to, item_room);
    *to = ',';
    to += i == 0 ? 0 : 1;
    to = write_value(work, to, array->items[i]);
  }
  return to;
}

char *write_array(job &work, char *to, xp::array::object *array) {
  if (!enter(work)) return to;
  *to++ = '[';
  if (array->lock == nullptr) {
    to = write_elements(work, to, array);
  } else {
    items at{.work = work, .to = to};
    xp_array_enum(array, visit_element, &at);
    to = at.to;
  }
  to = ensure(work, to, 1);
  *to++ = ']';
  ++work.left;
  return to;
}

// What is rare: dates, data and all that is written as its own text.
[[gnu::noinline]] char *write_other(job &work, char *to, xp_obj *obj) {
  return through_sink(
      work, to, [&] { xp::write_node_of_any_style(work.out, xp_plist_stylerecord(8), work.flags, 0, obj); });
}

// There is room for a number and what surrounds it.
char *write_value(job &work, char *to, xp_obj *obj) {
  if (obj == nullptr) return add(to, "null");
  switch (obj->type) {
    case xps_string::code: return write_string(work, to, static_cast<xps_string *>(obj));
    case xp::number::code: return write_number(to, static_cast<xp::number *>(obj));
    case xp::boolean::code:
      return static_cast<xp::boolean *>(obj)->value != 0 ? add(to, "true") : add(to, "false");
    case xp::dict::object::code: return write_dict(work, to, static_cast<xp::dict::object *>(obj));
    case xp::array::object::code: return write_array(work, to, static_cast<xp::array::object *>(obj));
    default: return write_other(work, to, obj);
  }
}

}  // namespace

void xp::write_compact_json(text_sink &out, uint32_t flags, xp_obj *obj, int32_t levels) {
  out.ask(text_sink::sure_room);
  job work{.out = out, .flags = flags, .end = out.end(), .left = levels};
  char *to = write_value(work, out.at(), obj);
  out.took(to);
}
