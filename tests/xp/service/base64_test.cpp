#include "xp/service/base64.h"

#include "tests/support/leak_check.h"
#include "xp/object/ref.h"
#include "xp/service/data.h"

#include <string.h>

#include <random>
#include <string>

namespace {

using xp::ref;

class base64_data_test : public leak_check {};

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

// The content, or "!" for what is not base64.
std::string decoded(const std::string &text, uint32_t flags) {
  auto length = static_cast<int64_t>(text.size());
  const int64_t needed = xp_b64_decode(text.data(), length, flags, nullptr, 0);
  if (needed < 0) return "!";
  std::string bytes(static_cast<size_t>(needed), '#');
  EXPECT_EQ(xp_b64_decode(text.data(), length, flags, bytes.data(), needed), needed);
  return bytes;
}

TEST(base64_test, strict_decoding_takes_one_text_for_each_content) {
  for (const char *text :
       {"Z", "Zg", "Zg=", "Zg===", "Zm8", "Zm8==", "Zm9v=", "Zm9v====", "=",
        "====", "Zg==Zg==", "Zh==", "Zm9=", "Zm 9v", "Zm9v\n", "Zm-v", "Z_==", "Zm9\xc3", "Zg=v"}) {
    EXPECT_EQ(decoded(text, 0), "!") << text;
  }
  for (const char *text : {"Z", "Zg==", "Zg=", "Zh", "Zm9", "+A", "Z/", "Zg "})
    EXPECT_EQ(decoded(text, XP_B64_URL), "!") << text;
}

TEST(base64_test, lenient_decoding_takes_what_people_write) {
  struct {
    const char *text;
    const char *bytes;
  } const cases[] = {
      {" Z g = \r\n= ", "f"},
      {"Zg=", "f"},
      {"Zg", "f"},
      {"Zm8", "fo"},
      {"Zh", "f"},
      {"Zm9v\n\tYmFy", "foobar"},
      {"+_-/", "\xfb\xff\xbf"},
      {"", ""},
      {"  ", ""},
      {"Z", "!"},
      {"Zg===", "!"},
      {"Zm8==", "!"},
      {"Zm9v=", "!"},
      {"=", "!"},
      {"Zg==Zg", "!"},
      {"Zm.v", "!"},
      {"Zm\v9v", "!"},
  };
  for (auto [text, bytes] : cases) {
    EXPECT_EQ(decoded(text, XP_B64_LENIENT), bytes) << text;
    EXPECT_EQ(decoded(text, XP_B64_LENIENT | XP_B64_URL), bytes) << text;
  }
}

TEST(base64_test, round_trips) {
  constexpr unsigned seed = 20261121;
  std::mt19937 random(seed);
  for (int i = 0; i < 5000; ++i) {
    std::string bytes(random() % 200, 0);
    for (char &c : bytes)
      c = static_cast<char>(random());
    for (uint32_t flags : {uint32_t{0}, uint32_t{XP_B64_URL}}) {
      std::string text = base64(bytes, flags);
      ASSERT_EQ(decoded(text, flags), bytes) << "seed " << seed;
      const auto width = static_cast<int64_t>(random() % 90) - 5;
      auto length = static_cast<int64_t>(bytes.size());
      std::string lines(static_cast<size_t>(xp_b64_lines(bytes.data(), length, flags, width, nullptr, 0)),
                        '#');
      ASSERT_EQ(xp_b64_lines(bytes.data(), length, flags, width, lines.data(), std::ssize(lines)),
                std::ssize(lines));
      ASSERT_EQ(decoded(lines, XP_B64_LENIENT), bytes) << "width " << width << ", seed " << seed;
      // The naive twin: a line feed into the plain text wherever a line is full.
      const auto full = static_cast<size_t>(width < 4 ? 4 : width / 4 * 4);
      for (size_t at = full; width > 0 && at < text.size(); at += full + 1)
        text.insert(at, 1, '\n');
      ASSERT_EQ(lines, text) << "width " << width << ", seed " << seed;
    }
  }
}

TEST(base64_test, short_buffers_take_what_fits) {
  char buffer[16];
  for (int64_t capacity : {-1, 0, 1, 5, 6, 7}) {
    memset(buffer, '#', sizeof buffer);
    const int64_t expected = capacity < 0 ? 0 : capacity < 6 ? capacity : 6;
    EXPECT_EQ(xp_b64_decode("Zm9vYmFy", -1, 0, buffer, capacity), expected);
    EXPECT_EQ(memcmp(buffer, "foobar", static_cast<size_t>(expected)), 0);
    EXPECT_EQ(buffer[expected], '#');
  }
  for (int64_t capacity = 0; capacity <= 11; ++capacity) {
    memset(buffer, '#', sizeof buffer);
    const int64_t expected = capacity < 4 ? 0 : capacity < 5 ? 4 : capacity < 9 ? 5 : 9;
    EXPECT_EQ(xp_b64_lines("foobar", 6, 0, 4, buffer, capacity), expected) << capacity;
    EXPECT_EQ(memcmp(buffer, "Zm9v\nYmFy", static_cast<size_t>(expected)), 0);
    EXPECT_EQ(buffer[expected], '#');
  }
  EXPECT_EQ(xp_b64_lines("x", INT64_MAX / 4 * 3 - 3, 0, 4, nullptr, 0), 0);
  EXPECT_EQ(xp_b64_decode(nullptr, 4, 0, buffer, 16), 0);
}

TEST_F(base64_data_test, text_becomes_data) {
  ref data = ref::adopt(xp_b64_data("Zm9vYmE=", -1, 0));
  ASSERT_EQ(xp_data_length(data.get()), 5);
  EXPECT_EQ(memcmp(xp_data_getptr(data.get()), "fooba", 5), 0);
  EXPECT_EQ(xp_data_length(ref::adopt(xp_b64_data("", 0, 0)).get()), 0);
  EXPECT_EQ(xp_b64_data("Zm9vYmE", -1, 0), nullptr);
  EXPECT_EQ(xp_b64_data(nullptr, 0, 0), nullptr);
}

}  // namespace
