// A message on receipt. Whatever bytes it is loaded from, by copying them or by taking their buffer over, it
// holds a well-formed record or nothing, and no getter leaves it.

#include "fuzz/message_reader.h"

#include <cstring>
#include <memory>
#include <string_view>

namespace {

std::string_view bytes_of(const xp::ref &m) {
  return {reinterpret_cast<const char *>(ipc_msg_buf(m.get())), static_cast<size_t>(ipc_msg_size(m.get()))};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const auto length = static_cast<int64_t>(size);
  // The same messages take every input, as a waiting call's reply does: what they held before must be gone.
  static const xp::ref kept = xp::ref::adopt(ipc_msg_alloc(0));
  const std::unique_ptr<uint8_t[]> exact(new uint8_t[size]);
  std::memcpy(exact.get(), data, size);
  const bool loaded = ipc_msg_from_buf(kept.get(), exact.get(), length) == 0;
  require(loaded == (ipc_msg_size(kept.get()) != 0), "a message that does not load is empty");
  require(std::memcmp(bytes_of(kept).data(), data, bytes_of(kept).size()) == 0, "loading changes nothing");
  read_message(kept.get());

  // A buffer without room behind the bytes.
  xp_obj *buffer = ipc_mbuf_alloc(length + (size % 4096 == 0));
  ipc_mbuf_set(buffer, data, length);
  static const xp::ref taken = xp::ref::adopt(ipc_msg_alloc(xp_code("APIC")));
  const xp::ref old = xp::ref::adopt(ipc_msg_exchangemem(taken.get(), buffer));
  require(bytes_of(taken) == bytes_of(kept), "both ways of loading agree");
  require(ipc_mbuf_getlen(old.get()) == 0, "the buffer given back is empty");
  read_message(taken.get());

  if (!loaded) return 0;
  const xp::ref copy = xp::ref::adopt(ipc_msg_copy(taken.get()));
  require(bytes_of(copy) == bytes_of(kept), "a copy has the same bytes");
  read_message(copy.get());
  return 0;
}
