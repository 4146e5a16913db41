#include "xp/object/object.h"

#include "tests/support/objects.h"
#include "xp/object/boolean.h"
#include "xp/object/null.h"
#include "xp/object/type.h"

#include <string.h>

#include <algorithm>

namespace {

using xp::ref;
using object_test = leak_check;

// A type whose text is `length` times the letter x, and whose objects are ordered by that.
struct sample : xp_obj {
  static constexpr uint32_t code = xp_code("smpl");
  int64_t length;
};

int64_t length_of(xp_obj *obj) {
  return xp::as<sample>(obj)->length;
}

int64_t sample_compare(xp_obj *a, xp_obj *b) {
  return length_of(a) - length_of(b);
}

int64_t sample_textify(xp_obj *obj, char *buffer, int64_t capacity) {
  if (buffer == nullptr) return length_of(obj);
  return std::fill_n(buffer, std::min(length_of(obj), capacity), 'x') - buffer;
}

constexpr xp::ops sample_ops = {.retain = xp_obj_retain,
                                .release = xp_obj_release,
                                .compare = sample_compare,
                                .textify = sample_textify,
                                .control = nullptr};

ref sample_new(int64_t length) {
  auto *s = xp::make<sample>(sample_ops);
  s->length = length;
  return ref::adopt(s);
}

int64_t sample_stream(xp_obj * /*obj*/, xp_writer writer, void *context) {
  return writer(context, "own", 3) + 1000;
}

// What the tests that need one give to their objects.
int64_t sample_control(xp_obj *obj, uint32_t code, int64_t argument, void * /*pointer*/) {
  switch (code) {
    case XP_CTL_DUPLICATE: return xp::result(sample_new(argument).leak());
    case XP_CTL_INSTANCEOF: return argument == static_cast<int64_t>(xp_code("trav"));
    case XP_CTL_FALSEY: return length_of(obj) == 0;
    case XP_CTL_VALUE: return INT64_MIN;
    case XP_CTL_STREAM: return xp::result(sample_stream);
    default: return 0;
  }
}

// Adds each piece that is written to a string, with a bar behind it.
int64_t collect(void *context, const char *bytes, int64_t length) {
  static_cast<std::string *>(context)->append(bytes, static_cast<size_t>(length)).append("|");
  return 77;
}

TEST_F(object_test, header_spells_its_type_and_counts_references) {
  ref obj = ref::adopt(xp_new(xp_code("dict"), 100));
  EXPECT_EQ(memcmp(reinterpret_cast<const char *>(obj.get()) + 4, "dict", 4), 0);
  EXPECT_EQ(xp_type(obj.get()), 0x74636964u);
  EXPECT_EQ(xp_code("ab"), 0x6261u);
  EXPECT_EQ(xp_retain(obj.get()), obj.get());
  expect({xp_refs(obj.get()), xp_prerelease(obj.get()), xp_refs(obj.get()), xp_prerelease(obj.get())},
         "2 0 1 1");
  xp::destroy(obj.leak());
}

TEST_F(object_test, embedded_objects_keep_the_callers_memory) {
  struct : xp_obj {
    int64_t mine;
  } block = {};
  block.mine = 5;
  xp_obj *obj = xp_obj_init(&block, xp_code("elem"));
  obj->release = [](xp_obj *o) { xp_prerelease(o); };
  EXPECT_EQ(xp_refs(obj), 1);
  xp_release(obj);
  expect({xp_refs(obj), block.mine, xp_obj_init(nullptr, 1)}, "0 5 null");
}

TEST_F(object_test, every_operation_accepts_null) {
  xp_release(nullptr);
  xp_obj_release(nullptr);
  EXPECT_EQ(xp::as<sample>(nullptr), nullptr);
  expect({xp_retain(nullptr), xp_obj_retain(nullptr), xp_duplicate(nullptr, 0),
          xp_deserialize(nullptr, 0, nullptr), xp_prerelease(nullptr), xp_refs(nullptr), xp_type(nullptr),
          xp_textify(nullptr, nullptr, 0), xp_stream(nullptr, collect, nullptr),
          xp_control(nullptr, XP_CTL_VALUE, 0, nullptr), xp_instanceof(nullptr, 0), xp_value(nullptr),
          xp_truthy(nullptr), xp_falsey(nullptr)},
         "null null null null 0 0 0 0 0 0 0 0 0 1");
}

TEST_F(object_test, order_is_null_then_type_then_the_types_own_then_address) {
  ref low = sample_new(1), high = sample_new(9), same = sample_new(9);
  ref number = num(100), truth = ref::adopt(xp_boolean_new(1));
  // The last character weighs most: "bool" < "smpl" < "xnum" as little-endian integers.
  expect({xp_compare(nullptr, nullptr), xp_compare(nullptr, low.get()), xp_compare(low.get(), nullptr),
          xp_compare(low.get(), high.get()), xp_compare(high.get(), same.get()),
          xp_compare(truth.get(), low.get()), xp_compare(number.get(), low.get()),
          xp_order(nullptr, number.get(), low.get()), xp_match(nullptr, low.get(), high.get())},
         "0 -1 1 -8 0 -1 1 1 -8");

  // A compare operation that is not the same function on both sides does not count.
  same.get()->compare = nullptr;
  int64_t by_address = high.get() < same.get() ? -1 : 1;
  EXPECT_EQ(xp_compare(high.get(), same.get()), by_address);
  EXPECT_EQ(xp_compare(same.get(), high.get()), -by_address);
}

TEST_F(object_test, null_objects_are_true_and_equal_to_themselves_alone) {
  ref a = ref::adopt(xp_null_new()), b = ref::adopt(xp_null_new());
  EXPECT_EQ(xp_type(a.get()), xp_null_type());
  EXPECT_NE(xp_compare(a.get(), b.get()), 0);
  expect({xp_compare(a.get(), a.get()), xp_truthy(a.get()), xp_textify(a.get(), nullptr, 0)}, "0 1 0");
}

TEST_F(object_test, stream_writes_the_text_in_one_piece_whatever_its_length) {
  for (int64_t length : {0, 1, 255, 256, 257, 100000}) {
    std::string heard;
    EXPECT_EQ(xp_stream(sample_new(length).get(), collect, &heard), 77) << length;
    EXPECT_EQ(heard, std::string(static_cast<size_t>(length), 'x') + "|");
  }
  // A text that no memory can hold is never asked for.
  EXPECT_EQ(xp_stream(sample_new(INT64_MAX).get(), collect, nullptr), -1);
}

TEST_F(object_test, control_decides_about_copy_kinship_emptiness_value_and_stream) {
  ref obj = sample_new(5), empty = sample_new(0);
  EXPECT_EQ(ref::adopt(xp_duplicate(obj.get(), 0)).get(), obj.get());
  expect({xp_truthy(empty.get()), xp_instanceof(obj.get(), xp_code("trav")), xp_value(obj.get())}, "1 0 0");
  obj.get()->control = empty.get()->control = sample_control;
  std::string heard;
  expect({xp_duplicate(obj.get(), XP_DUP_SHALLOW), xp_instanceof(obj.get(), xp_code("smpl")),
          xp_instanceof(obj.get(), xp_code("trav")), xp_instanceof(obj.get(), xp_code("dict")),
          xp_falsey(empty.get()), xp_truthy(empty.get()), xp_truthy(obj.get()), xp_value(obj.get()),
          xp_stream(obj.get(), collect, &heard), heard},
         "x 1 1 0 1 0 1 -9223372036854775808 1077 own|");
}

TEST_F(object_test, downcasts_check_the_type_and_sizes_do_not_wrap) {
  EXPECT_EQ(xp::as<sample>(num(3).get()), nullptr);
  for (size_t tail : {SIZE_MAX - 8, SIZE_MAX / 2})
    EXPECT_EQ(xp::make<sample>(sample_ops, tail), nullptr);
}

}  // namespace
