// Bytes that come in at the back and leave at the front. Internal to this folder; lives in a zeroed struct,
// for one thread at a time.

#ifndef XP_SERVICE_BYTE_QUEUE_H
#define XP_SERVICE_BYTE_QUEUE_H

#include "xp/object/memory.h"

#include <stdint.h>

#include <algorithm>

namespace xp {

struct byte_queue {
  char *block;
  int64_t begin;
  int64_t end;
  int64_t capacity;

  [[nodiscard]] int64_t size() const { return end - begin; }
  [[nodiscard]] const char *front() const { return block + begin; }

  // Room for `count` more bytes at the back, for the caller to fill and put; null when memory is exhausted,
  // with nothing changed.
  char *room(int64_t count) {
    if (count > INT64_MAX - end) return nullptr;
    if (begin > 0 && end + count > capacity) {
      xp_memmov(block, block + begin, static_cast<size_t>(size()));
      end -= begin;
      begin = 0;
    }
    if (end + count <= capacity) return block + end;
    int64_t larger = std::max(end + count, capacity > INT64_MAX / 2 ? INT64_MAX : capacity * 2);
    auto *grown = static_cast<char *>(xp_alloc(static_cast<size_t>(larger)));
    if (grown == nullptr) return nullptr;
    xp_memcpy(grown, block, static_cast<size_t>(end));
    xp_free(block);
    block = grown;
    capacity = larger;
    return block + end;
  }

  void put(int64_t count) { end += count; }

  bool append(const char *bytes, int64_t count) {
    char *to = room(count);
    if (to == nullptr) return false;
    xp_memcpy(to, bytes, static_cast<size_t>(count));
    put(count);
    return true;
  }

  // Copies up to `limit` bytes from the front and returns their number; take passes them too.
  int64_t peek(void *buffer, int64_t limit) const {
    int64_t count = std::clamp<int64_t>(limit, 0, size());
    if (count > 0) xp_memcpy(buffer, front(), static_cast<size_t>(count));
    return count;
  }
  int64_t take(void *buffer, int64_t limit) {
    int64_t count = peek(buffer, limit);
    drop(count);
    return count;
  }

  void drop(int64_t count) {
    begin += count;
    if (begin == end) begin = end = 0;
  }

  void free() {
    xp_free(block);
    *this = {};
  }
};

}  // namespace xp

#endif
