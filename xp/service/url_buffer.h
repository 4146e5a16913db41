// A text of at most a known size that is built up, and freed at the end of the block. Internal to this
// folder.

#ifndef XP_SERVICE_URL_BUFFER_H
#define XP_SERVICE_URL_BUFFER_H

#include "xp/object/memory.h"

#include <stddef.h>

#include <algorithm>
#include <string_view>

namespace xp {

class url_buffer {
public:
  explicit url_buffer(size_t capacity) : begin_(static_cast<char *>(xp_alloc(capacity + 1))), end_(begin_) {}
  url_buffer(const url_buffer &) = delete;
  url_buffer &operator=(const url_buffer &) = delete;
  ~url_buffer() { xp_free(begin_); }

  // False when memory is exhausted: nothing may be added then.
  explicit operator bool() const { return begin_ != nullptr; }

  [[nodiscard]] std::string_view text() const { return {begin_, static_cast<size_t>(end_ - begin_)}; }

  void add(std::string_view piece) { end_ = std::copy(piece.begin(), piece.end(), end_); }
  void add(char c) { *end_++ = c; }

  // Keeps the first `size` bytes.
  void cut(size_t size) { end_ = begin_ + size; }

private:
  char *begin_;
  char *end_;
};

}  // namespace xp

#endif
