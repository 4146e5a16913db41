// What peers send, over real sockets and in pieces: to a server that has a second, good client on the same
// group, and to a call that waits for its reply. Whatever it is, the good client gets its answers, the call
// ends as a plain model of it says, in time, and nothing behind a message is read.
//
// The first byte of an input says how its rest is sent.

#include "fuzz/background.h"
#include "fuzz/message_model.h"
#include "fuzz/message_reader.h"
#include "ipc/channel.h"
#include "ipc/channel_record.h"
#include "ipc/clock.h"
#include "ipc/connection.h"
#include "ipc/connection_record.h"
#include "ipc/errors.h"
#include "ipc/session.h"
#include "xp/array/list.h"

#include <sys/socket.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>

namespace {

using std::string_view;
using namespace std::string_view_literals;

// The first byte: the size of the pieces, whether the call waits already when they come, and what the sender
// does besides. The slow ones have few numbers.
enum : unsigned {
  piece_bits = 0x0F,  // bytes in a piece, 0 for all at once
  waited_for = 0x10,
  manner_bits = 0xE0,
  leaves = 0xA0,  // closes before it has read its answers
  deaf = 0xC0,    // does not read its answers until it has sent everything
  stays = 0xE0,   // does not hang up at the end: the call runs to its deadline
};

// Two connected sockets: the library owns one, the harness the other.
class sockets {
public:
  sockets() { require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_) == 0, "sockets are there"); }
  sockets(const sockets &) = delete;
  sockets &operator=(const sockets &) = delete;
  ~sockets() { hang_up(); }

  int library_end() const { return ends_[0]; }
  void hang_up() {
    if (ends_[1] >= 0) close(ends_[1]);
    ends_[1] = -1;
  }
  void end() const { shutdown(ends_[1], SHUT_WR); }
  void write(string_view bytes) const {
    send(ends_[1], bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  }
  std::string read() const {
    static char bytes[1 << 18];
    const ssize_t n = recv(ends_[1], bytes, sizeof bytes, MSG_DONTWAIT);
    return {bytes, n > 0 ? static_cast<size_t>(n) : 0};
  }

private:
  int ends_[2];
};

template <typename Send>
void in_pieces(string_view bytes, unsigned how, Send send_piece) {
  const size_t piece =
      (how & piece_bits) == 0 ? bytes.size() : std::max<size_t>(how & piece_bits, bytes.size() / 12);
  for (size_t at = 0; at < bytes.size(); at += piece)
    send_piece(bytes.substr(at, piece));
}

// --- The server ---

constexpr string_view good_request =
    "msgddata\0\0\0\x70"
    "calllong\0\0\0\4ECHO"
    "verslong\0\0\0\4\0\0\0\1"
    "msgnlong\0\0\0\4\0\0\0\5"
    "ptyplong\0\0\0\4good"
    "ptidlong\0\0\0\4\0\0\0\0"
    "ipcpdata\0\0\0\x14"
    "texttext\0\0\0\5hello\0\0\0"sv;

// Answers with the text, and with enough to fill a deaf client's socket when there is a context.
int32_t echo(xp_obj *request, xp_obj *reply, uint32_t, uint32_t, void *context) {
  read_message(request);
  char text[64];
  uint32_t size = sizeof text;
  ipc_msg_get_param(request, xp_code("text"), 0, text, &size);
  ipc_msg_start_params(reply);
  ipc_msg_set_param(reply, xp_code("text"), xp_code("text"), text, size);
  if (context != nullptr) ipc_msg_set_param(reply, xp_code("fill"), xp_code("data"), nullptr, 20000);
  return 0;
}

// A server with its good client, and with whoever joins them.
class house {
public:
  explicit house(bool filling) {
    const int end = good_.library_end();
    require(ipc_receive_on(server_.get(), end, echo, filling ? this : nullptr, IPC_MODE_POLL, 0) == 0,
            "it serves");
    const auto *channel = xp::as<ipc_com>(xp::as<ipc_conn>(server_.get())->channel);
    members_ = xp::as<ipc_group>(channel->group)->members;
  }

  // What an accept does.
  void join(const sockets &wire) const {
    const xp::ref channel = xp::ref::adopt(ipc_com_alloc());
    require(ipc_com_connect_to(channel.get(), 0, 0, wire.library_end()) == 0, "a stranger connects");
    xp_list_append(members_, xp::ref::adopt(ipcc_first(channel.get())).get());
  }
  int64_t members() const { return xp_list_length(members_); }

  void round() const {
    switch (ipc_poll(server_.get())) {
      case 0:
      case IpcErrWouldBlock:
      case IpcErrBadMessage: return;
      default: require(false, "a round ends with a documented code");
    }
  }

  // The answer to a request of the good client.
  std::string ask() const {
    good_.write(good_request);
    std::string answer;
    for (int rounds = 0; answer.size() < 12 || answer.size() < xp_ntld_raw_length(raw(answer)) + 12;
         ++rounds) {
      require(rounds < 10000, "the good client gets its answer");
      round();
      answer += good_.read();
    }
    return answer;
  }

private:
  sockets good_;
  xp::ref server_ = xp::ref::adopt(ipc_alloc(xp_code("FUZZ"), IPC_SESSION_ZERO));
  xp_obj *members_;
};

void check_server(string_view bytes, unsigned how) {
  // Both live through all inputs: nothing of a stranger may reach the next one.
  static const house houses[] = {house(false), house(true)};
  static const std::string answers[] = {houses[0].ask(), houses[1].ask()};
  const bool filling = (how & manner_bits) == deaf;
  const house &h = houses[filling];
  const auto good_is_served = [&] {
    require(h.ask() == answers[filling], "the good client's answer is whole");
  };
  sockets stranger;
  h.join(stranger);
  if (filling) {
    constexpr int little = 1;  // the kernel takes its minimum
    setsockopt(stranger.library_end(), SOL_SOCKET, SO_SNDBUF, &little, sizeof little);
  }
  std::string answered;
  in_pieces(bytes, how, [&](string_view piece) {
    stranger.write(piece);
    h.round();
  });
  if (!filling) answered += stranger.read();
  good_is_served();
  if ((how & manner_bits) == leaves) stranger.hang_up();
  stranger.end();
  for (int rounds = 0; h.members() > 1; ++rounds) {
    require(rounds < 10000, "a stranger that hung up is dropped");
    h.round();
    answered += stranger.read();
  }
  good_is_served();
  // Answers are never mixed up: what came is whole messages, but for the one during which the stranger was
  // dropped.
  for (string_view left = answered; left.size() >= 12;) {
    const size_t whole = size_t{xp_ntld_raw_length(raw(left))} + 12;
    if (whole > left.size()) break;
    require(xp_ntld_raw_verify(raw(left), static_cast<uint32_t>(whole)) == whole, "answers are messages");
    left.remove_prefix(whole);
  }
}

// --- The call ---

// The reply that the first call on a connection takes from a stream, empty for none; nothing when the cuts
// between the pieces decide.
std::optional<string_view> reply_in(string_view stream) {
  bool poisoned = false;
  while (stream.size() >= 12) {
    const uint64_t total = uint64_t{xp_ntld_raw_length(raw(stream))} + 12;
    if (total < 23) return std::nullopt;
    if (total > std::min<uint64_t>(stream.size(), IPC_MBUF_STANDARD_CAPACITY)) break;
    const string_view message = loaded(stream.substr(0, total));
    stream.remove_prefix(total);
    const reply_kind kind(message);
    if (!poisoned && kind.mine) return message;
    poisoned = poisoned ? !kind.of_version : !kind.complete;
  }
  return "";
}

void check_call(string_view bytes, unsigned how) {
  const bool hangs_up = (how & manner_bits) != stays;
  constexpr int32_t soon = 2, late = 20000, margin = 4000;
  sockets peer;
  const xp::ref client = xp::ref::adopt(ipc_alloc(0, IPC_SESSION_ZERO));
  require(ipc_connect_to(client.get(), peer.library_end(), 0, 0, hangs_up ? late : soon) == 0,
          "the client connects");
  const xp::ref request = xp::ref::adopt(ipc_msg_alloc(xp_code("ECHO"))),
                reply = xp::ref::adopt(ipc_msg_alloc(0));
  const auto send_all = [&] {
    in_pieces(bytes, how, [&](string_view piece) { peer.write(piece); });
    if (hangs_up) peer.end();
  };
  static background sender;
  if ((how & waited_for) != 0) {
    sender.start(send_all);
  } else {
    send_all();
  }
  const uint32_t start = ipc_time_msecs();
  const int32_t result = ipc_call(client.get(), request.get(), reply.get());
  const uint32_t took = ipc_time_diff(start, ipc_time_msecs());
  sender.join();

  read_message(reply.get());
  require(result == 0 || (result == IpcErrTimeout && !hangs_up), "the call ends with a documented code");
  require(hangs_up || took < 2 * soon + margin, "the deadline is kept");
  const auto expected = reply_in(bytes);
  if (!expected || result == IpcErrTimeout) return;
  const string_view got(reinterpret_cast<const char *>(ipc_msg_buf(reply.get())),
                        static_cast<size_t>(ipc_msg_size(reply.get())));
  // Without an answer the reply is as it was made, or was emptied.
  if (expected->empty()) {
    require(got.empty() || got ==
                               "msgddata\0\0\0\x10"
                               "calllong\0\0\0\4\0\0\0\0"sv,
            "nothing is taken for an answer");
  } else {
    require(got == *expected, "the right answer is taken");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const string_view bytes(reinterpret_cast<const char *>(data) + 1, size - 1);
  check_call(bytes, data[0]);
  check_server(bytes, data[0]);
  return 0;
}
