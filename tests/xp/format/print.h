// Formats in every way there is and checks that they agree: the measured length, the buffer, the stream, and
// every shorter buffer, which must hold a prefix of whole characters.

#ifndef TESTS_XP_FORMAT_PRINT_H
#define TESTS_XP_FORMAT_PRINT_H

#include "xp/format/format.h"
#include "xp/string/text.h"

#include <gtest/gtest.h>
#include <stdarg.h>
#include <stdint.h>
#include <string.h>

#include <string>

inline int64_t append_to_string(void *context, const char *bytes, int64_t length) {
  static_cast<std::string *>(context)->append(bytes, static_cast<size_t>(length));
  return length;
}

inline std::string print(const char *format, ...) {
  va_list arguments, again;
  va_start(arguments, format);
  const auto fill = [&](char *buffer, size_t size) {
    va_copy(again, arguments);
    const int64_t written = xp_fmt_vformat(buffer, static_cast<int64_t>(size), format, again);
    va_end(again);
    return static_cast<size_t>(written);
  };
  const size_t length = fill(nullptr, 0);
  std::string text(length + 1, '\x7F'), streamed;
  EXPECT_EQ(fill(text.data(), length + 1), length);
  EXPECT_EQ(text.back(), '\0');
  text.pop_back();
  va_copy(again, arguments);
  EXPECT_EQ(xp_fmt_vstream(append_to_string, &streamed, format, again), static_cast<int64_t>(length));
  va_end(again);
  EXPECT_EQ(streamed, text);

  const bool is_utf8 = xp_str_txtvalid(text.data(), static_cast<int64_t>(length)) < 0;
  for (size_t size = 1; size <= length + 1 && size < 80; ++size) {
    std::string buffer(size + 1, '\x7F');
    const size_t written = fill(buffer.data(), size);
    EXPECT_EQ(buffer[size], '\x7F') << "written behind the buffer of " << size;
    EXPECT_LT(written, size);
    EXPECT_EQ(buffer.substr(0, written + 1), text.substr(0, written) + '\0') << "in a buffer of " << size;
    EXPECT_TRUE(!is_utf8 || xp_str_txtvalid(buffer.data(), static_cast<int64_t>(written)) < 0)
        << "cut in a buffer of " << size;
  }
  va_end(arguments);
  return text;
}

#endif
