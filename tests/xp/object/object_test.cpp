#include "xp/object/object.h"

#include "tests/support/leak_check.h"
#include "xp/object/boolean.h"
#include "xp/object/null.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"

#include <string.h>

#include <string>
#include <vector>

namespace {

using xp::ref;

// A type whose text is `length` times the letter x, and which may claim a stream, a copy and a kinship.
struct sample : xp_obj {
  static constexpr uint32_t code = xp_code("smpl");
  int64_t length;
  int64_t rank;
  bool streams;
  bool copies;
};

int64_t sample_textify(xp_obj *obj, char *buffer, int64_t capacity) {
  int64_t length = xp::as<sample>(obj)->length;
  if (buffer == nullptr) return length;
  length = std::min(length, capacity);
  memset(buffer, 'x', static_cast<size_t>(length));
  return length;
}

int64_t sample_compare(xp_obj *a, xp_obj *b) {
  return xp::as<sample>(a)->rank - xp::as<sample>(b)->rank;
}

int64_t sample_stream(xp_obj * /*obj*/, xp_writer writer, void *context) {
  return writer(context, "own", 3) + 1000;
}

int64_t sample_control(xp_obj *obj, uint32_t code, int64_t argument, void *pointer);

constexpr xp::ops sample_ops = {.retain = xp_obj_retain,
                                .release = xp_obj_release,
                                .compare = sample_compare,
                                .textify = sample_textify,
                                .control = sample_control};

xp_obj *sample_new(int64_t length, int64_t rank = 0) {
  auto *s = xp::make<sample>(sample_ops);
  s->length = length;
  s->rank = rank;
  return s;
}

int64_t sample_control(xp_obj *obj, uint32_t code, int64_t argument, void * /*pointer*/) {
  auto *s = xp::as<sample>(obj);
  switch (code) {
    case XP_CTL_DUPLICATE: return s->copies ? xp::result(sample_new(argument)) : 0;
    case XP_CTL_INSTANCEOF: return argument == static_cast<int64_t>(xp_code("trav"));
    case XP_CTL_FALSEY: return s->length == 0;
    case XP_CTL_STREAM: return s->streams ? xp::result(sample_stream) : 0;
    default: return 0;
  }
}

int64_t collect(void *context, const char *bytes, int64_t length) {
  static_cast<std::vector<std::string> *>(context)->emplace_back(bytes, static_cast<size_t>(length));
  return 77;
}

class object_test : public leak_check {};

TEST_F(object_test, header_spells_its_type_and_begins_with_one_reference) {
  ref obj = ref::adopt(xp_new(xp_code("dict"), 0));
  EXPECT_EQ(memcmp(reinterpret_cast<const char *>(obj.get()) + 4, "dict", 4), 0);
  EXPECT_EQ(xp_type(obj.get()), 0x74636964u);
  EXPECT_EQ(xp_refs(obj.get()), 1);
  EXPECT_EQ(xp_code("ab"), 0x6261u);
}

TEST_F(object_test, references_count_up_and_down) {
  ref obj = ref::adopt(xp_new(xp_code("smpl"), 100));
  EXPECT_EQ(xp_retain(obj.get()), obj.get());
  EXPECT_EQ(xp_refs(obj.get()), 2);
  EXPECT_EQ(xp_prerelease(obj.get()), 0);
  EXPECT_EQ(xp_refs(obj.get()), 1);
  EXPECT_EQ(xp_prerelease(obj.get()), 1);
  xp::destroy(obj.leak());
}

TEST_F(object_test, embedded_objects_keep_the_callers_memory) {
  struct {
    xp_obj header;
    int64_t mine;
  } block = {};
  block.mine = 5;
  xp_obj *obj = xp_obj_init(&block, xp_code("elem"));
  obj->release = [](xp_obj *o) { xp_prerelease(o); };
  EXPECT_EQ(xp_refs(obj), 1);
  xp_release(obj);
  EXPECT_EQ(xp_refs(obj), 0);
  EXPECT_EQ(block.mine, 5);
  EXPECT_EQ(xp_obj_init(nullptr, 1), nullptr);
}

TEST_F(object_test, every_operation_accepts_null) {
  EXPECT_EQ(xp_retain(nullptr), nullptr);
  xp_release(nullptr);
  xp_obj_release(nullptr);
  EXPECT_EQ(xp_obj_retain(nullptr), nullptr);
  EXPECT_EQ(xp_prerelease(nullptr), 0);
  EXPECT_EQ(xp_refs(nullptr), 0);
  EXPECT_EQ(xp_type(nullptr), 0u);
  EXPECT_EQ(xp_textify(nullptr, nullptr, 0), 0);
  EXPECT_EQ(xp_stream(nullptr, collect, nullptr), 0);
  EXPECT_EQ(xp_control(nullptr, XP_CTL_VALUE, 0, nullptr), 0);
  EXPECT_EQ(xp_duplicate(nullptr, 0), nullptr);
  EXPECT_EQ(xp_deserialize(nullptr, 0, nullptr), nullptr);
  EXPECT_EQ(xp_instanceof(nullptr, 0), 0);
  EXPECT_EQ(xp_value(nullptr), 0);
}

TEST_F(object_test, order_is_null_then_type_then_the_types_own_then_address) {
  ref low = ref::adopt(sample_new(0, 1));
  ref high = ref::adopt(sample_new(0, 9));
  ref same = ref::adopt(sample_new(0, 9));
  ref number = ref::adopt(xp_number_new(100));
  ref truth = ref::adopt(xp_boolean_new(1));
  EXPECT_EQ(xp_compare(nullptr, nullptr), 0);
  EXPECT_EQ(xp_compare(nullptr, low.get()), -1);
  EXPECT_EQ(xp_compare(low.get(), nullptr), 1);
  EXPECT_EQ(xp_compare(low.get(), high.get()), -8);
  EXPECT_EQ(xp_compare(high.get(), same.get()), 0);
  // The last character weighs most: "bool" < "smpl" < "xnum" as little-endian integers.
  EXPECT_EQ(xp_compare(truth.get(), low.get()), -1);
  EXPECT_EQ(xp_compare(number.get(), low.get()), 1);
  EXPECT_EQ(xp_order(nullptr, number.get(), low.get()), 1);
  EXPECT_EQ(xp_match(nullptr, low.get(), high.get()), -8);

  // A compare operation that is not the same function on both sides does not count.
  same.get()->compare = nullptr;
  int64_t by_address = high.get() < same.get() ? -1 : 1;
  EXPECT_EQ(xp_compare(high.get(), same.get()), by_address);
  EXPECT_EQ(xp_compare(same.get(), high.get()), -by_address);
}

TEST_F(object_test, null_objects_are_true_and_equal_to_themselves_alone) {
  ref a = ref::adopt(xp_null_new());
  ref b = ref::adopt(xp_null_new());
  EXPECT_EQ(xp_type(a.get()), xp_null_type());
  EXPECT_EQ(xp_compare(a.get(), a.get()), 0);
  EXPECT_NE(xp_compare(a.get(), b.get()), 0);
  EXPECT_EQ(xp_truthy(a.get()), 1);
  EXPECT_EQ(xp_truthy(nullptr), 0);
  EXPECT_EQ(xp_falsey(nullptr), 1);
  EXPECT_EQ(xp_textify(a.get(), nullptr, 0), 0);
}

TEST_F(object_test, stream_writes_the_text_in_one_piece_whatever_its_length) {
  for (int64_t length : {0, 1, 255, 256, 257, 100000}) {
    ref obj = ref::adopt(sample_new(length));
    std::vector<std::string> pieces;
    EXPECT_EQ(xp_stream(obj.get(), collect, &pieces), 77) << length;
    ASSERT_EQ(pieces.size(), 1u) << length;
    EXPECT_EQ(pieces[0], std::string(static_cast<size_t>(length), 'x'));
  }
  // A text that no memory can hold is never asked for.
  ref huge = ref::adopt(sample_new(INT64_MAX));
  std::vector<std::string> pieces;
  EXPECT_EQ(xp_stream(huge.get(), collect, &pieces), -1);
  EXPECT_TRUE(pieces.empty());
}

TEST_F(object_test, stream_prefers_the_types_own_streamer) {
  ref obj = ref::adopt(sample_new(5));
  xp::as<sample>(obj.get())->streams = true;
  std::vector<std::string> pieces;
  EXPECT_EQ(xp_stream(obj.get(), collect, &pieces), 1077);
  EXPECT_EQ(pieces, std::vector<std::string>{"own"});
}

TEST_F(object_test, control_decides_about_copy_kinship_and_emptiness) {
  ref obj = ref::adopt(sample_new(5));
  ref shared = ref::adopt(xp_duplicate(obj.get(), 0));
  EXPECT_EQ(shared.get(), obj.get());
  EXPECT_EQ(xp_refs(obj.get()), 2);
  xp::as<sample>(obj.get())->copies = true;
  ref copy = ref::adopt(xp_duplicate(obj.get(), XP_DUP_SHALLOW));
  EXPECT_EQ(xp::as<sample>(copy.get())->length, XP_DUP_SHALLOW);

  EXPECT_EQ(xp_instanceof(obj.get(), xp_code("smpl")), 1);
  EXPECT_EQ(xp_instanceof(obj.get(), xp_code("trav")), 1);
  EXPECT_EQ(xp_instanceof(obj.get(), xp_code("dict")), 0);

  ref empty = ref::adopt(sample_new(0));
  EXPECT_EQ(xp_falsey(empty.get()), 1);
  EXPECT_EQ(xp_truthy(empty.get()), 0);
  EXPECT_EQ(xp_truthy(obj.get()), 1);
}

TEST_F(object_test, downcast_checks_the_type) {
  ref number = ref::adopt(xp_number_new(3));
  ref obj = ref::adopt(sample_new(3));
  EXPECT_EQ(xp::as<sample>(number.get()), nullptr);
  EXPECT_EQ(xp::as<sample>(nullptr), nullptr);
  EXPECT_NE(xp::as<sample>(obj.get()), nullptr);
  EXPECT_EQ(xp::make<sample>(sample_ops, SIZE_MAX - 8), nullptr);
  EXPECT_EQ(xp::make<sample>(sample_ops, SIZE_MAX / 2), nullptr);
}

TEST_F(object_test, ref_owns_exactly_one_reference) {
  ref owner = ref::adopt(sample_new(1));
  xp_obj *obj = owner.get();
  {
    ref copy = owner;
    ref sharer = ref::share(obj);
    EXPECT_EQ(xp_refs(obj), 3);
    ref moved = std::move(copy);
    EXPECT_EQ(xp_refs(obj), 3);
    EXPECT_EQ(moved.get(), obj);
    EXPECT_FALSE(copy);
    sharer = nullptr;
    EXPECT_EQ(xp_refs(obj), 2);
    ref &same = owner;
    owner = same;
    EXPECT_EQ(owner.get(), obj);
  }
  EXPECT_EQ(xp_refs(obj), 1);
  xp_release(owner.leak());
  EXPECT_FALSE(owner);
}

TEST(live_objects, counts_what_is_made_and_destroyed) {
  int64_t before = xp::live_objects();
  if (before < 0) GTEST_SKIP() << "this build does not track objects";
  xp_obj *obj = xp_new(xp_code("smpl"), 0);
  EXPECT_EQ(xp::live_objects(), before + 1);
  xp_retain(obj);
  xp_release(obj);
  EXPECT_EQ(xp::live_objects(), before + 1);
  xp_release(obj);
  EXPECT_EQ(xp::live_objects(), before);
}

}  // namespace
