#include "xp/service/base64.h"

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "xp/service/data.h"

#include <algorithm>
#include <random>
#include <string>

namespace {

using xp::ref;

using base64_test = leak_check;

// What `write(buffer, capacity)` puts into a buffer, behind which it leaves everything as it is.
template <typename Write>
std::string written(int64_t capacity, Write write) {
  std::string buffer(static_cast<size_t>(std::max<int64_t>(capacity, 0)) + 1, '#');
  const auto length = static_cast<size_t>(write(buffer.data(), capacity));
  EXPECT_EQ(buffer.find_first_not_of('#', length), std::string::npos);
  return buffer.substr(0, length);
}

// Whole text where no capacity is given.
std::string base64(const std::string &bytes, uint32_t flags, int64_t width = 0,
                   int64_t capacity = INT64_MAX) {
  const auto write = [&](char *buffer, int64_t room) {
    return xp_b64_lines(bytes.data(), std::ssize(bytes), flags, width, buffer, room);
  };
  return written(std::min(capacity, write(nullptr, 0)), write);
}

// The content, or "!" for what is not base64.
std::string decoded(const std::string &text, uint32_t flags, int64_t capacity = INT64_MAX) {
  const auto write = [&](char *buffer, int64_t room) {
    return xp_b64_decode(text.data(), std::ssize(text), flags, buffer, room);
  };
  const int64_t length = write(nullptr, 0);
  return length < 0 ? "!" : written(std::min(capacity, length), write);
}

TEST_F(base64_test, known_texts) {
  for (const auto &[bytes, texts] : pairs_of(">, f>Zg==,Zg fo>Zm8=,Zm8 foo>Zm9v,Zm9v \xfb\xff\xfe>+//+,-__-"))
    EXPECT_EQ(base64(bytes, 0) + "," + base64(bytes, XP_B64_URL), texts);
  char buffer[16];
  expect({xp_b64_encode(nullptr, 4, 0, buffer, 16), xp_b64_encode("x", INT64_MAX, 0, nullptr, 0),
          xp_b64_lines("x", INT64_MAX / 4 * 3 - 3, 0, 4, nullptr, 0),
          xp_b64_decode(nullptr, 4, 0, buffer, 16), xp_b64_decode("Zm9vYmFy", -1, 0, nullptr, 0)},
         "0 0 0 0 6");
}

TEST_F(base64_test, lenient_decoding_takes_what_people_write) {
  EXPECT_EQ(decoded(" Z g = \r\n= ", XP_B64_LENIENT) + decoded("Zm9v\n\tYmFy", XP_B64_LENIENT), "ffoobar");
  EXPECT_EQ(decoded("  ", XP_B64_LENIENT), "");
  for (const auto &[text, bytes] : pairs_of("Zg=>f Zg>f Zm8>fo Zh>f +_-/>\xfb\xff\xbf Z>! Zg===>! Zm8==>! "
                                            "Zm9v=>! =>! Zg==Zg>! Zm.v>! Zm\x7f"
                                            "9v>!"))
    for (const uint32_t flags : {XP_B64_LENIENT + 0U, XP_B64_LENIENT | XP_B64_URL})
      EXPECT_EQ(decoded(text, flags), bytes) << text;
}

TEST_F(base64_test, round_trips_and_one_text_for_each_content) {
  constexpr unsigned seed = 20261121;
  std::mt19937 random(seed);
  for (int i = 0; i < 5000; ++i) {
    std::string bytes(random() % (i % 2 == 0 ? 200 : 5), 0);
    for (char &c : bytes)
      c = static_cast<char>(random());
    const uint32_t flags = i % 4 < 2 ? 0U : XP_B64_URL;
    SCOPED_TRACE(testing::Message() << bytes.size() << " bytes, seed " << seed);
    const std::string text = base64(bytes, flags);
    const int64_t room = static_cast<int64_t>(random() % 300) - 1;
    ASSERT_EQ(decoded(text, flags), bytes);
    ASSERT_EQ(decoded(text, flags, room), bytes.substr(0, static_cast<size_t>(std::max<int64_t>(room, 0))));
    // Of the texts near by only those that encoding makes are taken.
    std::string other = text;
    other.replace(random() % (text.size() + 1), random() % 3, random() % 3,
                  "AQZg=-_+/ \n\xC3"[random() % 12]);
    const std::string read = decoded(other, flags);
    ASSERT_TRUE(read == "!" || base64(read, flags) == other) << other;
    // The naive twin of lines: a line feed into the plain text wherever one is full.
    const auto width = static_cast<int64_t>(random() % 90) - 5;
    const size_t full =
        width <= 0 ? text.size() / 4 * 4 + 4 : static_cast<size_t>(std::max<int64_t>(width / 4, 1)) * 4;
    std::string lines = text;
    for (size_t at = full; at < lines.size(); at += full + 1)
      lines.insert(at, 1, '\n');
    ASSERT_EQ(base64(bytes, flags, width), lines) << "width " << width;
    ASSERT_EQ(decoded(lines, XP_B64_LENIENT), bytes) << "width " << width;
    // A short buffer takes whole groups and line feeds.
    auto fits = static_cast<size_t>(std::max<int64_t>(room, 0));
    while (fits < lines.size() && fits % (full + 1) % 4 != 0)
      --fits;
    ASSERT_EQ(base64(bytes, flags, width, room), lines.substr(0, fits))
        << "width " << width << " in " << room;
  }
}

TEST_F(base64_test, text_becomes_data) {
  const ref data = ref::adopt(xp_b64_data("Zm9vYmE=", -1, 0)), empty = ref::adopt(xp_b64_data("", 0, 0));
  const auto *bytes = static_cast<const char *>(xp_data_getptr(data.get()));
  expect({xp_data_length(data.get()), std::string_view(bytes, 5), xp_data_length(empty.get()),
          xp_b64_data("Zm9vYmE", -1, 0), xp_b64_data(nullptr, 0, 0)},
         "5 fooba 0 null null");
}

}  // namespace
