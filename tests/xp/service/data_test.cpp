#include "xp/service/data.h"

#include "tests/support/leak_check.h"
#include "xp/object/memory.h"
#include "xp/object/record.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/service/base64.h"

#include <string.h>

#include <string>

namespace {

using xp::ref;

class data_test : public leak_check {};

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
  EXPECT_EQ(xp_data_append(d.get(), "x", -1), -1);
  EXPECT_EQ(xp_data_append(d.get(), nullptr, INT64_MAX), -1);
  EXPECT_EQ(xp_data_append(d.get(), nullptr, INT64_MAX - 3), -1);
  EXPECT_EQ(content(d), "abc");

  static const char constant[] = "constant";
  ref fixed = ref::adopt(xp_data_const(constant, 8));
  EXPECT_EQ(xp_data_getptr(fixed.get()), constant);
  EXPECT_EQ(xp_data_append(fixed.get(), "x", 1), -1);

  void *block = xp_alloc(16);
  ref taken = ref::adopt(xp_data_alloc(block, 16));
  EXPECT_EQ(xp_data_getptr(taken.get()), block);
  EXPECT_EQ(xp_data_append(taken.get(), "x", 1), 17);

  EXPECT_EQ(xp_data_new("x", -1), nullptr);
  EXPECT_EQ(xp_data_const(nullptr, 1), nullptr);
  EXPECT_EQ(xp_data_append(nullptr, "x", 1), -1);
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

std::string base64(const std::string &bytes, uint32_t flags) {
  auto length = static_cast<int64_t>(bytes.size());
  std::string text(static_cast<size_t>(xp_b64_encode(bytes.data(), length, flags, nullptr, 0)), '#');
  EXPECT_EQ(xp_b64_encode(bytes.data(), length, flags, text.data(), static_cast<int64_t>(text.size())),
            static_cast<int64_t>(text.size()));
  return text;
}

TEST(base64_test, known_texts) {
  struct {
    std::string bytes;
    std::string standard;
    std::string url;
  } const cases[] = {
      {"", "", ""},
      {"f", "Zg==", "Zg"},
      {"fo", "Zm8=", "Zm8"},
      {"foo", "Zm9v", "Zm9v"},
      {"foob", "Zm9vYg==", "Zm9vYg"},
      {"\xfb\xff\xfe", "+//+", "-__-"},
      {std::string("\0\0\xff", 3), "AAD/", "AAD_"},
  };
  for (const auto &[bytes, standard, url] : cases) {
    EXPECT_EQ(base64(bytes, 0), standard);
    EXPECT_EQ(base64(bytes, XP_B64_URL), url);
  }
}

TEST(base64_test, a_short_buffer_takes_whole_groups) {
  char buffer[16];
  for (int64_t capacity : {-1, 0, 1, 3, 4, 5, 7, 8, 9}) {
    memset(buffer, '#', sizeof buffer);
    int64_t expected = capacity < 4 ? 0 : capacity < 8 ? 4 : 8;
    EXPECT_EQ(xp_b64_encode("foob", 4, 0, buffer, capacity), expected) << capacity;
    EXPECT_EQ(buffer[expected], '#');
  }
  EXPECT_EQ(xp_b64_encode("foob", 4, XP_B64_URL, buffer, 5), 4);
  EXPECT_EQ(xp_b64_encode("foob", 4, XP_B64_URL, buffer, 6), 6);
  EXPECT_EQ(xp_b64_encode(nullptr, 4, 0, buffer, 16), 0);
  EXPECT_EQ(xp_b64_encode("x", INT64_MAX, 0, nullptr, 0), 0);
}

}  // namespace
