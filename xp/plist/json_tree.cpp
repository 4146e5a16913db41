#include "xp/plist/json_tree.h"

#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/boolean.h"
#include "xp/object/memory.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/json_string.h"
#include "xp/string/string.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr int64_t done = 0;
constexpr int64_t refused = -1;

int64_t open_container(xp_plist_jsonstate &state, const xp_json_node &node) {
  if (node.kind != XP_JSON_OBJECT && node.kind != XP_JSON_ARRAY) return refused;
  if (state.depth == std::ssize(state.open)) return refused;
  xp_obj *dict = nullptr;
  if (node.kind == XP_JSON_OBJECT) {
    dict = xp_dict_new(XP_DICT_NOCASE);
    if (dict == nullptr) return refused;
  }
  state.open[state.depth++] = {.dict = dict, .base = state.count};
  return done;
}

// Doubles the room for collected values. Not by xp_realloc: its failure would take the references with it.
bool grow(xp_plist_jsonstate &state) {
  const int64_t capacity = state.capacity == 0 ? 64 : state.capacity * 2;
  auto *values = static_cast<xp_obj **>(xp_alloc(static_cast<size_t>(capacity) * sizeof(void *)));
  if (values == nullptr) return false;
  std::copy_n(state.values, state.count, values);
  xp_free(state.values);
  state.values = values;
  state.capacity = capacity;
  return true;
}

// Keeps a value of the innermost array until the array closes.
int64_t collect(xp_plist_jsonstate &state, xp::ref value) {
  if (state.count == state.capacity && !grow(state)) return refused;
  state.values[state.count++] = value.leak();
  return done;
}

int64_t place(xp_plist_jsonstate &state, const xp_json_node &node, xp::ref value) {
  if (state.depth == 0) {
    if (state.root != nullptr) return refused;
    state.root = value.leak();
    return done;
  }
  const xp_plist_jsonframe &frame = state.open[state.depth - 1];
  if (frame.dict == nullptr) return collect(state, std::move(value));
  const xp_json_node *key = node.previous;
  if (key == nullptr || key->length <= 0) return refused;
  return xp_dict_adopt(frame.dict, key->text,
                       xp::json_key_length({key->text, static_cast<size_t>(key->length)}), value.leak());
}

// The collected values from `base` on, moved into an array of exactly their number.
xp::ref make_array(xp_plist_jsonstate &state, int64_t base) {
  xp::ref array = xp::ref::adopt(xp_array_new(0));
  const int64_t length = state.count - base;
  bool complete = array && (length == 0 || xp_array_setinitial(array.get(), length) >= length);
  for (int64_t i = base; i < state.count; ++i) {
    const xp::ref value = xp::ref::adopt(state.values[i]);
    complete = complete && xp_array_insert(array.get(), value.get(), -1) >= 0;
  }
  state.count = base;
  return complete ? array : nullptr;
}

int64_t close_container(xp_plist_jsonstate &state, const xp_json_node &node) {
  if (state.depth == 0 || (node.kind != XP_JSON_OBJECT && node.kind != XP_JSON_ARRAY)) return refused;
  const xp_plist_jsonframe frame = state.open[--state.depth];
  xp::ref container = frame.dict != nullptr ? xp::ref::adopt(frame.dict) : make_array(state, frame.base);
  return container ? place(state, node, std::move(container)) : refused;
}

int64_t add_value(xp_plist_jsonstate &state, const xp_json_node &node) {
  if (node.kind == XP_JSON_NULL) return place(state, node, nullptr);
  xp::ref value;
  switch (node.kind) {
    case XP_JSON_STRING: value = xp::ref::adopt(xp_str_unescaped(node.text, node.length)); break;
    case XP_JSON_NUMBER: value = xp::ref::adopt(xp_number_parse(node.text, node.length)); break;
    case XP_JSON_BOOLEAN: value = xp::ref::adopt(xp_boolean_new(*node.text == '1')); break;
    default: return refused;
  }
  return value ? place(state, node, std::move(value)) : refused;
}

}  // namespace

int64_t xp_plist_jsonparser(xp_json_event event, xp_json_node *node, void *state, int64_t) {
  if (node == nullptr || state == nullptr) return refused;
  auto &builder = *static_cast<xp_plist_jsonstate *>(state);
  switch (event) {
    case XP_JSON_VALUE: return add_value(builder, *node);
    case XP_JSON_OPEN: return open_container(builder, *node);
    case XP_JSON_CLOSE: return close_container(builder, *node);
  }
  return refused;
}

void xp_plist_jsonclear(xp_plist_jsonstate *state) {
  if (state == nullptr) return;
  for (int32_t i = 0; i < state->depth; ++i)
    xp_release(state->open[i].dict);
  for (int64_t i = 0; i < state->count; ++i)
    xp_release(state->values[i]);
  xp_free(state->values);
  xp_release(state->root);
  *state = {};
}

xp_obj *xp_plist_jsontree(const char *text, int64_t length) {
  xp_plist_jsonstate state{};
  xp::ref root;
  if (xp_json_parsetext(text, length, xp_plist_jsonparser, &state) == XP_JSON_OK) {
    root = xp::ref::adopt(std::exchange(state.root, nullptr));
  }
  xp_plist_jsonclear(&state);
  return root.leak();
}
