#include "ipc/channel.h"

#include "ipc/channel_impl.h"
#include "ipc/clock.h"
#include "ipc/errors.h"
#include "ipc/mbuf.h"
#include "tests/ipc/faults.h"
#include "tests/ipc/records.h"

#include <fcntl.h>
#include <signal.h>

#include <thread>

namespace {

constexpr int64_t most = 266168;  // bytes of the largest message

// A channel over one end of a socket pair; the test drives the other.
class channel_test : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    wire_ = std::make_unique<socket_pair>();
    channel_ = xp::ref::adopt(ipc_com_alloc());
    ASSERT_EQ(ipc_com_connect_to(channel_.get(), 0, 0, wire_->library_end()), 0);
    wire_->take();
    buffer_ = xp::ref::adopt(ipc_mbuf_alloc(IPC_MBUF_STANDARD));
  }
  void TearDown() override {
    channel_ = nullptr;
    buffer_ = nullptr;
    wire_.reset();
    leak_check::TearDown();
  }

  int32_t receive() { return ipc_com_recv(channel_.get(), buffer_.get(), nullptr); }
  // Rounds until something else than IpcErrWouldBlock comes.
  int32_t receive_whole() {
    int32_t result;
    while ((result = receive()) == IpcErrWouldBlock) {
    }
    return result;
  }

  std::unique_ptr<socket_pair> wire_;
  xp::ref channel_, buffer_;
};

std::string message_of(size_t total) {
  return lying("msgd", "data", static_cast<uint32_t>(total - 12), std::string(total - 12, 'x'));
}

TEST_F(channel_test, more_bytes_held_than_the_message_has) {
  // Five bytes, then twelve more: seventeen are held when the length field turns out to be 0.
  const std::string bytes = message_of(12) + "extra";
  wire_->write(bytes.substr(0, 5));
  EXPECT_EQ(receive(), IpcErrWouldBlock);
  wire_->write(bytes.substr(5));
  EXPECT_EQ(receive(), 0);
  EXPECT_EQ(wire_->read(1), "") << "the offender is dropped";
}

TEST_F(channel_test, a_message_too_large_for_its_destination_is_dropped_alone) {
  xp::ref small = xp::ref::adopt(ipc_mbuf_alloc(50));
  wire_->write(message_of(51) + message_of(50));
  EXPECT_EQ(ipc_com_recv(channel_.get(), small.get(), nullptr), IpcErrNoMemory);
  EXPECT_EQ(ipc_com_recv(channel_.get(), small.get(), nullptr), 50);
}

TEST_F(channel_test, a_peer_that_closes_is_dropped_without_an_error) {
  wire_->write("half a mess");
  EXPECT_EQ(receive(), IpcErrWouldBlock);
  EXPECT_EQ(ipc_com_send(channel_.get(), buffer_of("unread").get()), 6);
  wire_->hang_up();
  EXPECT_EQ(receive(), 0);
  EXPECT_EQ(receive(), IpcErrWouldBlock) << "nobody is left to wait for";
}

TEST_F(channel_test, descriptors_that_a_peer_passes_are_not_installed) {
  const std::string message = message_of(100);
  iovec part = {.iov_base = const_cast<char *>(message.data()), .iov_len = message.size()};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr header = {};
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  header.msg_control = control;
  header.msg_controllen = sizeof control;
  cmsghdr *passed = CMSG_FIRSTHDR(&header);
  passed->cmsg_level = SOL_SOCKET;
  passed->cmsg_type = SCM_RIGHTS;
  passed->cmsg_len = CMSG_LEN(sizeof(int));
  int descriptor = STDOUT_FILENO;
  memcpy(CMSG_DATA(passed), &descriptor, sizeof descriptor);
  ASSERT_EQ(sendmsg(wire_->peer(), &header, 0), 100);
  EXPECT_EQ(receive(), 100);  // the fixture counts descriptors
}

TEST_F(channel_test, a_large_send_goes_in_parts_and_in_order) {
  const std::string first = message_of(most), second = message_of(64);
  xp::ref a = buffer_of(first), b = buffer_of(second);
  ASSERT_EQ(ipc_com_send(channel_.get(), a.get()), IpcErrWouldBlock);
  EXPECT_EQ(ipc_com_send(channel_.get(), b.get()), IpcErrWouldBlock);
  std::string got;
  std::thread reader([&] { got = wire_->read(static_cast<size_t>(most) + 64); });
  // The other buffer continues the first one until that is gone, then goes itself.
  while (ipc_com_send(channel_.get(), b.get()) == IpcErrWouldBlock)
    ipcc_pause(channel_.get(), true);
  reader.join();
  EXPECT_TRUE(got == first + second);
  EXPECT_EQ(ipc_com_try_send(channel_.get()), IpcErrSystem);
}

TEST_F(channel_test, a_pending_send_is_continued_by_polls) {
  const std::string large = message_of(most);
  xp::ref a = buffer_of(large);
  ASSERT_EQ(ipc_com_send(channel_.get(), a.get()), IpcErrWouldBlock);
  std::string got;
  std::thread reader([&] {
    got = wire_->read(static_cast<size_t>(most));
    wire_->write(message_of(40));
  });
  // Only receives: they finish the send, and the answer that follows arrives.
  ipc_com_set_msecs(channel_.get(), 1000);
  EXPECT_EQ(receive_whole(), 40);
  reader.join();
  EXPECT_TRUE(got == large);
}

TEST_F(channel_test, sending_to_a_peer_that_is_gone_raises_no_signal) {
  signal(SIGPIPE, SIG_DFL);
  wire_->hang_up();
  xp::ref b = buffer_of("12345678");
  EXPECT_EQ(ipc_com_send(channel_.get(), b.get()), IpcErrNotConnected);

  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  xp::ref pipe_channel = xp::ref::adopt(ipc_com_alloc());
  ASSERT_EQ(ipc_com_bind_to(pipe_channel.get(), 0, 0, ends[1]), 0);
  EXPECT_EQ(ipc_com_send(pipe_channel.get(), b.get()), IpcErrNotConnected);
}

TEST_F(channel_test, reset_forgets_both_halves) {
  wire_->write("half a mess");
  EXPECT_EQ(receive(), IpcErrWouldBlock);
  xp::ref a = buffer_of(message_of(most));
  ASSERT_EQ(ipc_com_send(channel_.get(), a.get()), IpcErrWouldBlock);
  ipc_com_reset(channel_.get());
  EXPECT_EQ(xp_refs(a.get()), 1);
  wire_->write(message_of(30));
  EXPECT_EQ(receive(), 30);
}

TEST_F(channel_test, waiting_and_interrupting) {
  ipc_com_set_msecs(channel_.get(), 60);
  uint32_t start = ipc_time_msecs();
  EXPECT_EQ(receive(), IpcErrWouldBlock);
  EXPECT_GE(ipc_time_diff(start, ipc_time_msecs()), 55u);
  ipc_com_set_msecs(channel_.get(), -7);  // without limit
  std::thread other([&] {
    ipc_sleep(30);
    ipc_com_interupt(channel_.get());
  });
  EXPECT_EQ(receive(), IpcErrWouldBlock);
  other.join();
  // For good: the next poll does not wait either, and messages still come.
  EXPECT_EQ(receive(), IpcErrWouldBlock);
  wire_->write(message_of(20));
  EXPECT_EQ(receive(), 20);
}

// A listener that is taken for ready would answer 0: a client came or went.
TEST_F(channel_test, an_interrupted_poll_takes_nobody_for_ready) {
  xp::ref listener = xp::ref::adopt(ipc_com_alloc());
  ASSERT_EQ(ipc_com_bind(listener.get(), xp_code("intr"), static_cast<uint32_t>(getpid())), 0);
  ipc_com_set_msecs(listener.get(), -1);
  fail(calls::select, EINTR);
  EXPECT_EQ(ipc_com_recv(listener.get(), buffer_.get(), nullptr), IpcErrWouldBlock);
  EXPECT_EQ(mend(), 1);
}

TEST_F(channel_test, null_and_empty_channels) {
  xp::ref empty = xp::ref::adopt(ipc_com_alloc()), group = xp::ref::adopt(ipc_com_grp_alloc()),
          b = buffer_of("x");
  EXPECT_EQ(xp_type(empty.get()), ipc_com_type());
  EXPECT_EQ(xp_type(group.get()), ipc_com_grp_type());
  EXPECT_EQ(ipc_com_recv(nullptr, b.get(), nullptr), IpcErrBadState);
  EXPECT_EQ(ipc_com_send(nullptr, b.get()), IpcErrBadState);
  EXPECT_EQ(ipc_com_recv(empty.get(), b.get(), nullptr), IpcErrSystem);
  EXPECT_EQ(ipc_com_send(empty.get(), b.get()), IpcErrSystem);
  EXPECT_EQ(ipc_com_connect_to(empty.get(), 0, 0, -1), IpcErrSystem);
  EXPECT_EQ(ipc_com_accept(empty.get()), nullptr);
}

}  // namespace
