// What bench/call.cpp measures of each way to call another process: a server that answers every call with the
// bytes it was sent, and a client of it.

#ifndef BENCH_CALL_H
#define BENCH_CALL_H

#include <memory>
#include <string>

namespace bench {

// Ends the program with the reason when `good` is false.
void need(bool good, const char *what);

// Tells that the server at `place` takes connections.
void ready(const std::string &place);

// One connection of one client thread; the destructor closes it.
class caller {
public:
  caller() = default;
  caller(const caller &) = delete;
  caller &operator=(const caller &) = delete;
  virtual ~caller() = default;

  // Sends the bytes and checks that as many came back.
  virtual void call(const std::string &bytes) = 0;
};

// A way to call. `place` is a path of this run's own in an empty directory.
struct way {
  const char *name;
  void (*serve)(const std::string &place);  // in a process of its own, until that is ended
  std::unique_ptr<caller> (*connect)(const std::string &place);
  bool packets = false;  // one packet to and one fro: rows of their own
};

extern const way call_ours;
extern const way call_socket;
extern const way call_sd_bus;
extern const way call_dbus_daemon;
extern const way call_gdbus;
extern const way call_capnp;
extern const way call_port;
extern const way call_packet;

}  // namespace bench

#endif
