// Peers that send in pieces, slowly, or die, over real sockets and in numbers.

#include "ipc/channel.h"
#include "ipc/channel_impl.h"
#include "ipc/clock.h"
#include "ipc/connection.h"
#include "ipc/errors.h"
#include "ipc/mbuf.h"
#include "ipc/session.h"
#include "tests/ipc/records.h"
#include "tests/support/full_size.h"

#include <signal.h>
#include <string.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr size_t most = 266168;  // bytes of the largest message
constexpr uint32_t seed = 41;

// A message of so many bytes whose content is nobody else's.
std::string message_of(size_t total, size_t number) {
  static const std::string pool = [] {
    std::minstd_rand random(seed);
    std::string bytes(2 * most, 0);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random() >> 8); });
    return bytes;
  }();
  return lying("msgd", "data", static_cast<uint32_t>(total - 12), pool.substr(number % most, total - 12));
}

// Sanitizers look at every byte that is sent.
int few_or(int count) {
  return at_full_size(count, sanitized ? count / 10 : count);
}

class hostile_test : public leak_check {
protected:
  // Whether the next message is this one.
  bool receives(const xp::ref &channel, const std::string &message) const {
    int32_t result;
    while ((result = ipc_com_recv(channel.get(), buffer_.get(), nullptr)) == IpcErrWouldBlock)
      ipcc_pause(channel.get(), false);
    return result == static_cast<int32_t>(message.size()) &&
           memcmp(message.data(), ipc_mbuf_getptr(buffer_.get()), message.size()) == 0;
  }

  const xp::ref buffer_ = xp::ref::adopt(ipc_mbuf_alloc(IPC_MBUF_STANDARD));
};

TEST_F(hostile_test, messages_of_all_sizes_arrive_as_they_were) {
  socket_pair wire;
  const xp::ref to = channel_over(wire.take());
  const xp::ref from = channel_over(dup(wire.peer()));
  wire.hang_up();
  std::minstd_rand random(seed);
  std::vector<size_t> sizes = {92, 93, 94, 95, most - 1, most};
  while (std::ssize(sizes) < few_or(1000))
    sizes.push_back(92 + random() % (most - 91));
  std::thread sender([&] {
    const xp::ref buffer = xp::ref::adopt(ipc_mbuf_alloc(IPC_MBUF_STANDARD));
    for (size_t i = 0; i < sizes.size(); ++i) {
      ipc_mbuf_set(buffer.get(), message_of(sizes[i], i).data(), static_cast<int64_t>(sizes[i]));
      while (ipc_com_send(to.get(), buffer.get()) == IpcErrWouldBlock)
        ipcc_pause(to.get(), true);
    }
  });
  size_t good = 0;
  for (size_t i = 0; i < sizes.size(); ++i)
    good += receives(from, message_of(sizes[i], i)) ? 1 : 0;
  sender.join();
  EXPECT_EQ(good, sizes.size());
}

TEST_F(hostile_test, a_message_cut_anywhere) {
  socket_pair wire;
  const xp::ref channel = channel_over(wire.take());
  std::minstd_rand random(seed);
  std::vector<std::pair<size_t, size_t>> cuts;  // size of the message, and where
  for (size_t cut = 1; cut < 300; ++cut)
    cuts.emplace_back(300, cut);
  for (int i = 0; i < few_or(10000); ++i)
    cuts.emplace_back(65536, 1 + random() % 65535);
  for (const auto &[size, cut] : cuts) {
    const std::string message = message_of(size, cut);
    wire.write(std::string_view(message).substr(0, cut));
    ASSERT_EQ(ipc_com_recv(channel.get(), buffer_.get(), nullptr), IpcErrWouldBlock) << cut;
    wire.write(std::string_view(message).substr(cut));
    ASSERT_TRUE(receives(channel, message)) << size << " cut at " << cut << ", seed " << seed;
  }
}

// --- Header records, one of them left out, cut to three bytes, or of another value ---

struct header {
  std::string name, value;
};

std::string with_headers(const std::vector<header> &headers, const std::string &block) {
  std::string records;
  for (const header &h : headers)
    records += record(h.name, "long", h.value);
  return record("msgd", "data", records + block);
}

// The message with one header left out, cut to three bytes, and of another value.
std::array<std::string, 3> spoiled(const std::vector<header> &all, size_t which, const std::string &block) {
  std::vector<header> fewer = all, cut = all, other = all;
  fewer.erase(fewer.begin() + static_cast<ptrdiff_t>(which));
  cut[which].value.pop_back();
  other[which].value = "else";
  return {with_headers(fewer, block), with_headers(cut, block), with_headers(other, block)};
}

// A call whose peer sends the bytes and then waits or hangs up: the code, or the result in the reply. The
// limit is short where it is to be met, and otherwise far away.
enum class then { hangs_up, waits, waits_for_long };

std::string called(const std::string &bytes, then peer) {
  socket_pair wire;
  const xp::ref client = xp::ref::adopt(ipc_alloc(0, IPC_SESSION_ZERO));
  EXPECT_EQ(ipc_connect_to(client.get(), wire.take(), 0, 0, peer == then::waits_for_long ? 40 : 20000), 0);
  wire.write(bytes);
  if (peer == then::hangs_up) shutdown(wire.peer(), SHUT_WR);
  const xp::ref request = request_of(xp_code("APIC")), reply = xp::ref::adopt(ipc_msg_alloc(0));
  const int32_t code = ipc_call(client.get(), request.get(), reply.get());
  int32_t value;
  const bool there = ipc_msg_get_param_long(reply.get(), xp_code("rslt"), &value) == 0;
  return code != 0 ? std::to_string(code) : there ? std::to_string(value) : "nothing";
}

TEST_F(hostile_test, replies_to_a_waiting_call) {
  const std::vector<header> all = {
      {"call", "@!*%"}, {"vers", be32(1)}, {"msgn", be32(0)}, {"ptyp", "serv"}, {"ptid", be32(0)}};
  const std::string block = record("ipcp", "data", record("rslt", "long", be32(7)));
  const std::string good = with_headers(all, block), late = reply_bytes(99);
  const std::string timeout = std::to_string(IpcErrTimeout);
  EXPECT_EQ(called(good, then::waits), "7");
  // Poison lets the next reply pass only behind a cure; what is merely skipped lets it pass at once.
  const char *const kinds[][3] = {{"poison", "skipped", "skipped"},
                                  {"poison", "poison", "skipped"},
                                  {"poison", "poison", "skipped"},
                                  {"7", "7", "7"},
                                  {"7", "7", "7"}};
  const auto kind = [&](const std::string &bytes) -> std::string {
    if (called(bytes, then::hangs_up) == "7") return "7";
    if (called(bytes + good, then::hangs_up) == "7") return "skipped";
    const bool cured = called(bytes + late + good, then::hangs_up) == "7";
    return cured && called(bytes + good, then::waits_for_long) == timeout ? "poison" : "lost";
  };
  for (size_t i = 0; i < all.size(); ++i) {
    const auto bytes = spoiled(all, i, block);
    for (size_t how = 0; how < bytes.size(); ++how)
      EXPECT_EQ(kind(bytes[how]), kinds[i][how]) << all[i].name << " " << how;
  }
  const std::string headerless = record("msgd", "data", ""), version_2 = reply_bytes(0, "", "@!*%", 2);
  EXPECT_EQ(kind(headerless), "poison");
  EXPECT_EQ(called(late + late + good, then::hangs_up), "7");
  EXPECT_EQ(called(headerless + version_2 + good, then::waits_for_long), timeout)
      << "another version does not cure";
  EXPECT_EQ(called(headerless + late + headerless + good, then::waits_for_long), timeout) << "poison again";
  // A record that overruns the message spoils all of it, a parameter that overruns the block only that, and
  // what is wrong deeper is for who reads there.
  const std::string far = lying("far ", "data", 5000, "abcd"), deep = record("deep", "data", far);
  EXPECT_EQ(kind(with_headers(all, block + far)), "poison");
  EXPECT_EQ(kind(with_headers(all, lying("ipcp", "data", 5000, record("rslt", "long", be32(7))))), "poison");
  const std::string result = record("rslt", "long", be32(7));
  EXPECT_EQ(called(with_headers(all, record("ipcp", "data", result + far)), then::waits), "nothing");
  EXPECT_EQ(called(with_headers(all, record("ipcp", "data", deep + result)), then::waits), "7");
  // More than fits ends the connection, and with it the call; so does less than a header in two pieces.
  for (const uint32_t length : {266157u, 0x7FFFFFFFu, 0xFFFFFFF4u, 0xFFFFFFFFu})
    EXPECT_EQ(called(lying("msgd", "data", length, good), then::waits), "nothing");
  EXPECT_EQ(called(lying("msgd", "data", 266156, good), then::waits_for_long), timeout)
      << "the rest may still come";
}

TEST_F(hostile_test, requests_to_a_server) {
  const std::vector<header> all = {
      {"call", "ECHO"}, {"vers", be32(1)}, {"msgn", be32(3)}, {"ptyp", "clnt"}, {"ptid", be32(0)}};
  const std::string block = record("ipcp", "data", record("text", "text", "ab"));
  socket_pair wire;
  const xp::ref server = xp::ref::adopt(ipc_alloc(xp_code("TEST"), IPC_SESSION_ZERO));
  ASSERT_EQ(ipc_receive_on(server.get(), wire.take(), echo, nullptr, IPC_MODE_POLL, 100), 0);
  // The text in the answer, or the round's code when there is none.
  const auto served = [&](const std::string &bytes) {
    wire.write(bytes);
    const int32_t code = ipc_poll(server.get());
    if (code != 0) return std::to_string(code);
    const xp::ref answer = xp::ref::adopt(ipc_msg_alloc(0));
    const std::string answered = wire.read_message();
    ipc_msg_from_buf(answer.get(), answered.data(), static_cast<int64_t>(answered.size()));
    return "<" + text_in(answer.get()) + ">";
  };
  const std::string bad = std::to_string(IpcErrBadMessage), far = lying("far ", "data", 5000, "abcd");
  for (size_t i = 0; i < all.size(); ++i) {
    const auto [fewer, cut, other] = spoiled(all, i, block);
    EXPECT_EQ(served(fewer), bad) << all[i].name;
    EXPECT_EQ(served(cut), i == 0 ? "<ab>" : bad) << all[i].name;
    EXPECT_EQ(served(other), i == 1 ? bad : "<ab>") << all[i].name;
  }
  EXPECT_EQ(served(record("msgd", "data", "")), bad);
  EXPECT_EQ(served(with_headers(all, block + far)), bad);
  EXPECT_EQ(served(with_headers(all, record("ipcp", "data", record("text", "text", "ab") + far))), "<>");
  EXPECT_EQ(served(with_headers(all, record("ipcp", "data", record("deep", "data", far)))), "<>");
  EXPECT_EQ(served(with_headers(all, "")), "<>");
  EXPECT_EQ(served(with_headers(all, block)), "<ab>") << "the next good one is served";
}

// --- Beside a server ---

std::string request_bytes(std::string_view text) {
  return reply_bytes(5, record("text", "text", text), "ECHO");
}

// A client that is killed before, in and behind its request; a server that is killed in its answer. Nothing
// of them stays, and who comes next is served.
TEST_F(hostile_test, peers_that_are_killed) {
  const std::string request = request_bytes("question"), reply = reply_bytes(0);
  const int32_t session = ipc_session_explicit(9);
  const auto killed_after = [](const socket_pair &wire, std::string_view bytes) {
    const pid_t child = fork();
    if (child == 0) {
      send(wire.peer(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
      kill(getpid(), SIGKILL);
    }
    return child;
  };
  for (int round = 0; round < few_or(200); ++round) {
    for (const size_t sent : {size_t{0}, size_t{7}, size_t{70}, request.size()}) {
      socket_pair wire;
      const xp::ref server = xp::ref::adopt(ipc_alloc(xp_code("TEST"), session));
      ASSERT_EQ(ipc_receive_on(server.get(), wire.take(), echo, nullptr, IPC_MODE_POLL, 2000), 0);
      const pid_t child = killed_after(wire, std::string_view(request).substr(0, sent));
      wire.hang_up();
      int32_t result;
      for (int polls = 0; (result = ipc_poll(server.get())) == IpcErrWouldBlock && polls < 100; ++polls) {
      }
      ASSERT_EQ(result, 0) << "answered, or dropped";
      ASSERT_EQ(TEMP_FAILURE_RETRY(waitpid(child, nullptr, 0)), child);
    }
    socket_pair wire;
    const xp::ref client = xp::ref::adopt(ipc_alloc(0, session));
    ASSERT_EQ(ipc_connect_to(client.get(), wire.take(), 0, 0, 2000), 0);
    const pid_t child = killed_after(wire, std::string_view(reply).substr(0, 60));
    wire.hang_up();
    const xp::ref message = request_of(xp_code("APIC")), answer = xp::ref::adopt(ipc_msg_alloc(0));
    const int32_t result = ipc_call(client.get(), message.get(), answer.get());
    // Killed before the request was sent, or with the request unread.
    ASSERT_TRUE(result == 0 || result == IpcErrNotConnected) << result;
    ASSERT_EQ(ipc_msg_get_content_ptr(answer.get()), nullptr);
    ASSERT_EQ(TEMP_FAILURE_RETRY(waitpid(child, nullptr, 0)), child);
  }
}

TEST_F(hostile_test, a_client_that_drips_is_served_and_holds_nobody) {
  const int32_t session = new_session();
  const xp::ref server = xp::ref::adopt(ipc_alloc(xp_code("TEST"), session));
  ASSERT_EQ(ipc_receive(server.get(), echo, nullptr, IPC_MODE_THREAD, 2000), 0);
  const xp::ref slow = xp::ref::adopt(ipc_com_alloc()), good = xp::ref::adopt(ipc_alloc(7, session));
  ASSERT_EQ(ipc_com_connect(slow.get(), xp_code("TEST"), static_cast<uint32_t>(session)), 0);
  ASSERT_EQ(ipc_connect(good.get(), xp_code("TEST"), 0, 2000), 0);
  for (const char byte : request_bytes("slow")) {
    const xp::ref one = xp::ref::adopt(ipc_mbuf_alloc(1)), question = request_of(xp_code("ECHO"), "good"),
                  answer = xp::ref::adopt(ipc_msg_alloc(0));
    ipc_mbuf_set(one.get(), &byte, 1);
    ASSERT_EQ(ipc_com_send(slow.get(), one.get()), 1);
    const uint32_t start = ipc_time_msecs();
    ASSERT_EQ(ipc_call(good.get(), question.get(), answer.get()), 0);
    ASSERT_EQ(text_in(answer.get()), "good");
    EXPECT_LT(ipc_time_diff(start, ipc_time_msecs()), 2000u);
    ipc_sleep(1);
  }
  ipc_com_set_msecs(slow.get(), 2000);
  int32_t length;
  while ((length = ipc_com_recv(slow.get(), buffer_.get(), nullptr)) == IpcErrWouldBlock) {
  }
  EXPECT_GT(length, 92) << "with the text that it sent";
}

}  // namespace
