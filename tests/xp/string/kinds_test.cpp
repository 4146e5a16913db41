// Adopted, tagged, valued and secure strings.

#include "xp/string/kinds.h"

#include "tests/xp/string/strings.h"
#include "xp/object/memory.h"
#include "xp/object/object.h"
#include "xp/string/string.h"

#include <string.h>

// Part of the sanitizers' run-time library; null where there is none.
extern "C" [[gnu::weak]] int __sanitizer_install_malloc_and_free_hooks(
    void (*on_malloc)(const volatile void *, size_t), void (*on_free)(const volatile void *));

namespace {

using string_kinds = leak_check;

char *heap_text(std::string_view text) {
  auto *block = static_cast<char *>(xp_alloc(text.size() + 1));
  memcpy(block, text.data(), text.size());
  return block;
}

TEST_F(string_kinds, all_work_alike) {
  xp::ref value = num(77), plain = str("hello");
  xp_obj *const kinds[] = {
      xp_str_alloc(heap_text("Hello")),
      xp_str_newtagged("Hello", 5),
      xp_str_maketagged("Hello!", 5, UINT64_MAX),
      xp_str_newvalued("Hello", value.get()),
      xp_str_makevalued("Hello!", 5, nullptr),
      xp_str_secure(xp_str_new("Hello")),
      xp_str_secure(xp_str_alloc(heap_text("Hello"))),
  };
  for (xp_obj *made : kinds) {
    xp::ref s = xp::ref::adopt(made), longer = xp::ref::adopt(xp_str_append(made, "!", -1));
    expect({s, xp_str_getptr(made)[5], xp_compare(made, plain.get()), xp_textify(made, nullptr, 0),
            xp_falsey(made), changed(s, xp_duplicate(made, 0)), changed(s, xp_str_trim(made)), longer,
            xp_str_gettag(longer.get())},
           "Hello 0 0 5 0 (same) (same) Hello! 0");
    EXPECT_EQ(xp_type(made), xp_str_type());
  }
}

TEST_F(string_kinds, tags_and_values) {
  xp::ref tagged = xp::ref::adopt(xp_str_newtagged("t", UINT64_MAX)), one = str("one"), number = num(77);
  xp::ref valued = xp::ref::adopt(xp_str_newvalued("v", one.get()));
  expect({xp_refs(one.get()), xp_str_gettag(tagged.get()), xp_str_getvalue(valued.get()),
          xp_str_setvalue(valued.get(), tagged.get()), xp_refs(one.get()), xp_str_getvalue(valued.get()),
          xp_str_setvalue(valued.get(), nullptr), xp_str_getvalue(valued.get())},
         "2 18446744073709551615 one 1 1 t 1 null");
  // The wrong kind, no string, null.
  for (xp_obj *other : {one.get(), number.get(), static_cast<xp_obj *>(nullptr)}) {
    expect({xp_str_gettag(other), xp_str_getvalue(other), xp_str_setvalue(other, one.get())}, "0 null 0");
    EXPECT_EQ(xp_str_secure(other), other);
  }
  expect({xp_str_gettag(valued.get()), xp_str_getvalue(tagged.get())}, "0 null");
}

// --- Wiping ---

constexpr std::string_view secret = "correct horse battery staple, and some more of it";

// What the text's block holds once the string is gone. Under a sanitizer the block is looked at when it is
// given back, otherwise right afterwards: the heap links free blocks through their first words and leaves the
// rest.
const char *watched = nullptr;
std::string left;

void look() {
  left.clear();
  for (size_t i = 0; i < secret.size(); ++i)
    left += *reinterpret_cast<const volatile char *>(reinterpret_cast<uintptr_t>(watched) + i);
}

void on_malloc(const volatile void *, size_t) {}

void on_free(const volatile void *block) {
  auto from = reinterpret_cast<uintptr_t>(block);
  auto text = reinterpret_cast<uintptr_t>(watched);
  if (watched == nullptr || text < from || text - from > 128) return;
  look();
  watched = nullptr;
}

std::string left_behind(xp_obj *s) {
  static const bool hooked = __sanitizer_install_malloc_and_free_hooks != nullptr &&
                             __sanitizer_install_malloc_and_free_hooks(on_malloc, on_free) > 0;
  watched = xp_str_getptr(s);
  left.clear();
  xp_release(s);
  if (!hooked) look();
  return left.substr(16);
}

TEST_F(string_kinds, secure_strings_leave_zeros) {
  const std::string zeros(secret.size() - 16, '\0'), open(secret.substr(16));
  xp_obj *s = xp_str_secure(xp_str_new(secret.data()));
  xp_release(xp_retain(s));
  EXPECT_EQ(text_of(s), secret) << "only the last release wipes";
  EXPECT_EQ(left_behind(s), zeros);
  EXPECT_EQ(left_behind(xp_str_secure(xp_str_secure(xp_str_alloc(heap_text(secret))))), zeros);
  // The others show that this test would see what stayed.
  EXPECT_EQ(left_behind(xp_str_new(secret.data())), open);
  EXPECT_EQ(left_behind(xp_str_alloc(heap_text(secret))), open);
  EXPECT_EQ(left_behind(xp_str_secure(xp_str_newtagged(secret.data(), 1))), open);
  static const std::string constant(secret);
  xp_release(xp_str_secure(xp_str_const(constant.c_str())));
  EXPECT_EQ(constant, secret);
}

}  // namespace
