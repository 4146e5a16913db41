#include "xp/service/data.h"

#include "tests/support/objects.h"
#include "xp/object/memory.h"
#include "xp/object/record.h"
#include "xp/object/type.h"

#include <string.h>

namespace {

using xp::ref;

using data_test = leak_check;

std::string content(const ref &d) {
  return {static_cast<const char *>(xp_data_getptr(d.get())), static_cast<size_t>(xp_data_length(d.get()))};
}

TEST_F(data_test, copies_grow_and_keep_what_they_hold) {
  ref d = ref::adopt(xp_data_new("abc", 3));
  std::string expected = "abc";
  for (int i = 0; i < 2000; ++i) {
    std::string piece(static_cast<size_t>(i % 7), static_cast<char>('a' + i % 26));
    expected += piece;
    ASSERT_EQ(xp_data_append(d.get(), piece.data(), static_cast<int64_t>(piece.size())),
              static_cast<int64_t>(expected.size()));
  }
  EXPECT_EQ(xp_data_append(d.get(), nullptr, 5), static_cast<int64_t>(expected.size()) + 5);
  EXPECT_EQ(content(d), expected + std::string(5, '\0'));
  EXPECT_EQ(content(ref::adopt(xp_data_new(nullptr, 3))), std::string(3, '\0'));
  EXPECT_EQ(xp_data_length(ref::adopt(xp_data_new(nullptr, 0)).get()), 0);
}

TEST_F(data_test, refused_appends_change_nothing) {
  ref d = ref::adopt(xp_data_new("abc", 3));
  expect({xp_data_append(d.get(), "x", -1), xp_data_append(d.get(), nullptr, INT64_MAX),
          xp_data_append(d.get(), nullptr, INT64_MAX - 3), content(d)},
         "-1 -1 -1 abc");
  static const char constant[] = "constant";
  ref fixed = ref::adopt(xp_data_const(constant, 8));
  EXPECT_EQ(xp_data_getptr(fixed.get()), constant);
  void *block = xp_alloc(16);
  ref owned = ref::adopt(xp_data_alloc(block, 16));
  EXPECT_EQ(xp_data_getptr(owned.get()), block);
  expect({xp_data_append(fixed.get(), "x", 1), xp_data_append(owned.get(), "x", 1),
          xp_data_append(nullptr, "x", 1), xp_data_new("x", -1), xp_data_const(nullptr, 1)},
         "-1 17 -1 null null");
  EXPECT_EQ(xp_data_getptr(nullptr), nullptr);
}

TEST_F(data_test, order_truth_and_copies) {
  ref a = ref::adopt(xp_data_new("ab", 2));
  ref longer = ref::adopt(xp_data_new("ab\0", 3));
  ref high = ref::adopt(xp_data_new("a\xff", 2));
  EXPECT_LT(xp_compare(a.get(), longer.get()), 0);
  EXPECT_GT(xp_compare(high.get(), longer.get()), 0);
  ref copy = ref::adopt(xp_duplicate(a.get(), 0));
  EXPECT_NE(copy.get(), a.get());
  EXPECT_EQ(xp_compare(copy.get(), a.get()), 0);
  EXPECT_EQ(xp_truthy(ref::adopt(xp_data_new(nullptr, 0)).get()), 1);
}

TEST_F(data_test, records_hold_the_bytes) {
  const char record[] = "blobdata\0\0\0\x05he\0lo\0\0\0";
  ref prototype = ref::adopt(xp_data_new(nullptr, 0));
  ref read = ref::adopt(xp_deserialize(prototype.get(), xp_code("blob"), record));
  EXPECT_EQ(content(read), std::string("he\0lo", 5));
  EXPECT_EQ(xp_deserialize(prototype.get(), xp_code("blub"), record), nullptr);
  EXPECT_EQ(xp_deserialize(prototype.get(), 0, "blobxstr\0\0\0\0"), nullptr);
  uint32_t length = 0;
  EXPECT_EQ(xp::result_pointer<void>(xp_control(read.get(), XP_CTL_POINTER, 0, &length)),
            xp_data_getptr(read.get()));
  EXPECT_EQ(length, 5u);
}

}  // namespace
