// How much a test does: little in every run, all of it where somebody asks for that (script/test --full).

#ifndef TESTS_SUPPORT_FULL_SIZE_H
#define TESTS_SUPPORT_FULL_SIZE_H

#include <stdlib.h>

// Whether this is a sanitizer's build: slower, and its bookkeeping grows.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool sanitized = true;
#else
inline constexpr bool sanitized = false;
#endif

inline int at_full_size(int all, int otherwise) {
  return getenv("CORVANE_FULL_SIZE") != nullptr ? all : otherwise;
}

#endif
