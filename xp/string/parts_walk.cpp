// The traversal of a string's parts.

#include "xp/service/traversal.h"
#include "xp/string/parts.h"
#include "xp/string/string_impl.h"
#include "xp/string/text.h"

#include <string.h>

#include <algorithm>

namespace {

// Where the walk stands: on the part from `from` to `to`. The separator's bytes follow it in the state.
struct cursor {
  int64_t from, to;
  int64_t separator_length;
  enum { fresh, on_part, ended } state;

  char *separator() { return reinterpret_cast<char *>(this + 1); }
};

// Characters part without a separator between them: they end and begin at the same place.
int64_t character_after(const xps_string *s, int64_t at) {
  return at + std::max(xp_str_sequence(s->text + at, s->length - at), 1);
}

// Well-formed sequences cannot overlap, so one that ends here is what the walk forward has met, too.
int64_t character_before(const xps_string *s, int64_t at) {
  for (int32_t bytes = 2; bytes <= 4 && bytes <= at; ++bytes) {
    if (xp_str_sequence(s->text + at - bytes, bytes) == bytes) return at - bytes;
  }
  return at - 1;
}

int64_t end_of_part(xps_string *s, cursor *at) {
  if (at->separator_length == 0) return character_after(s, at->from);
  int64_t found =
      xp_str_txtnfind(s->text, s->length, at->separator(), at->separator_length, XP_FIND_EXACT, at->from);
  return found < 0 ? s->length : found;
}

int64_t start_of_part(xps_string *s, cursor *at) {
  if (at->separator_length == 0) return character_before(s, at->to);
  int64_t found = xp_str_txtnfind(s->text, at->to, at->separator(), at->separator_length,
                                  XP_FIND_EXACT | XP_FIND_BACKWARD, -1);
  return found < 0 ? 0 : found + at->separator_length;
}

// Moves to the next part; false, and at the end, when there is none. Behind the last separator the string's
// own end begins a part, which characters do not do.
bool go_forward(xps_string *s, cursor *at) {
  bool first = at->state == cursor::fresh;
  bool more = first ? s->length > 0 : at->state == cursor::on_part && at->to < s->length;
  at->state = more ? cursor::on_part : cursor::ended;
  if (!more) return false;
  at->from = first ? 0 : at->to + at->separator_length;
  at->to = end_of_part(s, at);
  return true;
}

bool go_back(xps_string *s, cursor *at) {
  bool first = at->state == cursor::fresh;
  bool more = first ? s->length > 0 : at->state == cursor::on_part && at->from > 0;
  at->state = more ? cursor::on_part : cursor::ended;
  if (!more) return false;
  at->to = first ? s->length : at->from - at->separator_length;
  at->from = start_of_part(s, at);
  return true;
}

constexpr xp_trav_ops parts_ops = {
    .reset = xps_travreset, .next = xps_travnext, .prev = xps_travprev, .count = xps_travcount};

}  // namespace

void xps_travreset(xp_obj * /*s*/, void *state) {
  auto *at = static_cast<cursor *>(state);
  at->from = at->to = 0;
  at->state = cursor::fresh;
}

xp_obj *xps_travnext(xp_obj *obj, void *state) {
  auto *s = xp::as<xps_string>(obj);
  auto *at = static_cast<cursor *>(state);
  return s != nullptr && go_forward(s, at) ? xp_str_make(s->text + at->from, at->to - at->from) : nullptr;
}

xp_obj *xps_travprev(xp_obj *obj, void *state) {
  auto *s = xp::as<xps_string>(obj);
  auto *at = static_cast<cursor *>(state);
  return s != nullptr && go_back(s, at) ? xp_str_make(s->text + at->from, at->to - at->from) : nullptr;
}

int64_t xps_travcount(xp_obj *obj, void *state) {
  auto *s = xp::as<xps_string>(obj);
  auto *at = static_cast<cursor *>(state);
  if (s == nullptr) return 0;
  const cursor here = *at;
  xps_travreset(s, at);
  int64_t count = 0;
  while (go_forward(s, at))
    ++count;
  *at = here;
  return count;
}

xp_obj *xp_str_travnew(xp_obj *s, const char *separator, int64_t length) {
  if (xp::as<xps_string>(s) == nullptr) return nullptr;
  int64_t bytes = xp_str_txtlen(separator, length);
  int64_t size;
  if (__builtin_add_overflow(bytes, static_cast<int64_t>(sizeof(cursor)), &size)) return nullptr;
  xp_obj *t = xp_trav_new(s, &parts_ops, size);
  if (t == nullptr) return nullptr;
  auto *at = static_cast<cursor *>(xp_trav_state(t));
  at->separator_length = bytes;
  if (bytes > 0) memcpy(at->separator(), separator, static_cast<size_t>(bytes));
  return t;
}
