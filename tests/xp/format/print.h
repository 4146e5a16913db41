// Formats in every way there is and checks that they agree: the measured length, the buffer, the stream, and
// every shorter buffer, which must hold a prefix of whole characters.

#ifndef TESTS_XP_FORMAT_PRINT_H
#define TESTS_XP_FORMAT_PRINT_H

#include "xp/format/format.h"
#include "xp/string/text.h"

#include <gtest/gtest.h>
#include <stdarg.h>
#include <stdint.h>

#include <algorithm>
#include <string>

inline int64_t append_to_string(void *context, const char *bytes, int64_t length) {
  static_cast<std::string *>(context)->append(bytes, static_cast<size_t>(length));
  return length;
}

// The text that `fill(buffer, size)` makes. In a buffer that is too short, less than `longest` bytes of room
// may be left: no character and no escape is longer.
template <typename Fill>
std::string text_in_every_buffer(int64_t longest, const Fill &fill) {
  const int64_t length = fill(nullptr, 0);
  std::string text(static_cast<size_t>(length), '\0');
  EXPECT_EQ(fill(text.data(), length + 1), length);
  const bool is_utf8 = xp_str_txtvalid(text.data(), length) < 0;
  for (int64_t size = 1; size <= length + 1 && size < 80; ++size) {
    std::string buffer(static_cast<size_t>(size) + 1, '\x7F');
    const int64_t written = fill(buffer.data(), size);
    EXPECT_TRUE(written < size && written + longest >= std::min(size, length + 1))
        << written << " in " << size;
    const std::string beginning = text.substr(0, static_cast<size_t>(written));
    EXPECT_EQ(buffer.substr(0, beginning.size() + 1), beginning + '\0') << "in a buffer of " << size;
    EXPECT_EQ(buffer.back(), '\x7F') << "written behind the buffer of " << size;
    EXPECT_TRUE(!is_utf8 || xp_str_txtvalid(buffer.data(), written) < 0) << "cut in a buffer of " << size;
  }
  return text;
}

inline std::string print(const char *format, ...) {
  va_list arguments, again;
  va_start(arguments, format);
  const std::string text = text_in_every_buffer(9, [&](char *buffer, int64_t size) {
    va_copy(again, arguments);
    const int64_t written = xp_fmt_vformat(buffer, size, format, again);
    va_end(again);
    return written;
  });
  std::string streamed;
  EXPECT_EQ(xp_fmt_vstream(append_to_string, &streamed, format, arguments), std::ssize(text));
  EXPECT_EQ(streamed, text);
  va_end(arguments);
  return text;
}

#endif
