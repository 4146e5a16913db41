#include "ipc/connection.h"
#include "ipc/errors.h"
#include "ipc/session.h"
#include "ipc/session_impl.h"
#include "ipc/socket_file.h"
#include "tests/ipc/records.h"
#include "tests/support/full_size.h"
#include "tests/support/threads.h"

#include <sys/stat.h>

#include <atomic>
#include <random>
#include <thread>

namespace {

constexpr uint32_t endpoint = xp_code("TEST");

class server_test : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    session_ = new_session();
    server_ = xp::ref::adopt(ipc_alloc(endpoint, session_));
  }
  void TearDown() override {
    server_ = nullptr;
    leak_check::TearDown();
  }

  xp::ref client(int32_t timeout = 5000) const {
    xp::ref c = xp::ref::adopt(ipc_alloc(7, session_));
    EXPECT_EQ(ipc_connect(c.get(), endpoint, 0, 2000), 0);
    ipc_settimeout(c.get(), timeout);
    return c;
  }

  int32_t session_;
  xp::ref server_;
};

TEST_F(server_test, poll_by_hand_over_a_descriptor) {
  socket_pair wire;
  static uint32_t seen[2];
  auto handler = [](xp_obj *request, xp_obj *reply, uint32_t ptyp, uint32_t ptid, void *context) {
    seen[0] = ptyp;
    seen[1] = ptid;
    uint32_t uid = 12345;
    EXPECT_EQ(ipc_msg_peer(request, &uid), 0);
    EXPECT_EQ(uid, geteuid());
    EXPECT_STREQ(static_cast<const char *>(context), "context");
    return echo(request, reply, 0, 0, nullptr);
  };
  char context[] = "context";
  EXPECT_EQ(xp_type(server_.get()), ipc_type());
  EXPECT_EQ(ipc_poll(server_.get()), IpcErrBadState);
  ASSERT_EQ(ipc_receive_on(server_.get(), wire.take(), handler, context, IPC_MODE_POLL, 100), 0);
  auto request = [](std::string_view name, std::string_view more) {
    return record("msgd", "data",
                  record("call", "long", name) + record("ipcp", "data", record("text", "text", "hi")) +
                      record("vers", "long", be32(1)) + std::string(more));
  };
  const std::string rest =
      record("msgn", "long", "\1\2\3\4") + record("ptyp", "long", "abcd") + record("ptid", "long", be32(9));
  auto answer = [&](std::string_view params) {
    return record("msgd", "data",
                  record("call", "long", "@!*%") + record("vers", "long", be32(1)) +
                      record("msgn", "long", "\1\2\3\4") + record("ptyp", "long", "TEST") +
                      record("ptid", "long", be32(__builtin_bswap32(static_cast<uint32_t>(session_)))) +
                      std::string(params));
  };
  EXPECT_EQ(ipc_poll(server_.get()), IpcErrWouldBlock);
  wire.write(request("ECHO", rest));
  EXPECT_EQ(ipc_poll(server_.get()), 0);
  EXPECT_EQ(wire.read_message(), answer(record("ipcp", "data", record("text", "text", "hi"))));
  EXPECT_EQ(seen[0], xp_code("abcd"));
  EXPECT_EQ(seen[1], __builtin_bswap32(9));
  // A ping does not reach the handler.
  seen[0] = 0;
  wire.write(request("IPCP", rest));
  EXPECT_EQ(ipc_poll(server_.get()), 0);
  EXPECT_EQ(wire.read_message(), answer(""));
  EXPECT_EQ(seen[0], 0u);
  wire.hang_up();
  EXPECT_EQ(ipc_poll(server_.get()), 0);
}

TEST_F(server_test, a_kept_reply_is_sent_later) {
  socket_pair wire;
  static xp::ref kept;
  auto keep = [](xp_obj *, xp_obj *reply, uint32_t, uint32_t, void *) {
    kept = xp::ref::share(reply);
    return 1;
  };
  ASSERT_EQ(ipc_receive_on(server_.get(), wire.take(), keep, nullptr, IPC_MODE_POLL, 100), 0);
  wire.write(reply_bytes(1, "", "LATE"));
  EXPECT_EQ(ipc_poll(server_.get()), 0);
  ipc_msg_start_params(kept.get());
  ipc_msg_set_param_long(kept.get(), xp_code("rslt"), 3);
  EXPECT_GT(ipc_reply(kept.get(), 100), 0);
  EXPECT_NE(wire.read_message().find("rslt"), std::string::npos);
  EXPECT_EQ(ipc_reply(nullptr, 0), IpcErrBadMessage);
  kept = nullptr;
}

TEST_F(server_test, a_handler_may_close_or_free_what_serves_it) {
  for (auto end : {ipc_close, +[](xp_obj *c) { return ipc_free(c), 0; }}) {
    for (uint32_t mode : {IPC_MODE_POLL, IPC_MODE_THREAD}) {
      struct shared {
        int32_t (*end)(xp_obj *);
        xp_obj *server;
      } context = {end, ipc_alloc(endpoint, session_)};
      bool freed = end != ipc_close;
      auto handler = [](xp_obj *request, xp_obj *reply, uint32_t, uint32_t, void *p) {
        auto *s = static_cast<shared *>(p);
        s->end(s->server);
        return echo(request, reply, 0, 0, nullptr);
      };
      socket_pair wire;
      ASSERT_EQ(ipc_receive_on(context.server, wire.take(), handler, &context, mode, 1000), 0);
      wire.write(reply_bytes(1, record("text", "text", "bye"), "ECHO"));
      if (mode == IPC_MODE_POLL) {
        EXPECT_EQ(ipc_poll(context.server), 0);
      }
      EXPECT_NE(wire.read_message().find("bye"), std::string::npos);
      EXPECT_EQ(wire.read(1), "") << "the channel ends with its server";
      if (!freed) ipc_free(context.server);
    }
  }
}

TEST_F(server_test, a_client_that_does_not_read_costs_one_limit) {
  ASSERT_EQ(ipc_receive(server_.get(), echo, nullptr, IPC_MODE_THREAD, 100), 0);
  // Requests go out, answers pile up unread until the server gives up on them.
  xp::ref deaf = client(20);
  for (int i = 0; i < 3; ++i)
    ask(deaf, std::string(200000, 'x'));
  xp::ref good = client();
  EXPECT_EQ(ask(good, "next"), "next");
  EXPECT_EQ(ask(good, "again"), "again");
}

// Its owner, its handler or both at once stop a server's thread at any moment of 10,000 calls. Every call is
// answered or ends as it does when its server dies.
TEST_F(server_test, stopped_at_any_moment) {
  struct served {
    xp_obj *server;
    int last;  // the handler closes at this call
    std::atomic<int> calls = 0;
  };
  const auto handler = [](xp_obj *request, xp_obj *reply, uint32_t, uint32_t, void *context) {
    auto *s = static_cast<served *>(context);
    if (++s->calls == s->last) ipc_close(s->server);
    return echo(request, reply, 0, 0, nullptr);
  };
  std::minstd_rand random(15);
  const auto any = [&](unsigned below) { return static_cast<int>(random() % below); };
  for (int calls = 0; calls < 10000;) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const int stop_at = any(30);
    served s = {.server = ipc_alloc(endpoint, session_), .last = any(2) != 0 ? stop_at : any(60)};
    ASSERT_EQ(ipc_receive_on(s.server, ends[0], handler, &s, IPC_MODE_THREAD, 1000), 0);
    std::atomic<bool> ended = false;
    std::thread caller([&] {
      xp::ref c = xp::ref::adopt(ipc_alloc(7, session_));
      EXPECT_EQ(ipc_connect_to(c.get(), ends[1], endpoint, 0, 5000), 0);
      std::string answer;
      while ((answer = ask(c, "text")) == "text") {
      }
      EXPECT_TRUE(answer.empty() || answer == "-2563" || answer == "-2566") << answer;
      ended = true;
    });
    while (s.calls < stop_at && !ended)
      std::this_thread::yield();
    for (volatile int pause = any(2000); pause > 0;)
      pause = pause - 1;
    if (any(2) != 0) ipc_close(s.server);
    ipc_free(s.server);
    caller.join();
    calls += s.calls;
  }
}

// Servers are closed and freed while they poll and while they receive, session and clock asked for at once.
TEST_F(server_test, sixteen_threads_with_connections_of_their_own) {
  constexpr int threads = 16;
  const int cycles = at_full_size(10000, 100);
  const std::string second = reply_bytes(1, "", "ECHO");
  std::atomic<int> answered = 0;
  run_on_threads(threads, [&](int t) {
    std::minstd_rand random(static_cast<unsigned>(t + 1));
    for (int i = 0; i < cycles; ++i) {
      socket_pair wire;
      xp_obj *const server = ipc_alloc(endpoint, session_);
      EXPECT_EQ(ipc_receive_on(server, wire.take(), echo, nullptr, IPC_MODE_THREAD, 1000), 0);
      const xp::ref c = xp::ref::adopt(ipc_alloc(7, session_));
      EXPECT_EQ(ipc_connect_to(c.get(), dup(wire.peer()), endpoint, 0, 30000), 0);
      ipc_session_forget();
      EXPECT_EQ(ipc_session(), ipc_session());
      answered += ask(c, "text") == "text";
      if (random() % 2 == 0) wire.write(second);
      if (random() % 2 == 0) ipc_close(server);
      ipc_free(server);
    }
  });
  EXPECT_EQ(answered, threads * cycles);
}

TEST_F(server_test, serves_on_a_thread_again_after_a_close) {
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(ipc_receive(server_.get(), echo, nullptr, IPC_MODE_THREAD, 1000), 0);
    EXPECT_EQ(ipc_poll(server_.get()), IpcErrBadState);
    EXPECT_EQ(ipc_exists(endpoint, session_), 0);
    EXPECT_EQ(ipc_check(session_, endpoint, 0, 1000), 0);
    const xp::ref c = client();
    EXPECT_EQ(ipc_ping(c.get()), 0);
    EXPECT_EQ(ask(c, "text"), "text");
    ipc_close(server_.get());
    EXPECT_EQ(ipc_exists(endpoint, session_), -1);
  }
}

// The connection counts as receiving all the same until it is closed.
TEST_F(server_test, serving_cannot_begin) {
  const ipcc_path path = ipcc_path_of(endpoint, static_cast<uint32_t>(session_));
  ASSERT_EQ(mkdir(path.text, 0700), 0);
  xp_obj *const s = server_.get();
  for (bool over_a_descriptor : {true, false}) {
    const auto begin = [&] {
      return over_a_descriptor ? ipc_receive_on(s, -1, echo, nullptr, IPC_MODE_THREAD, 100)
                               : ipc_receive(s, echo, nullptr, IPC_MODE_THREAD, 100);
    };
    EXPECT_EQ(begin(), IpcErrSystem);
    EXPECT_EQ(begin(), IpcErrBadState);
    EXPECT_EQ(ipc_poll(s), IpcErrBadState);
    ipc_close(s);
  }
  ASSERT_EQ(rmdir(path.text), 0);
  EXPECT_EQ(ipc_receive(s, echo, nullptr, IPC_MODE_THREAD, 100), 0);
}

}  // namespace
