// Copies that are mostly of a few bytes: cheaper than a call of memcpy. Internal to the runtime.

#ifndef XP_OBJECT_SHORT_COPY_H
#define XP_OBJECT_SHORT_COPY_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace xp {

struct two_words {
  uint64_t first, second;
};

// Copies `size` bytes, one to two Words, as the first and the last Word of them.
template <typename Word>
inline void copy_ends(char *to, const char *from, size_t size) {
  Word first;
  Word last;
  memcpy(&first, from, sizeof(Word));
  memcpy(&last, from + size - sizeof(Word), sizeof(Word));
  memcpy(to, &first, sizeof(Word));
  memcpy(to + size - sizeof(Word), &last, sizeof(Word));
}

inline void copy_short(char *to, const char *from, size_t size) {
  if (size > 32) {
    memcpy(to, from, size);
  } else if (size >= 16) {
    copy_ends<two_words>(to, from, size);
  } else if (size >= 8) {
    copy_ends<uint64_t>(to, from, size);
  } else if (size >= 4) {
    copy_ends<uint32_t>(to, from, size);
  } else if (size >= 2) {
    copy_ends<uint16_t>(to, from, size);
  } else if (size == 1) {
    *to = *from;
  }
}

}  // namespace xp

#endif
