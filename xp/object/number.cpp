#include "xp/object/number.h"

#include "xp/object/number_text.h"
#include "xp/object/quick.h"
#include "xp/object/record.h"
#include "xp/object/scalar_impl.h"
#include "xp/object/shared.h"

#include <math.h>

#include <algorithm>
#include <string_view>

namespace {

constexpr uint64_t shared_count = 10;
constexpr uint32_t content_size = 8;  // a serialised number: its integer value, big-endian

using xp::number;

xp_obj *shared[shared_count];

int64_t sign_of(auto a, auto b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

int64_t falsey(const number &n) {
  return n.is_float ? n.real == 0.0 : n.integer == 0;
}

// Deliberate: a float travels as its integer part alone; the other side expects eight bytes of integer.
int64_t serialize(const number &n, int64_t name, void *set) {
  unsigned char content[content_size];
  xp::store_be64(content, static_cast<uint64_t>(n.integer));
  return xp::record_append(set, name, number::code, content, content_size);
}

xp_obj *deserialize(int64_t name, const void *bytes) {
  xp_record record = xp::record_read(bytes);
  if (!xp::record_fits(record, name, number::code, content_size)) return nullptr;
  return xp_number_new(static_cast<int64_t>(xp::load_be64(record.data)));
}

int64_t control(xp_obj *obj, uint32_t code, int64_t argument, void *pointer) {
  auto *n = xp::as<number>(obj);
  if (n == nullptr) return 0;
  switch (code) {
    case XP_CTL_SERIALIZE: return serialize(*n, argument, pointer);
    case XP_CTL_DESERIALIZE: return xp::result(deserialize(argument, pointer));
    case XP_CTL_FALSEY: return falsey(*n);
    case XP_CTL_VALUE: return n->integer;
    default: return 0;
  }
}

constexpr xp::ops number_ops = {.retain = xp_obj_retain,
                                .release = xp_obj_release,
                                .compare = xp_num_compare,
                                .textify = xp_num_textify,
                                .control = control};

xp_obj *make(int64_t integer, double real, int32_t is_float) {
  auto *n = xp::make_unzeroed<number>(number_ops);
  if (n == nullptr) return nullptr;
  n->integer = integer;
  n->real = real;
  n->is_float = is_float;
  return n;
}

xp_obj *make_integer(int64_t value) {
  return make(value, static_cast<double>(value), 0);
}

// Cut towards zero, saturated; both bounds are exact as floats.
int64_t integer_of(double value) {
  constexpr double bound = 0x1p63;
  if (isnan(value)) return 0;
  if (value >= bound) return INT64_MAX;
  if (value < -bound) return INT64_MIN;
  return static_cast<int64_t>(value);
}

}  // namespace

uint32_t xp_number_type() {
  return number::code;
}

xp_obj *xp_number_new(int64_t value) {
  // As unsigned: negative values are never shared.
  auto index = static_cast<uint64_t>(value);
  if (index >= shared_count) return make_integer(value);
  xp_obj *found = xp::shared_get(shared[index]);
  return found != nullptr ? found : xp::shared_set(shared[index], make_integer(value));
}

xp_obj *xp_number_newfloat(double value) {
  return make(integer_of(value), value, 1);
}

xp_obj *xp_number_parse(const char *text, int64_t length) {
  if (text == nullptr) return xp_number_new(0);
  std::string_view rest =
      length < 0 ? std::string_view(text) : std::string_view(text, static_cast<size_t>(length));
  xp::number_reading reading = xp::number_read(rest);
  return reading.is_float ? xp_number_newfloat(reading.real) : xp_number_new(reading.integer);
}

xp_obj *xp_number_coerce(xp_obj *obj) {
  if (obj == nullptr) return nullptr;
  if (xp_type(obj) == number::code) return xp_retain(obj);
  if (xp_type(obj) != xp_code("xstr")) return xp_number_new(xp_value(obj));
  uint32_t length = 0;
  auto *text = xp::result_pointer<const char>(xp_control(obj, XP_CTL_POINTER, 0, &length));
  return xp_number_parse(text, length);
}

double xp_number_float(xp_obj *obj) {
  auto *n = xp::as<number>(obj);
  return n == nullptr ? 0.0 : n->real;
}

int32_t xp_number_isfloat(xp_obj *obj) {
  auto *n = xp::as<number>(obj);
  return n != nullptr && n->is_float ? 1 : 0;
}

int64_t xp_num_compare(xp_obj *a, xp_obj *b) {
  auto *x = xp::as<number>(a);
  auto *y = xp::as<number>(b);
  if (x == nullptr || y == nullptr) return xp_compare(a, b);
  return x->is_float || y->is_float ? sign_of(x->real, y->real) : sign_of(x->integer, y->integer);
}

int64_t xp_num_textify(xp_obj *obj, char *buffer, int64_t capacity) {
  auto *n = xp::as<number>(obj);
  if (n == nullptr) return 0;
  char text[xp::number_text_size];
  int64_t length = n->is_float ? xp::number_write(text, n->real) : xp::number_write(text, n->integer);
  if (buffer == nullptr) return length;
  length = std::clamp<int64_t>(capacity, 0, length);
  xp_memcpy(buffer, text, static_cast<size_t>(length));
  return length;
}
