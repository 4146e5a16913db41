#include "ipc/channel.h"
#include "ipc/clock.h"
#include "ipc/connection.h"
#include "ipc/errors.h"
#include "ipc/session.h"
#include "tests/ipc/records.h"
#include "tests/support/objects.h"

#include <algorithm>
#include <random>
#include <thread>

namespace {

const int32_t session = ipc_session_explicit(0x00012345);

// A client connected to a peer whom the test drives by hand.
class call_test : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    wire_ = std::make_unique<socket_pair>();
    client_ = xp::ref::adopt(ipc_alloc(0x1000000, session));
    ASSERT_EQ(ipc_connect_to(client_.get(), wire_->library_end(), xp_code("HXca"), 0, 200), 0);
    wire_->take();
    reply_ = xp::ref::adopt(ipc_msg_alloc(0));
  }
  void TearDown() override {
    client_ = nullptr;
    reply_ = nullptr;
    wire_.reset();
    leak_check::TearDown();
  }

  int32_t call(const std::string &text = "") {
    xp::ref request = request_of(xp_code("APIC"), text);
    return ipc_call(client_.get(), request.get(), reply_.get());
  }
  // A call that meets the fixture's limit.
  void times_out() {
    const uint32_t start = ipc_time_msecs();
    EXPECT_EQ(call(), IpcErrTimeout);
    const uint32_t took = ipc_time_diff(start, ipc_time_msecs());
    EXPECT_GE(took, 200u);
    EXPECT_LT(took, 800u);
  }
  int32_t result() const {
    int32_t value = 0;
    return ipc_msg_get_param_long(reply_.get(), xp_code("rslt"), &value) == 0 ? value : -1;
  }

  std::unique_ptr<socket_pair> wire_;
  xp::ref client_, reply_;
};

std::string numbered(uint32_t number, int32_t result) {
  return reply_bytes(number, record("rslt", "long", be32(static_cast<uint32_t>(result))));
}

TEST_F(call_test, the_request_on_the_wire) {
  wire_->write(numbered(0, 7) + numbered(1, 8));
  EXPECT_EQ(call("ab"), 0);
  EXPECT_EQ(result(), 7);
  auto request = [](uint32_t number, const char *text) {
    return record("msgd", "data",
                  record("call", "long", "APIC") + record("ipcp", "data", record("text", "text", text)) +
                      record("vers", "long", be32(1)) + record("msgn", "long", be32(number)) +
                      record("ptyp", "long", "\0\0\0\1"s) + record("ptid", "long", be32(0x00012345)));
  };
  EXPECT_EQ(wire_->read_message(), request(0, "ab"));
  EXPECT_EQ(call("cd"), 0);
  EXPECT_EQ(result(), 8);
  EXPECT_EQ(wire_->read_message(), request(1, "cd"));
}

// Replies come in the buffer in which they were put together, unless somebody else holds the reply's.
TEST_F(call_test, replies_of_all_sizes_whole_and_in_pieces) {
  ipc_settimeout(client_.get(), 5000);
  std::minstd_rand random(16);
  for (uint32_t number = 0; number < 200; ++number) {
    const size_t size = random() % (number % 4 == 0 ? 266000 : 40000), cut = random() % (size + 100);
    const std::string text(size, static_cast<char>('a' + number % 26));
    const std::string bytes = reply_bytes(number, record("text", "text", text));
    const xp::ref held = xp::ref::adopt(random() % 2 == 0 ? ipc_msg_mem(reply_.get()) : nullptr);
    const uint8_t *const before = ipc_msg_buf(reply_.get());
    std::thread peer([&] {
      wire_->read_message();
      wire_->write(bytes.substr(0, cut));
      if (number % 3 == 0) ipc_sleep(1);
      wire_->write(bytes.substr(cut));
    });
    ASSERT_EQ(call(), 0) << number;
    peer.join();
    ASSERT_TRUE(text_in(reply_.get()) == text) << number << " of " << size;
    EXPECT_EQ(ipc_msg_buf(reply_.get()) != before, !held) << "not copied";
  }
}

TEST_F(call_test, a_deadline_discards_half_a_reply) {
  wire_->write(numbered(0, 7).substr(0, 50));
  times_out();
  wire_->write(numbered(1, 8));
  EXPECT_EQ(call(), 0);
  EXPECT_EQ(result(), 8);
  // A peer that drips is left by twice the limit.
  std::atomic<bool> stop = false;
  std::thread drip([&, slow = numbered(2, 7)] {
    for (size_t i = 0; i < slow.size() - 1 && !stop; ++i, ipc_sleep(10))
      wire_->write(slow.substr(i, 1));
  });
  times_out();
  stop = true;
  drip.join();
}

TEST_F(call_test, a_peer_that_does_not_read) {
  ipc_settimeout(client_.get(), 50);
  EXPECT_EQ(call(std::string(260000, 'x')), IpcErrTimeout);
  // Half of it is on the wire; the rest was discarded with the call.
  EXPECT_EQ(call(std::string(260000, 'x')), IpcErrTimeout);
}

// Before the request the send fails; afterwards the call ends with success and an empty reply, and what was
// skipped is not found in it.
TEST_F(call_test, the_peer_dies_in_each_phase) {
  wire_->hang_up();
  EXPECT_EQ(call(), IpcErrNotConnected);
  const std::string whole = numbered(0, 7);
  for (const std::string &sent : {""s, whole.substr(0, 5), whole.substr(0, 12), whole.substr(0, 40),
                                  whole.substr(0, whole.size() - 1), numbered(99, 7)}) {
    socket_pair wire;
    xp::ref client = xp::ref::adopt(ipc_alloc(0, session));
    ASSERT_EQ(ipc_connect_to(client.get(), wire.take(), 0, 0, 2000), 0);
    std::thread peer([&] {
      wire.read_message();
      wire.write(sent);
      wire.hang_up();
    });
    xp::ref request = request_of(xp_code("APIC"));
    EXPECT_EQ(ipc_call(client.get(), request.get(), reply_.get()), 0) << sent.size();
    EXPECT_EQ(result(), -1);
    peer.join();
    xp::ref again = request_of(xp_code("APIC"));
    EXPECT_EQ(ipc_call(client.get(), again.get(), reply_.get()), IpcErrSystem) << "nobody is there any more";
  }
}

TEST_F(call_test, requests_that_cannot_carry_their_header) {
  // An open block: sent without a header, which any server rejects.
  xp::ref open = xp::ref::adopt(ipc_msg_alloc(xp_code("APIC")));
  ipc_msg_start_params(open.get());
  ipc_settimeout(client_.get(), 20);
  EXPECT_EQ(ipc_call(client_.get(), open.get(), reply_.get()), IpcErrTimeout);
  EXPECT_EQ(wire_->read_message(),
            record("msgd", "data", record("call", "long", "APIC") + record("ipcp", "data", "")));
  // A full one is not sent: 266,168 bytes less the records around the text, and the header's 64.
  constexpr size_t room = 266168 - 12 - 16 - 12 - 12 - 64;
  EXPECT_EQ(call(std::string(room + 4, 'x')), IpcErrBadMessage);
  std::thread peer([&] {
    EXPECT_EQ(wire_->read_message().size(), 266168u);
    wire_->write(numbered(2, 7));
  });
  ipc_settimeout(client_.get(), 2000);
  xp::ref full = request_of(xp_code("APIC"), std::string(room, 'x'));
  EXPECT_EQ(ipc_call(client_.get(), full.get(), reply_.get()), 0);
  peer.join();
  EXPECT_EQ(ipc_call(client_.get(), full.get(), reply_.get()), IpcErrBadMessage) << "sent before";
}

TEST_F(call_test, states) {
  xp_obj *c = client_.get();
  for (const int32_t refused :
       {ipc_connect(c, 1, 0, 0), ipc_connect_to(c, wire_->peer(), 1, 0, 0), ipc_connect_mach(c, 1, 0, 0),
        ipc_receive(c, nullptr, nullptr, 0, 0), ipc_poll(c)})
    EXPECT_EQ(refused, IpcErrBadState);
  uint32_t uid = 12345;
  EXPECT_EQ(ipc_peer_uid(c, &uid), 0);
  EXPECT_EQ(uid, geteuid());
  EXPECT_EQ(ipc_close(c), 0);
  EXPECT_EQ(call(), IpcErrBadState);
  EXPECT_EQ(ipc_ping(c), IpcErrNotConnected);
  EXPECT_EQ(ipc_peer_uid(c, &uid), IpcErrNotConnected);
  xp::ref invalid = xp::ref::adopt(ipc_alloc(0, IPC_SESSION_INVALID));
  EXPECT_EQ(ipc_connect(invalid.get(), 1, 0, 0), IpcErrBadState);
  EXPECT_EQ(ipc_connect_mach(invalid.get(), 1, 0, 0), IpcErrBadState);
  // A connect that failed leaves the connected state, with nobody there.
  EXPECT_EQ(ipc_connect(c, xp_code("none"), 0, 0), IpcErrSystem);
  EXPECT_EQ(ipc_connect(c, xp_code("none"), 0, 0), IpcErrBadState);
  EXPECT_EQ(call(), IpcErrSystem);
}

}  // namespace
