// Packets of message ports, from both ends: what a service sends to a waiting call, and what a client sends
// to a service beside a good client. A call ends as a plain model of its first packet says; a service answers
// each whole request once, cuts off whoever sends anything else, and always answers the good client.
//
// An input's first byte says whether its packets come when the call waits or lie there before. Then each
// packet: a byte that says how it is made, a byte for the length of what follows, and that.

#include "ipc/message_port.h"

#include "fuzz/background.h"
#include "fuzz/message_model.h"
#include "fuzz/message_reader.h"
#include "ipc/connection.h"
#include "ipc/errors.h"
#include "ipc/service_socket.h"
#include "ipc/session.h"
#include "standin/service.h"
#include "xp/service/file_descriptor.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using std::string_view;
using namespace std::string_view_literals;

constexpr size_t header_size = IPC_PORT_MESSAGE_HEADER;
constexpr auto largest_request = static_cast<size_t>(ipc_port_message_size(IPC_MBUF_STANDARD_CAPACITY));

// The first byte.
enum : unsigned { too_early = 1 };

// How a packet is made.
enum : unsigned {
  bare = 1,         // without a header
  other_kind = 2,   // a request for a reply, a reply for a request
  other_size = 4,   // its header claims a byte more
  fills_limit = 8,  // zero bytes up to the limit of its kind
  above_limit = 16  // and beyond
};

std::string sealed(string_view message, ipc_service_kind kind, uint32_t more = 0) {
  std::string packet(header_size, 0);
  packet += message;
  ipc_service_seal(reinterpret_cast<uint8_t *>(packet.data()), static_cast<uint32_t>(packet.size()) + more,
                   kind);
  return packet;
}

std::vector<std::string> packets_in(string_view bytes, ipc_service_kind kind) {
  const ipc_service_kind other = kind == IPC_SERVICE_REPLY ? IPC_SERVICE_REQUEST : IPC_SERVICE_REPLY;
  const size_t limit = kind == IPC_SERVICE_REPLY ? size_t{IPC_PORT_MESSAGE_LIMIT} : largest_request;
  std::vector<std::string> packets;
  while (bytes.size() >= 2 && packets.size() < 6) {
    const unsigned how = raw(bytes)[0];
    const size_t length = raw(bytes)[1];
    std::string body(bytes.substr(2, length));
    bytes.remove_prefix(std::min(bytes.size(), 2 + length));
    if ((how & (fills_limit | above_limit)) != 0)
      body.resize(limit + ((how & above_limit) != 0 ? 4 : 0) - ((how & bare) != 0 ? 0 : header_size));
    packets.push_back((how & bare) != 0 ? body
                                        : sealed(body, (how & other_kind) != 0 ? other : kind,
                                                 (how & other_size) != 0 ? 1 : 0));
  }
  return packets;
}

bool is_sealed(const std::string &packet, ipc_service_kind kind) {
  return ipc_service_sealed(raw(packet), static_cast<int64_t>(packet.size()), kind);
}

bool send_packet(int socket, const std::string &packet, int flags = 0) {
  constexpr int room = 600000;
  setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
  const ssize_t count = TEMP_FAILURE_RETRY(send(socket, packet.data(), packet.size(), MSG_NOSIGNAL | flags));
  return count == static_cast<ssize_t>(packet.size());
}

// One packet; empty when the other end has gone. A fuzzer's own timer interrupts what waits.
std::string read_packet(int socket) {
  static char bytes[largest_request + 100];
  const ssize_t count = TEMP_FAILURE_RETRY(recv(socket, bytes, sizeof bytes, 0));
  return {bytes, count > 0 ? static_cast<size_t>(count) : 0};
}

// --- A call and its service ---

const std::string good_reply = sealed(
    "msgddata\0\0\0\x50"
    "calllong\0\0\0\4@!*%"
    "verslong\0\0\0\4\0\0\0\1"
    "msgnlong\0\0\0\4\0\0\0\0"
    "ptyplong\0\0\0\4good"
    "ptidlong\0\0\0\4\0\0\0\0"sv,
    IPC_SERVICE_REPLY);

uint32_t next_port;

// The real port, but for the look-up, which finds a socket of ours.
const ipc_message_port over_a_pair = {.look_up =
                                          [](const char *, uint32_t *port) {
                                            *port = next_port;
                                            return IPC_PORT_FOUND;
                                          },
                                      .exchange = ipc_port_platform()->exchange,
                                      .close = ipc_port_platform()->close};

int32_t expected_code(const std::vector<std::string> &packets) {
  if (packets.empty()) return IpcErrTimeout;
  const std::string &first = packets[0];
  const bool taken =
      first.size() > 35 && first.size() <= IPC_PORT_MESSAGE_LIMIT && is_sealed(first, IPC_SERVICE_REPLY);
  if (!taken) return IpcErrTimeout;
  return reply_kind(loaded(string_view(first).substr(header_size))).mine ? 0 : int32_t{IpcErrBadState};
}

void check_call(string_view bytes, unsigned when) {
  const bool early = (when & too_early) != 0;
  const std::vector<std::string> sent = packets_in(bytes, IPC_SERVICE_REPLY);
  const std::vector<std::string> answers = early ? std::vector{good_reply} : sent;
  int ends[2];
  require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0, "sockets are there");
  const xp::descriptor service(ends[1]);
  next_port = static_cast<uint32_t>(ends[0]) + 1;
  ipc_port_use(&over_a_pair);
  const xp::ref client = xp::ref::adopt(ipc_alloc(7, IPC_SESSION_ZERO));
  require(ipc_connect_mach(client.get(), 0, 0, 0) == 0, "the service is found");
  const xp::ref request = xp::ref::adopt(ipc_msg_alloc(xp_code("ECHO"))),
                reply = xp::ref::adopt(ipc_msg_alloc(0));
  for (size_t i = 0; early && i < sent.size(); ++i)
    send_packet(service.get(), sent[i], MSG_DONTWAIT);
  static background serving;
  std::string seen;
  serving.start([&] {
    seen = read_packet(service.get());
    for (const std::string &answer : answers)
      if (!send_packet(service.get(), answer, MSG_DONTWAIT)) break;
    shutdown(service.get(), SHUT_WR);
  });
  const int32_t code = ipc_call(client.get(), request.get(), reply.get());
  serving.join();

  read_message(reply.get());
  require(code == expected_code(answers), "the call ends as its first packet says");
  const string_view asked(reinterpret_cast<const char *>(ipc_msg_buf(request.get())),
                          static_cast<size_t>(ipc_msg_size(request.get())));
  require(seen == sealed(asked, IPC_SERVICE_REQUEST), "the request went out whole");
  const string_view got(reinterpret_cast<const char *>(ipc_msg_buf(reply.get())),
                        static_cast<size_t>(ipc_msg_size(reply.get())));
  if (code == 0) {
    require(got == loaded(string_view(answers[0]).substr(header_size)), "the reply is the packet's");
  }
  ipc_close(client.get());
  ipc_port_use(nullptr);
}

// --- A service and its clients ---

int32_t echo(xp_obj *request, xp_obj *reply, uint32_t, uint32_t, void *) {
  read_message(request);
  char text[64];
  uint32_t size = sizeof text;
  ipc_msg_get_param(request, xp_code("text"), 0, text, &size);
  ipc_msg_start_params(reply);
  ipc_msg_set_param(reply, xp_code("text"), xp_code("text"), text, size);
  return 0;
}

// A service in a folder of its own, with its good client.
class house {
public:
  house() {
    std::filesystem::create_directories(root_ + "/run");
    setenv("CORVANE_ROOT", root_.c_str(), 1);
    service_.emplace(IPC_SESSION_ZERO, echo, nullptr);
    require(service_->start().empty(), "it serves");
    require(ipc_connect_mach(good_.get(), 0, 0, 1000) == 0, "the good client finds it");
  }

  house(const house &) = delete;
  house &operator=(const house &) = delete;
  ~house() {
    good_ = nullptr;
    service_.reset();
    std::filesystem::remove_all(root_);
  }

  // A new client's socket.
  int join() const {
    char name[IPC_PORT_NAME_LIMIT];
    ipc_port_service_name(0, name);
    uint32_t port = 0;
    require(ipc_port()->look_up(name, &port) == IPC_PORT_FOUND, "anybody finds it");
    const int client = static_cast<int>(port) - 1;
    fcntl(client, F_SETFL, 0);
    return client;
  }

  void good_is_served() const {
    const xp::ref request = xp::ref::adopt(ipc_msg_alloc(xp_code("ECHO"))),
                  reply = xp::ref::adopt(ipc_msg_alloc(0));
    ipc_msg_start_params(request.get());
    ipc_msg_set_param_cstr(request.get(), xp_code("text"), "hello");
    ipc_msg_end_params(request.get());
    char text[8];
    require(ipc_call(good_.get(), request.get(), reply.get()) == 0, "the good client gets its answer");
    ipc_msg_get_param_cstr(reply.get(), xp_code("text"), text, sizeof text);
    require(text == "hello"sv, "and it is its own");
  }

private:
  static std::string made_folder() {
    std::string name = std::filesystem::temp_directory_path() / "corvane-fuzz-XXXXXX";
    require(mkdtemp(name.data()) != nullptr, "there is a folder");
    return name;
  }

  const std::string root_ = made_folder();
  std::optional<standin_service> service_;
  xp::ref good_ = xp::ref::adopt(ipc_alloc(7, IPC_SESSION_ZERO));
};

// Whether a request can be answered by more than a header, and its number.
bool is_answerable(string_view message) {
  bool all = header(message, "call").has_value() && header(message, "vers") == "\0\0\0\1"sv;
  for (const char *name : {"msgn", "ptyp", "ptid"})
    all = all && header(message, name).value_or(string_view()).size() == 4;
  return all;
}

void check_service(string_view bytes) {
  static const house h;
  const xp::descriptor stranger(h.join());
  for (const std::string &packet : packets_in(bytes, IPC_SERVICE_REQUEST)) {
    require(send_packet(stranger.get(), packet), "the service takes what comes");
    const std::string answer = read_packet(stranger.get());
    if (packet.size() > largest_request || !is_sealed(packet, IPC_SERVICE_REQUEST)) {
      require(answer.empty(), "whoever sends no request is cut off");
      break;
    }
    require(is_sealed(answer, IPC_SERVICE_REPLY), "a request gets a reply");
    const string_view request = loaded(string_view(packet).substr(header_size)),
                      reply = loaded(string_view(answer).substr(header_size));
    require(reply.empty() != is_answerable(request), "and one with a message when it can be answered");
    require(reply.empty() ||
                (header(reply, "msgn") == header(request, "msgn") && header(reply, "call") == "@!*%"),
            "which is its own");
  }
  h.good_is_served();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const string_view bytes(reinterpret_cast<const char *>(data) + 1, size - 1);
  check_call(bytes, data[0]);
  check_service(bytes);
  return 0;
}
