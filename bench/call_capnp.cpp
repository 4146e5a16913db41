// Cap'n Proto RPC.

#include "call.capnp.h"
#include "call.h"

#include <capnp/ez-rpc.h>
#include <kj/async.h>

namespace {

class echo_server : public Echo::Server {
public:
  kj::Promise<void> echo(EchoContext context) override {
    context.getResults().setData(context.getParams().getData());
    return kj::READY_NOW;
  }
};

void serve(const std::string &place) {
  capnp::EzRpcServer server(kj::heap<echo_server>(), "unix:" + place);
  server.getPort().wait(server.getWaitScope());
  bench::ready(place);
  kj::NEVER_DONE.wait(server.getWaitScope());
}

class client : public bench::caller {
public:
  explicit client(const std::string &place) : rpc_("unix:" + place), echo_(rpc_.getMain<Echo>()) {}
  ~client() noexcept override = default;
  void call(const std::string &bytes) override {
    auto request = echo_.echoRequest();
    request.setData(capnp::Data::Reader(reinterpret_cast<const kj::byte *>(bytes.data()), bytes.size()));
    auto reply = request.send().wait(rpc_.getWaitScope());
    bench::need(reply.getData().size() == bytes.size(), "the reply");
  }

private:
  capnp::EzRpcClient rpc_;
  Echo::Client echo_;
};

}  // namespace

const bench::way bench::call_capnp = {
    .name = "capnp", .serve = serve, .connect = [](const std::string &place) -> std::unique_ptr<caller> {
      return std::make_unique<client>(place);
    }};
