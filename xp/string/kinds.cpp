#include "xp/string/kinds.h"

#include "xp/object/deferred_release.h"
#include "xp/object/slot.h"
#include "xp/string/string.h"
#include "xp/string/string_impl.h"
#include "xp/string/text.h"

#include <string.h>

namespace {

struct tagged_string : xps_string {
  uint64_t tag;  // the text follows
};

struct valued_string : xps_string {
  xp_obj *value;  // retained, may be null; the text follows
};

// A kind is told by its release operation: all kinds share one type code.
constexpr xp::ops kind_ops(void (*release)(xp_obj *)) {
  return {.retain = xp_obj_retain,
          .release = release,
          .compare = xp_str_compare,
          .textify = xp_str_textify,
          .control = xp_str_control};
}

void free_text(xp_obj *obj) {
  xp_free(const_cast<char *>(static_cast<xps_string *>(obj)->text));
}

// The call is one that the compiler may not leave out, although nobody reads the text again.
void wipe(xp_obj *obj) {
  auto *s = static_cast<xps_string *>(obj);
  explicit_bzero(const_cast<char *>(s->text), static_cast<size_t>(s->length));
  s->length = 0;
}

// --- Release operations, one for each kind ---

void xps_allocrelease(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  free_text(obj);
  xp::destroy(obj);
}

void xps_tagrelease(xp_obj *obj) {
  xp_obj_release(obj);
}

void end_valued(xp_obj *obj) {
  xp_release(static_cast<valued_string *>(obj)->value);
  xp::destroy(obj);
}

// A value may be a valued string in its turn, so it ends as containers do.
void xps_valrelease(xp_obj *obj) {
  if (xp_prerelease(obj)) xp::end_container(obj, end_valued);
}

void xps_secrelease(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  wipe(obj);
  xp::destroy(obj);
}

void xps_secallocrelease(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  wipe(obj);
  free_text(obj);
  xp::destroy(obj);
}

constexpr xp::ops adopted_ops = kind_ops(xps_allocrelease);
constexpr xp::ops tagged_ops = kind_ops(xps_tagrelease);
constexpr xp::ops valued_ops = kind_ops(xps_valrelease);

// A string with its text behind a struct of its own, and a zero byte behind the text.
template <typename Kind>
Kind *make_kind(const xp::ops &table, const char *text, int64_t length) {
  auto bytes = static_cast<size_t>(xp_str_txtlen(text, length));
  auto *s = xp::make<Kind>(table, bytes + 1);
  if (s == nullptr) return nullptr;
  char *room = reinterpret_cast<char *>(s + 1);
  if (bytes > 0) memcpy(room, text, bytes);
  s->text = room;
  s->length = static_cast<int64_t>(bytes);
  return s;
}

template <typename Kind>
Kind *as_kind(xp_obj *obj, void (*release)(xp_obj *)) {
  auto *s = xp::as<xps_string>(obj);
  return s != nullptr && s->release == release ? static_cast<Kind *>(s) : nullptr;
}

}  // namespace

xp_obj *xp_str_alloc(char *text) {
  if (text == nullptr) return xp_str_const(nullptr);
  auto *s = xp::make<xps_string>(adopted_ops);
  if (s == nullptr) {
    xp_free(text);
    return nullptr;
  }
  s->text = text;
  s->length = xp_str_strlen(text);
  return s;
}

xp_obj *xp_str_newtagged(const char *text, uint64_t tag) {
  return xp_str_maketagged(text, -1, tag);
}

xp_obj *xp_str_maketagged(const char *text, int64_t length, uint64_t tag) {
  auto *s = make_kind<tagged_string>(tagged_ops, text, length);
  if (s != nullptr) s->tag = tag;
  return s;
}

uint64_t xp_str_gettag(xp_obj *obj) {
  auto *s = as_kind<tagged_string>(obj, xps_tagrelease);
  return s != nullptr ? s->tag : 0;
}

xp_obj *xp_str_newvalued(const char *text, xp_obj *value) {
  return xp_str_makevalued(text, -1, value);
}

xp_obj *xp_str_makevalued(const char *text, int64_t length, xp_obj *value) {
  auto *s = make_kind<valued_string>(valued_ops, text, length);
  if (s != nullptr) s->value = xp_retain(value);
  return s;
}

xp_obj *xp_str_getvalue(xp_obj *obj) {
  auto *s = as_kind<valued_string>(obj, xps_valrelease);
  return s != nullptr ? xp_retrieve(&s->value, nullptr, nullptr) : nullptr;
}

int32_t xp_str_setvalue(xp_obj *obj, xp_obj *value) {
  auto *s = as_kind<valued_string>(obj, xps_valrelease);
  if (s == nullptr) return 0;
  xp_replace(&s->value, value);
  return 1;
}

xp_obj *xp_str_secure(xp_obj *obj) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr) return obj;
  if (s->release == xps_allocrelease) s->release = xps_secallocrelease;
  // The text of a constant string is not in the object, and not ours to wipe.
  if (s->release == xp_obj_release && s->text == xps_room(s)) s->release = xps_secrelease;
  return obj;
}
