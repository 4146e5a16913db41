// Reads a received message through every getter, with all bytes behind it out of bounds.

#ifndef FUZZ_MESSAGE_READER_H
#define FUZZ_MESSAGE_READER_H

#include "ipc/mbuf.h"
#include "ipc/message.h"
#include "ipc/ntld.h"
#include "ipc/ntld_raw.h"
#include "xp/object/ref.h"

#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

inline void require(bool held, const char *what) {
  if (held) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// While it lives, the bytes of a message's buffer that are not the message's must not be touched: they are
// what earlier messages left there.
class behind_message {
public:
  explicit behind_message(xp_obj *m)
      : from_(ipc_msg_buf(m) + ipc_msg_size(m)), size_(static_cast<size_t>(room(m) - ipc_msg_size(m))) {
    ASAN_POISON_MEMORY_REGION(from_, size_);
  }
  behind_message(const behind_message &) = delete;
  behind_message &operator=(const behind_message &) = delete;
  ~behind_message() { ASAN_UNPOISON_MEMORY_REGION(from_, size_); }

private:
  static int64_t room(xp_obj *m) { return ipc_mbuf_getmax(xp::ref::adopt(ipc_msg_mem(m)).get()); }

  uint8_t *from_;
  size_t size_;
};

// One parameter of the block, or one record at top level.
inline void read_parameter(xp_obj *m, uint32_t name, int32_t inblock) {
  char out[24];
  int32_t number;
  int64_t quad;
  uint32_t word, length, size = sizeof out;
  const bool there = ipc_msg_get_info_param_ex(m, name, &word, &length, inblock) == 0;
  require((ipc_msg_get_param_ex(m, name, 0, out, &size, inblock) == 0) == there,
          "getters agree on what is there");
  require(size == (there ? std::min<size_t>(length, sizeof out) : 0), "what fits is copied");
  ipc_msg_get_param_ex(m, name, 0, nullptr, &size, inblock);
  require(size == length, "the length is told");
  if (inblock == 0) return;
  xp_obj *text = nullptr;
  ipc_msg_get_param_long(m, name, &number);
  ipc_msg_get_param_quad(m, name, &quad);
  ipc_msg_get_param_tag(m, name, &word);
  ipc_msg_get_param_cstr(m, name, out, sizeof out);
  ipc_msg_get_param_pstr(m, name, reinterpret_cast<uint8_t *>(out), sizeof out);
  require((ipc_msg_get_param_xpstr(m, name, &text) == 0) == there, "texts agree");
  require((text != nullptr) == (there && length != 0), "a text is made of its bytes");
  xp_release(text);
  require((ipc_msg_get_param_ptr(m, name) != nullptr) == there, "pointers agree");
}

inline void read_message(xp_obj *m) {
  const behind_message guard(m);
  uint32_t word;
  const bool named = ipc_msg_get_name(m, &word) == 0;
  const xp::ref builder = xp::ref::adopt(ipc_msg_get_ntld(m));
  require(named == (xp_ntld_getbyname(builder.get(), xp_code("call")) != nullptr), "both readers agree");
  require(xp_ntld_check(builder.get()) == ipc_msg_size(m), "a loaded message is read whole or not at all");
  for (uint32_t i = 0; i < std::min(xp_ntld_count(builder.get()), 8u); ++i)
    read_parameter(m, xp_ntld_raw_name(xp_ntld_getbyindex(builder.get(), i)), 0);

  const uint8_t *content = ipc_msg_get_content_ptr(m);
  read_parameter(m, xp_code("text"), 1);
  for (uint32_t i = 0; i < xp_ntld_raw_count(content); ++i) {
    const uint8_t *child = xp_ntld_raw_getbyindex(content, i);
    const uint32_t length = xp_ntld_raw_length(child);
    require(child + XP_NTLD_HEADER + length <= ipc_msg_buf(m) + ipc_msg_size(m),
            "parameters end inside the message");
    if (i < 16) read_parameter(m, xp_ntld_raw_name(child), 1);
    // A container inside: its own word for its length is no reason to leave it.
    if (xp_ntld_raw_verify(child, length + XP_NTLD_HEADER) != 0) xp_ntld_raw_getbyname(child, 0);
  }
}

#endif
