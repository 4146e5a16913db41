// What peers send. The input reaches a message that is loaded, a call that waits for its reply, and a server
// with a second, good client. It travels through real sockets and in pieces. Whatever it is, every getter
// keeps inside the message, the call ends, and the good client gets its answer.

#include "ipc/message.h"

#include "ipc/channel.h"
#include "ipc/connection.h"
#include "ipc/errors.h"
#include "ipc/mbuf.h"
#include "ipc/ntld_raw.h"
#include "ipc/session.h"
#include "xp/object/ref.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

constexpr uint32_t endpoint = xp_code("FUZZ");

void require(bool held, const char *what) {
  if (held) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

void read_message(xp_obj *m) {
  char out[24];
  int32_t number;
  int64_t quad;
  uint32_t word, length, size = sizeof out;
  xp_obj *text = nullptr;
  ipc_msg_get_name(m, &word);
  for (const uint32_t name : {xp_code("text"), xp_code("rslt"), xp_code("ipcp")}) {
    ipc_msg_get_param(m, name, 0, out, &size);
    ipc_msg_get_param_long(m, name, &number);
    ipc_msg_get_param_quad(m, name, &quad);
    ipc_msg_get_param_tag(m, name, &word);
    ipc_msg_get_param_cstr(m, name, out, sizeof out);
    ipc_msg_get_param_pstr(m, name, reinterpret_cast<uint8_t *>(out), sizeof out);
    ipc_msg_get_param_xpstr(m, name, &text);
    xp_release(text);
    const bool there = ipc_msg_get_info_param(m, name, &word, &length) == 0;
    require(there == (ipc_msg_get_param_ptr(m, name) != nullptr), "getters agree on what is there");
  }
  const uint8_t *content = ipc_msg_get_content_ptr(m);
  for (uint32_t i = 0; i < xp_ntld_raw_count(content); ++i) {
    const uint8_t *child = xp_ntld_raw_getbyindex(content, i);
    const int64_t end = xp_ntld_raw_data(child) + xp_ntld_raw_length(child) - ipc_msg_buf(m);
    require(end <= ipc_msg_size(m), "parameters end inside the message");
  }
}

void check_loading(std::string_view bytes) {
  const std::unique_ptr<char[]> exact(new char[bytes.size()]);
  std::memcpy(exact.get(), bytes.data(), bytes.size());
  const xp::ref m = xp::ref::adopt(ipc_msg_alloc(0));
  ipc_msg_from_buf(m.get(), exact.get(), static_cast<int64_t>(bytes.size()));
  read_message(m.get());
  const xp::ref copy = xp::ref::adopt(ipc_msg_copy(m.get()));
  require(ipc_msg_size(copy.get()) == ipc_msg_size(m.get()), "a copy has the same bytes");
}

void write_all(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count <= 0) return;
    bytes.remove_prefix(static_cast<size_t>(count));
  }
}

xp::ref request() {
  xp::ref m = xp::ref::adopt(ipc_msg_alloc(xp_code("ECHO")));
  ipc_msg_start_params(m.get());
  ipc_msg_set_param_cstr(m.get(), xp_code("text"), "hello");
  return m;
}

// The peer has answered and hung up before the call is made, so the call never waits.
void check_call(std::string_view bytes) {
  int ends[2];
  require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "sockets are there");
  const xp::ref client = xp::ref::adopt(ipc_alloc(0, IPC_SESSION_ZERO));
  require(ipc_connect_to(client.get(), ends[0], 0, 0, 2000) == 0, "the client connects");
  write_all(ends[1], bytes);
  shutdown(ends[1], SHUT_WR);
  const xp::ref message = request();
  ipc_msg_end_params(message.get());
  const xp::ref reply = xp::ref::adopt(ipc_msg_alloc(0));
  const int32_t result = ipc_call(client.get(), message.get(), reply.get());
  require(result == 0 || result == IpcErrTimeout, "a peer that hung up ends the call");
  read_message(reply.get());
  close(ends[1]);
}

int32_t echo(xp_obj *message, xp_obj *reply, uint32_t, uint32_t, void *) {
  read_message(message);
  ipc_msg_start_params(reply);
  ipc_msg_set_param_cstr(reply, xp_code("text"), "hello");
  return 0;
}

// One server for all inputs, with the good client's own socket.
struct house {
  int32_t session = ipc_session_explicit(static_cast<uint32_t>(getpid()) | 0x40000000);
  xp::ref server = xp::ref::adopt(ipc_alloc(endpoint, session));
  xp::ref good = xp::ref::adopt(ipc_com_alloc());

  house() {
    require(ipc_receive(server.get(), echo, nullptr, IPC_MODE_POLL, 0) == 0, "the server binds");
    require(connect(good), "the good client connects");
  }
  bool connect(const xp::ref &channel) const {
    if (ipc_com_connect(channel.get(), endpoint, static_cast<uint32_t>(session)) != 0) return false;
    ipc_com_set_msecs(channel.get(), 0);
    return ipc_poll(server.get()) == 0;
  }
  void serve() const {
    for (int idle = 0; idle < 2;)
      idle = ipc_poll(server.get()) == IpcErrWouldBlock ? idle + 1 : 0;
  }
};

// A finished request, with its header, as a client's call makes it.
xp::ref good_request() {
  int ends[2];
  require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "sockets are there");
  const xp::ref client = xp::ref::adopt(ipc_alloc(0, IPC_SESSION_ZERO));
  require(ipc_connect_to(client.get(), ends[0], 0, 0, 2000) == 0, "the client connects");
  shutdown(ends[1], SHUT_WR);
  const xp::ref message = request(), reply = xp::ref::adopt(ipc_msg_alloc(0));
  ipc_msg_end_params(message.get());
  ipc_call(client.get(), message.get(), reply.get());
  char bytes[512];
  const ssize_t count = read(ends[1], bytes, sizeof bytes);
  close(ends[1]);
  xp::ref loaded = xp::ref::adopt(ipc_msg_alloc(0));
  ipc_msg_from_buf(loaded.get(), bytes, count);
  return loaded;
}

void check_server(std::string_view bytes, size_t piece) {
  static const house h;
  static const xp::ref message = good_request();
  const xp::ref stranger = xp::ref::adopt(ipc_com_alloc());
  require(h.connect(stranger), "a stranger connects");
  // The stranger's bytes go out unframed, in pieces, with rounds of the server in between.
  for (size_t at = 0; at < bytes.size(); at += piece) {
    const std::string_view part = bytes.substr(at, piece);
    const xp::ref m = xp::ref::adopt(ipc_mbuf_alloc(static_cast<int64_t>(part.size()) + 1));
    ipc_mbuf_set(m.get(), part.data(), static_cast<int64_t>(part.size()));
    if (ipc_com_send(stranger.get(), m.get()) < 0) break;
    ipc_poll(h.server.get());
  }
  const xp::ref buffer = xp::ref::adopt(ipc_mbuf_alloc(ipc_msg_size(message.get())));
  ipc_mbuf_set(buffer.get(), ipc_msg_buf(message.get()), ipc_msg_size(message.get()));
  require(ipc_com_send(h.good.get(), buffer.get()) > 0, "the good client can send");
  h.serve();
  const xp::ref answer = xp::ref::adopt(ipc_mbuf_alloc(IPC_MBUF_STANDARD));
  require(ipc_com_recv(h.good.get(), answer.get(), nullptr) > 0, "the good client gets its answer");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char *>(data) + 1, size - 1);
  check_loading(bytes);
  check_call(bytes);
  check_server(bytes, data[0] == 0 ? size : std::max<size_t>(data[0], size / 64));
  return 0;
}
