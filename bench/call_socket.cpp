// The floor: bytes to and fro over a blocking socket, a stream's or one of packets, with nothing around them.
// The first four bytes of a connection tell how long its messages are.

#include "call.h"

#include <stdint.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <thread>

namespace {

sockaddr_un address_of(const std::string &place) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, place.data(), place.size());
  return address;
}

template <int type>
int new_socket() {
  int s = socket(AF_UNIX, type, 0);
  bench::need(s >= 0, "socket");
  return s;
}

// False when the other end is gone.
bool receive(int s, void *bytes, size_t size) {
  return recv(s, bytes, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

bool give(int s, const void *bytes, size_t size) {
  return send(s, bytes, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
}

void serve_one(int s) {
  uint32_t size;
  if (receive(s, &size, sizeof size)) {
    std::string bytes(size, 0);
    while (receive(s, bytes.data(), size) && give(s, bytes.data(), size)) {
    }
  }
  close(s);
}

template <int type>
void serve(const std::string &place) {
  sockaddr_un address = address_of(place);
  int listener = new_socket<type>();
  bench::need(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0, "bind");
  bench::need(listen(listener, SOMAXCONN) == 0, "listen");
  bench::ready(place);
  for (;;)
    std::thread(serve_one, accept(listener, nullptr, nullptr)).detach();
}

template <int type>
class client : public bench::caller {
public:
  explicit client(const std::string &place) : socket_(new_socket<type>()) {
    sockaddr_un address = address_of(place);
    bench::need(connect(socket_, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0, "connect");
  }
  ~client() override { close(socket_); }
  void call(const std::string &bytes) override {
    if (bytes_.empty()) {
      bytes_.resize(bytes.size());
      auto size = static_cast<uint32_t>(bytes.size());
      bench::need(give(socket_, &size, sizeof size), "send");
    }
    bench::need(give(socket_, bytes.data(), bytes.size()), "send");
    bench::need(receive(socket_, bytes_.data(), bytes_.size()), "recv");
  }

private:
  int socket_;
  std::string bytes_;
};

template <int type>
std::unique_ptr<bench::caller> connect_to(const std::string &place) {
  return std::make_unique<client<type>>(place);
}

}  // namespace

const bench::way bench::call_socket = {
    .name = "socket", .serve = serve<SOCK_STREAM>, .connect = connect_to<SOCK_STREAM>};
const bench::way bench::call_packet = {
    .name = "socket", .serve = serve<SOCK_SEQPACKET>, .connect = connect_to<SOCK_SEQPACKET>, .packets = true};
