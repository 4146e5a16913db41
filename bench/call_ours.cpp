#include "call.h"
#include "ipc/connection.h"
#include "ipc/message.h"
#include "ipc/session.h"
#include "xp/object/ref.h"

#include <signal.h>

#include <functional>

namespace {

constexpr uint32_t endpoint = xp_code("bnch");
constexpr uint32_t echo = xp_code("echo");
constexpr uint32_t data = xp_code("data");
constexpr int32_t limit = 60000;  // ms

// A session number of this run's own keeps runs apart.
int32_t session_of(const std::string &place) {
  return static_cast<int32_t>(std::hash<std::string>()(place) & INT32_MAX);
}

int32_t answer(xp_obj *request, xp_obj *reply, uint32_t /*ptyp*/, uint32_t /*ptid*/, void * /*context*/) {
  uint32_t type, length;
  if (ipc_msg_get_info_param(request, data, &type, &length) != 0) return 0;
  ipc_msg_start_params(reply);
  ipc_msg_set_param(reply, data, xp_code("data"), ipc_msg_get_param_ptr(request, data), length);
  ipc_msg_end_params(reply);
  return 0;
}

void serve(const std::string &place) {
  sigset_t end;
  sigemptyset(&end);
  sigaddset(&end, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &end, nullptr);
  xp::ref server = xp::ref::adopt(ipc_alloc(endpoint, session_of(place)));
  bench::need(ipc_receive(server.get(), answer, nullptr, IPC_MODE_THREAD, limit) == 0, "ipc_receive");
  bench::ready(place);
  int signal;
  sigwait(&end, &signal);
}

class client : public bench::caller {
public:
  explicit client(const std::string &place)
      : connection_(xp::ref::adopt(ipc_alloc(xp_code("clnt"), session_of(place)))) {
    bench::need(ipc_connect(connection_.get(), endpoint, 0, limit) == 0, "ipc_connect");
  }
  void call(const std::string &bytes) override {
    xp::ref request = xp::ref::adopt(ipc_msg_alloc(echo));
    xp::ref reply = xp::ref::adopt(ipc_msg_alloc(0));
    ipc_msg_start_params(request.get());
    ipc_msg_set_param(request.get(), data, xp_code("data"), bytes.data(),
                      static_cast<uint32_t>(bytes.size()));
    ipc_msg_end_params(request.get());
    bench::need(ipc_call(connection_.get(), request.get(), reply.get()) == 0, "ipc_call");
    uint32_t type, length;
    ipc_msg_get_info_param(reply.get(), data, &type, &length);
    bench::need(length == bytes.size(), "the reply");
  }

private:
  xp::ref connection_;
};

}  // namespace

const bench::way bench::call_ours = {
    .name = "ours", .serve = serve, .connect = [](const std::string &place) -> std::unique_ptr<caller> {
      return std::make_unique<client>(place);
    }};
