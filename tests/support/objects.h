// Runtime objects in tests: made from plain values and read back as text.

#ifndef TESTS_SUPPORT_OBJECTS_H
#define TESTS_SUPPORT_OBJECTS_H

#include "tests/support/leak_check.h"
#include "xp/object/ref.h"

#include <stdint.h>

#include <concepts>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

xp::ref num(int64_t value);
xp::ref str(std::string_view text);

// What a JSON text holds, at a path if one is given; null when it has a fault or nothing is there.
xp::ref tree(std::string_view json, const char *path = nullptr);

// A value for a container of raw values.
inline xp_obj *raw(uintptr_t value) {
  return reinterpret_cast<xp_obj *>(value);
}

// An object's text, "null" for none; arrays and dictionaries as compact JSON with their keys in order.
std::string text_of(xp_obj *obj);

// The same of a new reference.
std::string taken(xp_obj *obj);

// Tables of short texts: "a>b c>d" gives the pairs of a and b, c and d.
std::vector<std::pair<std::string, std::string>> pairs_of(const std::string &text);

// What a call gave: a number, a text, or an object as its text. A plain pointer is a new reference, which is
// released.
struct gave {
  std::string text;

  template <std::integral Number>
  gave(Number number) : text(std::to_string(number)) {}
  gave(const char *string) : text(string == nullptr ? "null" : string) {}
  gave(std::string_view string) : text(string) {}
  gave(const std::string &string) : text(string) {}
  gave(xp_obj *obj) : text(taken(obj)) {}
  gave(const xp::ref &obj) : text(text_of(obj.get())) {}
  gave(std::nullptr_t) = delete;
};

// Compares what calls gave, one after the other, with one line: the texts with a space between.
void expect(std::initializer_list<gave> given, std::string_view line, const char *file = __builtin_FILE(),
            int at = __builtin_LINE());

#endif
