#include "xp/service/base64.h"

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "xp/service/data.h"

#include <string.h>

#include <random>
#include <vector>

namespace {

using xp::ref;

using base64_test = leak_check;

std::string base64(const std::string &bytes, uint32_t flags) {
  auto length = static_cast<int64_t>(bytes.size());
  std::string text(static_cast<size_t>(xp_b64_encode(bytes.data(), length, flags, nullptr, 0)), '#');
  EXPECT_EQ(xp_b64_encode(bytes.data(), length, flags, text.data(), static_cast<int64_t>(text.size())),
            static_cast<int64_t>(text.size()));
  return text;
}

TEST_F(base64_test, known_texts) {
  for (const auto &[bytes, texts] : pairs_of(">, f>Zg==,Zg fo>Zm8=,Zm8 foo>Zm9v,Zm9v \xfb\xff\xfe>+//+,-__-"))
    EXPECT_EQ(base64(bytes, 0) + "," + base64(bytes, XP_B64_URL), texts);
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

TEST_F(base64_test, lenient_decoding_takes_what_people_write) {
  EXPECT_EQ(decoded(" Z g = \r\n= ", XP_B64_LENIENT), "f");
  EXPECT_EQ(decoded("Zm9v\n\tYmFy", XP_B64_LENIENT), "foobar");
  EXPECT_EQ(decoded("  ", XP_B64_LENIENT), "");
  for (const auto &[text, bytes] : pairs_of("Zg=>f Zg>f Zm8>fo Zh>f +_-/>\xfb\xff\xbf")) {
    EXPECT_EQ(decoded(text, XP_B64_LENIENT), bytes) << text;
    EXPECT_EQ(decoded(text, XP_B64_LENIENT | XP_B64_URL), bytes) << text;
  }
  for (const char *text : {"Z", "Zg===", "Zm8==", "Zm9v=", "=", "Zg==Zg", "Zm.v", "Zm\v9v"}) {
    EXPECT_EQ(decoded(text, XP_B64_LENIENT), "!") << text;
    EXPECT_EQ(decoded(text, XP_B64_LENIENT | XP_B64_URL), "!") << text;
  }
}

TEST_F(base64_test, round_trips_and_one_text_for_each_content) {
  constexpr unsigned seed = 20261121;
  std::mt19937 random(seed);
  for (int i = 0; i < 5000; ++i) {
    std::string bytes(random() % (i % 2 == 0 ? 200 : 5), 0);
    for (char &c : bytes)
      c = static_cast<char>(random());
    for (uint32_t flags : {uint32_t{0}, uint32_t{XP_B64_URL}}) {
      std::string text = base64(bytes, flags);
      ASSERT_EQ(decoded(text, flags), bytes) << "seed " << seed;
      // Of the texts near by only those that encoding makes are taken.
      std::string other = text;
      other.replace(random() % (text.size() + 1), random() % 3, random() % 3,
                    "AQZg=-_+/ \n\xC3"[random() % 12]);
      const std::string read = decoded(other, flags);
      ASSERT_TRUE(read == "!" || base64(read, flags) == other) << other << ", seed " << seed;
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

// Writes `whole` into buffers of every size; what is expected of each is the longest of its parts that fits.
template <typename Write>
void expect_parts(const std::string &whole, const std::vector<int64_t> &parts, Write write) {
  for (int64_t capacity = -1; capacity < std::ssize(whole) + 2; ++capacity) {
    char buffer[16];
    memset(buffer, '#', sizeof buffer);
    int64_t fits = 0;
    for (int64_t part : parts)
      fits = part <= capacity ? part : fits;
    EXPECT_EQ(write(buffer, capacity), fits) << capacity;
    EXPECT_EQ(std::string_view(buffer, static_cast<size_t>(fits) + 1),
              whole.substr(0, static_cast<size_t>(fits)) + "#");
  }
}

TEST_F(base64_test, short_buffers_take_whole_groups_of_text_and_any_bytes) {
  expect_parts("Zm9vYg==", {4, 8},
               [](char *to, int64_t room) { return xp_b64_encode("foob", 4, 0, to, room); });
  expect_parts("Zm9vYg", {4, 6},
               [](char *to, int64_t room) { return xp_b64_encode("foob", 4, XP_B64_URL, to, room); });
  expect_parts("Zm9v\nYmFy", {4, 5, 9},
               [](char *to, int64_t room) { return xp_b64_lines("foobar", 6, 0, 4, to, room); });
  expect_parts("foobar", {1, 2, 3, 4, 5, 6},
               [](char *to, int64_t room) { return xp_b64_decode("Zm9vYmFy", -1, 0, to, room); });
  char buffer[16];
  expect(
      {xp_b64_encode(nullptr, 4, 0, buffer, 16), xp_b64_encode("x", INT64_MAX, 0, nullptr, 0),
       xp_b64_lines("x", INT64_MAX / 4 * 3 - 3, 0, 4, nullptr, 0), xp_b64_decode(nullptr, 4, 0, buffer, 16)},
      "0 0 0 0");
}

TEST_F(base64_test, text_becomes_data) {
  const ref data = ref::adopt(xp_b64_data("Zm9vYmE=", -1, 0)), empty = ref::adopt(xp_b64_data("", 0, 0));
  const auto *bytes = static_cast<const char *>(xp_data_getptr(data.get()));
  expect({xp_data_length(data.get()), std::string_view(bytes, 5), xp_data_length(empty.get()),
          xp_b64_data("Zm9vYmE", -1, 0), xp_b64_data(nullptr, 0, 0)},
         "5 fooba 0 null null");
}

}  // namespace
