// 16-bit text (UTF-16) as UTF-8. A surrogate without its partner becomes U+FFFD. Internal to the format
// engine.

#ifndef XP_FORMAT_WIDE_H
#define XP_FORMAT_WIDE_H

#include <stdint.h>

// Holds the converted text as long as it lives. With a length below 0 the text ends at its zero unit. A
// `limit` of 0 or more bytes says that no more than that is needed, so no more units than that are looked at.
// Without memory the text is null and empty.
class xpf_wide_text {
public:
  xpf_wide_text(const char16_t *units, int64_t length, int64_t limit, char *buffer, int64_t size);
  ~xpf_wide_text();
  xpf_wide_text(const xpf_wide_text &) = delete;
  xpf_wide_text &operator=(const xpf_wide_text &) = delete;

  const char *text() const { return text_; }
  int64_t length() const { return length_; }

private:
  char *buffer_;
  char *text_ = nullptr;
  int64_t length_ = 0;
};

#endif
