// Small steps that every native method takes: reading the page's arguments and filling result dictionaries.
// Internal to setup/.

#ifndef SETUP_VALUES_H
#define SETUP_VALUES_H

#include "xp/dict/dict.h"
#include "xp/object/boolean.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/string/string.h"

#include <stdint.h>

// The value under a key; null when it is absent or null, or `args` is no dictionary: the page may send any
// type anywhere.
inline xp::ref cv_setup_value(xp_obj *args, const char *key) {
  if (xp_type(args) != xp_dict_type()) return nullptr;
  return xp::ref::adopt(xp_dict_fetch(args, key, -1));
}

// The string under a key; null also when it is of another type.
inline xp::ref cv_setup_string(xp_obj *args, const char *key) {
  xp::ref value = cv_setup_value(args, key);
  return xp_type(value.get()) == xp_str_type() ? value : nullptr;
}

// The same, null also for the empty string.
inline xp::ref cv_setup_text(xp_obj *args, const char *key) {
  xp::ref value = cv_setup_string(args, key);
  return xp_str_length(value.get()) > 0 ? value : nullptr;
}

inline void cv_setup_store_boolean(xp_obj *result, const char *key, bool value) {
  xp_dict_adopt(result, key, -1, xp_boolean_new(value ? 1 : 0));
}

inline void cv_setup_store_number(xp_obj *result, const char *key, int64_t value) {
  xp_dict_adopt(result, key, -1, xp_number_new(value));
}

// Stores a string; null leaves the key out.
inline void cv_setup_store_string(xp_obj *result, const char *key, const xp::ref &value) {
  if (value) xp_dict_store(result, key, -1, value.get());
}

#endif
