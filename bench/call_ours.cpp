#include "call.h"
#include "ipc/connection.h"
#include "ipc/message.h"
#include "ipc/session.h"
#include "standin/service.h"
#include "xp/object/ref.h"

#include <signal.h>
#include <stdlib.h>

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

// Threads that are started behind this leave the signal that ends the server to wait_for_end.
sigset_t hold_end() {
  sigset_t end;
  sigemptyset(&end);
  sigaddset(&end, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &end, nullptr);
  return end;
}

void wait_for_end(const std::string &place, const sigset_t &end) {
  bench::ready(place);
  int signal;
  sigwait(&end, &signal);
}

void serve(const std::string &place) {
  const sigset_t end = hold_end();
  xp::ref server = xp::ref::adopt(ipc_alloc(endpoint, session_of(place)));
  bench::need(ipc_receive(server.get(), answer, nullptr, IPC_MODE_THREAD, limit) == 0, "ipc_receive");
  wait_for_end(place, end);
}

// Message services lie below the private root of a run.
void use_root_of(const std::string &place) {
  setenv("CORVANE_ROOT", (place + ".root").c_str(), 1);
}

void serve_port(const std::string &place) {
  const sigset_t end = hold_end();
  use_root_of(place);
  standin_service service(session_of(place), answer, nullptr);
  bench::need(service.start().empty(), "standin_service");
  wait_for_end(place, end);
}

class client : public bench::caller {
public:
  using connector = int32_t (*)(xp_obj *c, uint32_t code, uint32_t ignored, int32_t msecs);
  client(const std::string &place, connector connect)
      : connection_(xp::ref::adopt(ipc_alloc(xp_code("clnt"), session_of(place)))) {
    bench::need(connect(connection_.get(), endpoint, 0, limit) == 0, "connecting");
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
      return std::make_unique<client>(place, ipc_connect);
    }};
const bench::way bench::call_port = {.name = "ours",
                                     .serve = serve_port,
                                     .connect = [](const std::string &place) -> std::unique_ptr<caller> {
                                       use_root_of(place);
                                       return std::make_unique<client>(place, ipc_connect_mach);
                                     },
                                     .packets = true};
