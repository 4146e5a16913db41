#include "xp/service/joined_text.h"

#include "xp/object/memory.h"
#include "xp/string/string.h"

xp_obj *xp::join_text(std::initializer_list<std::string_view> pieces) {
  size_t size = 0;
  for (std::string_view piece : pieces)
    if (__builtin_add_overflow(size, piece.size(), &size)) return nullptr;
  char stack[512];
  auto *block = static_cast<char *>(xp_alloc_fast(size, 0, stack, sizeof stack));
  if (block == nullptr) return nullptr;
  char *at = block;
  for (std::string_view piece : pieces) {
    xp_memcpy(at, piece.data(), piece.size());
    at += piece.size();
  }
  xp_obj *string = xp_str_make(block, static_cast<int64_t>(size));
  xp_free_fast(block, stack);
  return string;
}

std::string_view xp::view(xp_obj *string) {
  const char *text = xp_str_getptr(string);
  return text == nullptr ? std::string_view()
                         : std::string_view(text, static_cast<size_t>(xp_str_length(string)));
}
