#include "tests/setup/scripted_daemon.h"

#include "ipc/connection.h"
#include "ipc/message.h"
#include "ipc/ntld.h"
#include "ipc/ntld_raw.h"
#include "ipc/session.h"
#include "tests/setup/private_client.h"
#include "xp/object/ref.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <utility>

namespace {

constexpr uint32_t service = xp_code("HXca");

std::string name_of(uint32_t code) {
  return {reinterpret_cast<const char *>(&code), sizeof code};
}

std::string describe(const uint8_t *record) {
  if (xp_ntld_raw_type(record) == xp_code("long"))
    return name_of(xp_ntld_raw_name(record)) + "=" + std::to_string(xp_ntld_raw_long(record));
  const auto *text = reinterpret_cast<const char *>(xp_ntld_raw_data(record));
  const char *mark = xp_ntld_raw_type(record) == xp_code("ctag") ? "!" : ":";
  return name_of(xp_ntld_raw_name(record)) + mark + std::string(text, xp_ntld_raw_length(record));
}

// The request in one line; its first four records must tell the caller.
std::string describe_request(const uint8_t *block, int32_t code) {
  std::string caller;
  std::string line;
  for (uint32_t i = 0; i < xp_ntld_raw_count(block); ++i)
    (i < 4 ? caller : line) += " " + describe(xp_ntld_raw_getbyindex(block, i));
  EXPECT_EQ(caller, " whon!HXrf whov=25088 code=" + std::to_string(code) + " sess=0");
  char head[16];
  snprintf(head, sizeof head, "%x", static_cast<unsigned>(code));
  return head + line;
}

}  // namespace

void scripted_daemon::start() {
  connection_ = ipc_alloc(service, ipc_session_explicit(private_client_session()));
  ASSERT_EQ(ipc_receive(connection_, handle, this, IPC_MODE_THREAD, 5000), 0);
}

void scripted_daemon::stop() {
  ipc_free(std::exchange(connection_, nullptr));
}

std::vector<std::string> scripted_daemon::take_requests() {
  const std::lock_guard guard(lock_);
  return std::exchange(requests_, {});
}

int32_t scripted_daemon::handle(xp_obj *request, xp_obj *reply, uint32_t, uint32_t, void *context) {
  auto *self = static_cast<scripted_daemon *>(context);
  uint32_t type = 0;
  int32_t code = 0;
  EXPECT_EQ(ipc_msg_get_name(request, &type), 0);
  EXPECT_EQ(name_of(type), "APIC");
  EXPECT_EQ(ipc_msg_get_param_long(request, xp_code("code"), &code), 0);
  {
    const std::lock_guard guard(self->lock_);
    self->requests_.push_back(describe_request(ipc_msg_get_content_ptr(request), code));
  }
  const auto found = self->answers.find(static_cast<uint32_t>(code));
  const scripted_answer answer =
      found != self->answers.end() ? found->second : scripted_answer{.result = -1000, .records = {}};
  std::this_thread::sleep_for(answer.delay);
  ipc_msg_start_params(reply);
  if (answer.result) ipc_msg_set_param_long(reply, xp_code("rslt"), *answer.result);
  for (const scripted_record &record : answer.records) {
    if (record.number)
      ipc_msg_set_param_long(reply, record.name, *record.number);
    else
      ipc_msg_set_param(reply, record.name, xp_code("text"), record.text.data(),
                        static_cast<uint32_t>(record.text.size()));
  }
  ipc_msg_end_params(reply);
  return 0;
}

std::filesystem::path daemon_socket() {
  char name[18];
  snprintf(name, sizeof name, "48586361-%08X", private_client_session());
  return std::filesystem::path("/var/tmp/com.brindle.pipes") / name;
}

void make_socket_folder() {
  scripted_daemon first;
  first.start();
}

int listen_as_daemon() {
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  snprintf(address.sun_path, sizeof address.sun_path, "%s", daemon_socket().c_str());
  unlink(address.sun_path);
  if (bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
      listen(listener, 5) == 0)
    return listener;
  close(listener);
  return -1;
}

raw_daemon::raw_daemon(std::function<void(int)> serve)
    : listener_((make_socket_folder(), listen_as_daemon())), serve_(std::move(serve)) {
  EXPECT_GE(listener_, 0);
  thread_ = std::thread([this] {
    for (;;) {
      const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) return;
      serve_(client);
      close(client);
    }
  });
}

raw_daemon::~raw_daemon() {
  shutdown(listener_, SHUT_RDWR);  // ends the accept
  thread_.join();
  close(listener_);
  unlink(daemon_socket().c_str());
}
