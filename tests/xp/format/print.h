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

inline void check_short_buffers(const std::string &text, const char *format, va_list arguments) {
  bool whole_characters = xp_str_txtvalid(text.data(), static_cast<int64_t>(text.size())) < 0;
  for (size_t size = 1; size <= text.size() + 1 && size < 80; ++size) {
    std::string buffer(size + 1, '\x7F');
    va_list again;
    va_copy(again, arguments);
    auto written =
        static_cast<size_t>(xp_fmt_vformat(buffer.data(), static_cast<int64_t>(size), format, again));
    va_end(again);
    ASSERT_LT(written, size);
    EXPECT_EQ(buffer[written], '\0');
    EXPECT_EQ(buffer[size], '\x7F') << "written behind the buffer of " << size;
    EXPECT_EQ(buffer.substr(0, written), text.substr(0, written)) << "in a buffer of " << size;
    if (whole_characters) {
      EXPECT_LT(xp_str_txtvalid(buffer.data(), static_cast<int64_t>(written)), 0)
          << "cut in a buffer of " << size;
    }
  }
}

inline std::string print(const char *format, ...) {
  va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  auto length = static_cast<size_t>(xp_fmt_vformat(nullptr, 0, format, again));
  va_end(again);

  std::string text(length + 1, '\x7F');
  va_copy(again, arguments);
  EXPECT_EQ(xp_fmt_vformat(text.data(), static_cast<int64_t>(length) + 1, format, again),
            static_cast<int64_t>(length));
  va_end(again);
  EXPECT_EQ(text.back(), '\0');
  text.pop_back();

  std::string streamed;
  va_copy(again, arguments);
  EXPECT_EQ(xp_fmt_vstream(append_to_string, &streamed, format, again), static_cast<int64_t>(length));
  va_end(again);
  EXPECT_EQ(streamed, text);

  check_short_buffers(text, format, arguments);
  va_end(arguments);
  return text;
}

#endif
