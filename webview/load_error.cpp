#include "webview/load_error.h"

#include "xp/object/type.h"
#include "xp/string/string.h"

namespace {

struct load_error : xp_obj {
  static constexpr uint32_t code = xp_code("lerr");
  xp_obj *domain;       // string
  xp_obj *description;  // string
  int64_t number;
};

void load_error_release(xp_obj *obj) {
  if (xp_prerelease(obj) == 0) return;
  auto *error = static_cast<load_error *>(obj);
  xp_release(error->domain);
  xp_release(error->description);
  xp::destroy(obj);
}

int64_t load_error_textify(xp_obj *obj, char *buffer, int64_t capacity) {
  return xp_textify(static_cast<load_error *>(obj)->description, buffer, capacity);
}

int64_t load_error_control(xp_obj *obj, uint32_t code, int64_t /*argument*/, void * /*pointer*/) {
  switch (code) {
    case XP_CTL_VALUE: return static_cast<load_error *>(obj)->number;
    default: return 0;
  }
}

constexpr xp::ops load_error_ops = {.retain = xp_obj_retain,
                                    .release = load_error_release,
                                    .compare = nullptr,
                                    .textify = load_error_textify,
                                    .control = load_error_control};

xp_obj *text(std::string_view view) {
  return xp_str_make(view.data(), static_cast<int64_t>(view.size()));
}

}  // namespace

uint32_t xp_load_error_type() {
  return load_error::code;
}

xp_obj *xp_load_error_new(std::string_view domain, int64_t code, std::string_view description) {
  auto *error = xp::make<load_error>(load_error_ops);
  if (error == nullptr) return nullptr;
  error->domain = text(domain);
  error->description = text(description);
  error->number = code;
  return error;
}

xp_obj *xp_load_error_domain(xp_obj *error) {
  auto *self = xp::as<load_error>(error);
  return self != nullptr ? xp_retain(self->domain) : nullptr;
}

xp_obj *xp_load_error_description(xp_obj *error) {
  auto *self = xp::as<load_error>(error);
  return self != nullptr ? xp_retain(self->description) : nullptr;
}

int64_t xp_load_error_code(xp_obj *error) {
  auto *self = xp::as<load_error>(error);
  return self != nullptr ? self->number : 0;
}
