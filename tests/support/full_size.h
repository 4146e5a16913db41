// How much a test does: little in every run, all of it where somebody asks for that (script/test --full).

#ifndef TESTS_SUPPORT_FULL_SIZE_H
#define TESTS_SUPPORT_FULL_SIZE_H

#include <stdlib.h>

inline int at_full_size(int all, int otherwise) {
  return getenv("CORVANE_FULL_SIZE") != nullptr ? all : otherwise;
}

#endif
