#include "webview/gtk/page_value.h"

namespace {

// The plain forms alone: what a message's members may be.
xp_engine_value plain_value(JSCValue *value) {
  xp_engine_value result;
  using kind = xp_engine_value::kind;
  if (jsc_value_is_undefined(value) != FALSE) return result;
  if (jsc_value_is_boolean(value) != FALSE) {
    result.is = kind::boolean;
    result.boolean = jsc_value_to_boolean(value) != FALSE;
  } else if (jsc_value_is_number(value) != FALSE) {
    result.is = kind::number;
    result.number = jsc_value_to_double(value);
  } else if (jsc_value_is_string(value) != FALSE) {
    result.is = kind::text;
    // As bytes: the other form stops at the first zero character.
    g_autoptr(GBytes) bytes = jsc_value_to_string_as_bytes(value);
    gsize size = 0;
    const auto *data = static_cast<const char *>(g_bytes_get_data(bytes, &size));
    if (data != nullptr) result.text.assign(data, size);
  } else {
    result.is = kind::other;
  }
  return result;
}

xp_engine_value member(JSCValue *object, const char *name) {
  g_autoptr(JSCValue) value = jsc_value_object_get_property(object, name);
  return plain_value(value);
}

}  // namespace

xp_engine_value xp_gtk_page_value(JSCValue *value) {
  xp_engine_value result = plain_value(value);
  if (result.is == xp_engine_value::kind::other) {
    g_autofree char *json = jsc_value_to_json(value, 0);
    if (json != nullptr) result.text = json;
  }
  return result;
}

xp_engine_message xp_gtk_page_message(const char *handler, JSCValue *body) {
  xp_engine_message message;
  message.handler = handler;
  if (jsc_value_is_number(body) != FALSE) {
    message.is = xp_engine_message::kind::number;
    message.number = jsc_value_to_double(body);
  } else if (jsc_value_is_object(body) != FALSE && jsc_value_is_array(body) == FALSE) {
    message.is = xp_engine_message::kind::dictionary;
    message.id = member(body, "id");
    message.payload = member(body, "payload");
  }
  return message;
}
