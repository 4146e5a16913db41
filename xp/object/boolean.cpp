#include "xp/object/boolean.h"

#include "xp/object/record.h"
#include "xp/object/scalar_impl.h"
#include "xp/object/shared.h"

#include <string.h>

#include <algorithm>
#include <string_view>

namespace {

// The content of a serialised boolean: the value big-endian, then four zero bytes. Four bytes are enough to
// read one.
constexpr uint32_t content_size = 8;
constexpr uint32_t content_needed = 4;

using xp::boolean;

xp_obj *shared[2];  // false, true

// The literals are zero-terminated.
std::string_view text_of(const boolean &b) {
  return b.value ? "true" : "false";
}

int64_t textify(xp_obj *obj, char *buffer, int64_t capacity) {
  auto *b = xp::as<boolean>(obj);
  if (b == nullptr) return 0;
  std::string_view text = text_of(*b);
  auto length = static_cast<int64_t>(text.size());
  if (buffer == nullptr) return length;
  length = std::clamp<int64_t>(capacity, 0, length);
  xp_memcpy(buffer, text.data(), static_cast<size_t>(length));
  return length;
}

int64_t serialize(const boolean &b, int64_t name, void *set) {
  unsigned char content[content_size] = {};
  xp::store_be32(content, static_cast<uint32_t>(b.value));
  return xp::record_append(set, name, boolean::code, content, content_size);
}

xp_obj *deserialize(int64_t name, const void *bytes) {
  xp_record record = xp::record_read(bytes);
  if (!xp::record_fits(record, name, boolean::code, content_needed)) return nullptr;
  return xp_boolean_new(xp::load_be32(record.data));
}

int64_t bytes_of(const boolean &b, int64_t argument, void *length) {
  if (argument != 0) return 0;
  std::string_view text = text_of(b);
  if (length != nullptr) *static_cast<uint32_t *>(length) = static_cast<uint32_t>(text.size());
  return xp::result(text.data());
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void *pointer) {
  auto *b = xp::as<boolean>(obj);
  if (b == nullptr) return 0;
  switch (code) {
    case XP_CTL_SERIALIZE: return serialize(*b, argument, pointer);
    case XP_CTL_DESERIALIZE: return xp::result(deserialize(argument, pointer));
    case XP_CTL_FALSEY: return b->value == 0;
    case XP_CTL_VALUE: return b->value;
    case XP_CTL_POINTER: return bytes_of(*b, argument, pointer);
    default: return 0;
  }
}

constexpr xp::ops boolean_ops = {.retain = xp_obj_retain,
                                 .release = xp_obj_release,
                                 .compare = xp_bool_compare,
                                 .textify = textify,
                                 .control = control};

xp_obj *make(int32_t value) {
  auto *b = xp::make<boolean>(boolean_ops);
  if (b != nullptr) b->value = value;
  return b;
}

}  // namespace

uint32_t xp_boolean_type() {
  return boolean::code;
}

xp_obj *xp_boolean_new(int64_t value) {
  int32_t index = value != 0 ? 1 : 0;
  xp_obj *found = xp::shared_get(shared[index]);
  return found != nullptr ? found : xp::shared_set(shared[index], make(index));
}

int64_t xp_bool_compare(xp_obj *a, xp_obj *b) {
  auto *x = xp::as<boolean>(a);
  auto *y = xp::as<boolean>(b);
  if (x == nullptr || y == nullptr) return xp_compare(a, b);
  return x->value - y->value;
}
