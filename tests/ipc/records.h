// Records and messages as bytes, written independently of the library, and the two ends of a real socket.

#ifndef TESTS_IPC_RECORDS_H
#define TESTS_IPC_RECORDS_H

#include "ipc/channel.h"
#include "ipc/clock.h"
#include "ipc/connection.h"
#include "ipc/mbuf.h"
#include "ipc/message.h"
#include "ipc/ntld.h"
#include "ipc/ntld_raw.h"
#include "ipc/session.h"
#include "tests/support/leak_check.h"
#include "xp/object/ref.h"

#include <stdint.h>
#include <sys/socket.h>
#include <unistd.h>

#include <random>
#include <string>
#include <string_view>

using namespace std::string_literals;

// A number as four big-endian bytes.
inline std::string be32(uint32_t value) {
  std::string bytes(4, 0);
  for (int i = 3; i >= 0; --i, value >>= 8)
    bytes[static_cast<size_t>(i)] = static_cast<char>(value);
  return bytes;
}

// A record that claims `length` data bytes, whatever it holds.
inline std::string lying(std::string_view name, std::string_view type, uint32_t length,
                         std::string_view data = "") {
  return std::string(name) + std::string(type) + be32(length) + std::string(data);
}

// A well-formed record.
inline std::string record(std::string_view name, std::string_view type, std::string_view data) {
  std::string bytes = lying(name, type, static_cast<uint32_t>(data.size()), data);
  return bytes.append((4 - data.size() % 4) % 4, 0);
}

// A reply with everything a reply needs.
inline std::string reply_bytes(uint32_t number, std::string_view params = "", std::string_view name = "@!*%",
                               uint32_t version = 1) {
  return record("msgd", "data",
                record("call", "long", name) + record("vers", "long", be32(version)) +
                    record("msgn", "long", be32(number)) + record("ptyp", "long", "serv") +
                    record("ptid", "long", be32(0)) + record("ipcp", "data", params));
}

inline std::string bytes_of(xp_obj *message) {
  const uint8_t *bytes = ipc_msg_buf(message);
  return bytes == nullptr ? "" : std::string(bytes, bytes + ipc_msg_size(message));
}

// A request with one text parameter "text".
inline xp::ref request_of(uint32_t name, std::string_view text = "") {
  xp::ref m = xp::ref::adopt(ipc_msg_alloc(name));
  ipc_msg_start_params(m.get());
  ipc_msg_set_param(m.get(), xp_code("text"), xp_code("text"), text.data(),
                    static_cast<uint32_t>(text.size()));
  ipc_msg_end_params(m.get());
  return m;
}

inline std::string text_in(xp_obj *message) {
  uint32_t size = 0;
  ipc_msg_get_param(message, xp_code("text"), 0, nullptr, &size);
  std::string text(size, 0);
  ipc_msg_get_param(message, xp_code("text"), 0, text.data(), &size);
  return text;
}

// A handler that answers a request's text with itself, after so many ms if there is a context.
inline int32_t echo(xp_obj *request, xp_obj *reply, uint32_t, uint32_t, void *delay) {
  const std::string text = text_in(request);
  if (delay != nullptr) ipc_sleep(*static_cast<int32_t *>(delay));
  ipc_msg_start_params(reply);
  ipc_msg_set_param(reply, xp_code("text"), xp_code("text"), text.data(), static_cast<uint32_t>(text.size()));
  return 0;
}

// The text that a call with this text is answered with, or the call's code.
inline std::string ask(const xp::ref &client, const std::string &text) {
  const xp::ref request = request_of(xp_code("ECHO"), text), reply = xp::ref::adopt(ipc_msg_alloc(0));
  const int32_t code = ipc_call(client.get(), request.get(), reply.get());
  return code == 0 ? text_in(reply.get()) : std::to_string(code);
}

// A session that no other test uses at the same time.
inline int32_t new_session() {
  return ipc_session_explicit(std::random_device()() | 0x80000000);
}

// A channel over a connected descriptor.
inline xp::ref channel_over(int descriptor) {
  xp::ref c = xp::ref::adopt(ipc_com_alloc());
  EXPECT_EQ(ipc_com_connect_to(c.get(), 0, 0, descriptor), 0);
  return c;
}

// A buffer of the standard size with these bytes.
inline xp::ref buffer_of(std::string_view bytes) {
  xp::ref b = xp::ref::adopt(ipc_mbuf_alloc(IPC_MBUF_STANDARD));
  ipc_mbuf_set(b.get(), bytes.data(), static_cast<int64_t>(bytes.size()));
  return b;
}

// The records of a block in one line: " name=number" and " name:text", a tag as " name!text".
inline std::string described(const uint8_t *block, uint32_t from = 0) {
  const auto four = [](uint32_t code) { return std::string(reinterpret_cast<const char *>(&code), 4); };
  std::string line;
  for (uint32_t i = from; i < xp_ntld_raw_count(block); ++i) {
    const uint8_t *record = xp_ntld_raw_getbyindex(block, i);
    const uint32_t type = xp_ntld_raw_type(record);
    line += " " + four(xp_ntld_raw_name(record));
    if (type == xp_code("long")) {
      line += "=" + std::to_string(xp_ntld_raw_long(record));
    } else {
      line +=
          (type == xp_code("ctag") ? "!" : ":") +
          std::string(reinterpret_cast<const char *>(xp_ntld_raw_data(record)), xp_ntld_raw_length(record));
    }
  }
  return line;
}

// Two connected stream sockets: one is handed to the library, the other is driven by the test.
class socket_pair {
public:
  socket_pair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_), 0); }
  ~socket_pair() {
    hang_up();
    if (ends_[0] >= 0) close(ends_[0]);
  }
  socket_pair(const socket_pair &) = delete;
  socket_pair &operator=(const socket_pair &) = delete;

  // The library's end, which the library now owns.
  int take() { return std::exchange(ends_[0], -1); }
  int library_end() const { return ends_[0]; }
  int peer() const { return ends_[1]; }

  void hang_up() {
    if (ends_[1] >= 0) close(std::exchange(ends_[1], -1));
  }

  void write(std::string_view bytes) const {
    while (!bytes.empty()) {
      ssize_t count = TEMP_FAILURE_RETRY(send(ends_[1], bytes.data(), bytes.size(), MSG_NOSIGNAL));
      if (count < 0) return;
      bytes.remove_prefix(static_cast<size_t>(count));
    }
  }

  // One whole message, or what came before the other end closed.
  std::string read_message() const {
    std::string bytes = read(12);
    if (bytes.size() < 12) return bytes;
    uint32_t length = 0;
    for (size_t i = 8; i < 12; ++i)
      length = length << 8 | static_cast<uint8_t>(bytes[i]);
    return bytes + read(length);
  }

  std::string read(size_t length) const {
    std::string bytes(length, 0);
    size_t got = 0;
    while (got < length) {
      ssize_t count = TEMP_FAILURE_RETRY(::read(ends_[1], bytes.data() + got, length - got));
      if (count <= 0) break;
      got += static_cast<size_t>(count);
    }
    bytes.resize(got);
    return bytes;
  }

private:
  int ends_[2] = {-1, -1};
};

#endif
