#include "xp/plist/plist.h"

#include "xp/object/deferred_release.h"
#include "xp/object/ref.h"
#include "xp/plist/plist_impl.h"
#include "xp/plist/writer.h"

namespace {

void destroy(xp_obj *obj) {
  xp_release(static_cast<xp_plist *>(obj)->root);
  xp::destroy(obj);
}

void release(xp_obj *obj) {
  if (xp_prerelease(obj)) xp::end_container(obj, destroy);
}

int64_t control(xp_obj *, uint32_t code, int64_t, void *) {
  switch (code) {
    case XP_CTL_STREAM: return xp::result(xp_plist_stream);
    default: return 0;
  }
}

constexpr xp::ops operations = {.retain = xp_obj_retain,
                                .release = release,
                                .compare = nullptr,
                                .textify = xp_plist_textify,
                                .control = control};

bool is_style(int32_t style) {
  return style >= 0 && style < XP_PLIST_STYLES;
}

// What is written: the root of a property list, or the tree itself, in which style and with which setting.
struct document {
  xp_obj *root;
  const xp_plist_style *style;
  uint32_t flags;
};

document document_of(xp_plist &list, int32_t nulls) {
  return {.root = list.root, .style = list.style, .flags = nulls != 0 ? XP_PLIST_NULLS : 0U};
}

// A property list takes the style that it is asked for, when there is such a style.
document document_of(xp_obj *obj, int32_t style, int32_t nulls) {
  if (auto *list = xp::as<xp_plist>(obj)) {
    if (is_style(style)) list->style = &xp_plist_stylerecord(style);
    return document_of(*list, nulls);
  }
  return {.root = obj, .style = &xp_plist_stylerecord(style), .flags = nulls != 0 ? XP_PLIST_NULLS : 0U};
}

int64_t to_buffer(const document &text, char *buffer, int64_t capacity) {
  if (buffer == nullptr) {
    xp::measuring_sink sink;
    xp::write_document(sink, *text.style, text.flags, text.root);
    return sink.length();
  }
  xp::buffer_sink sink(buffer, capacity);
  xp::write_document(sink, *text.style, text.flags, text.root);
  return sink.finish();
}

int64_t to_writer(const document &text, xp_writer writer, void *context) {
  if (writer == nullptr) return 0;
  xp::stream_sink sink(writer, context);
  xp::write_document(sink, *text.style, text.flags, text.root);
  return sink.finish();
}

}  // namespace

xp_obj *xp::wrap_list(ref root, int32_t style, const xp_plist_settings &settings) {
  auto *list = make<xp_plist>(operations);
  if (list == nullptr) return nullptr;
  list->style = &xp_plist_stylerecord(style);
  list->root = root.leak();
  list->settings = settings;
  return list;
}

uint32_t xp_plist_type() {
  return xp_plist::code;
}

xp_obj *xp_plist_make(xp_obj *root) {
  return xp::as<xp_plist>(root) != nullptr ? xp_retain(root)
                                           : xp::wrap_list(xp::ref::share(root), XP_PLIST_JSON);
}

xp_obj *xp_plist_coerce(xp_obj *obj) {
  return obj == nullptr ? nullptr : xp_plist_make(obj);
}

int32_t xp_plist_setstyle(xp_obj *p, int32_t style) {
  auto *list = xp::as<xp_plist>(p);
  if (list == nullptr || !is_style(style)) return -1;
  list->style = &xp_plist_stylerecord(style);
  return 0;
}

int32_t xp_plist_getstyle(xp_obj *p) {
  const auto *list = xp::as<xp_plist>(p);
  return list == nullptr ? 0 : list->style->number;
}

void xp_plist_setnulls(xp_obj *p, int32_t on) {
  if (auto *list = xp::as<xp_plist>(p)) list->settings.nulls = on != 0 ? 1 : 0;
}

int64_t xp_plist_stringify(xp_obj *obj, int32_t style, int32_t nulls, char *buffer, int64_t capacity) {
  return to_buffer(document_of(obj, style, nulls), buffer, capacity);
}

xp_obj *xp_plist_string(xp_obj *obj, int32_t style, int32_t nulls) {
  const document text = document_of(obj, style, nulls);
  xp::string_sink sink;
  xp::write_document(sink, *text.style, text.flags, text.root);
  return sink.string();
}

int64_t xp_plist_streamify(xp_obj *obj, int32_t style, int32_t nulls, xp_writer writer, void *context) {
  return to_writer(document_of(obj, style, nulls), writer, context);
}

int64_t xp_plist_textify(xp_obj *p, char *buffer, int64_t capacity) {
  auto *list = xp::as<xp_plist>(p);
  return list == nullptr ? 0 : to_buffer(document_of(*list, list->settings.nulls), buffer, capacity);
}

int64_t xp_plist_stream(xp_obj *p, xp_writer writer, void *context) {
  auto *list = xp::as<xp_plist>(p);
  return list == nullptr ? 0 : to_writer(document_of(*list, list->settings.nulls), writer, context);
}
