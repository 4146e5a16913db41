// What the tests of strings share.

#ifndef TESTS_XP_STRING_STRINGS_H
#define TESTS_XP_STRING_STRINGS_H

#include "tests/support/objects.h"

#include <string>
#include <string_view>

using namespace std::string_view_literals;

inline int64_t bytes_in(std::string_view text) {
  return static_cast<int64_t>(text.size());
}

// What was made of a string, as a new reference: its text, "null", or "(same)" for the string itself.
inline std::string changed(const xp::ref &s, xp_obj *made) {
  const std::string text = text_of(made);
  xp_release(made);
  return made != nullptr && made == s.get() ? "(same)" : text;
}

#endif
