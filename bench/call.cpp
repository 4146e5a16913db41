// Calls from one process to another, in wall-clock time: one client on a kept connection, connecting for each
// call, and eight clients at once. The server is this program again, started once for each measurement.

#include "call.h"

#include <benchmark/benchmark.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

namespace bench {

void need(bool good, const char *what) {
  if (good) return;
  perror(what);
  exit(1);
}

void ready(const std::string &place) {
  FILE *file = fopen((place + ".ready").c_str(), "w");
  need(file != nullptr && fclose(file) == 0, "telling that the server is ready");
}

namespace {

constexpr const way *ways[] = {&call_ours,  &call_sd_bus, &call_socket, &call_dbus_daemon,
                               &call_gdbus, &call_capnp,  &call_port,   &call_packet};

// The most bytes that a message port takes back: 65,536 with its header and the records around them.
constexpr size_t port_room = 65536 - 28 - 12 - 16 - 4 * 16 - 12 - 12;

// The server's process and its directory.
class server {
public:
  explicit server(const way &w) : way_(&w) {
    need(mkdtemp(directory_) != nullptr, "mkdtemp");
    place_ = std::string(directory_) + "/s";
    process_ = fork();
    need(process_ >= 0, "fork");
    if (process_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      const std::string number = std::to_string(std::find(std::begin(ways), std::end(ways), &w) - ways);
      execl("/proc/self/exe", "corvane_bench_call", "--serve", number.c_str(), place_.c_str(), nullptr);
      _exit(1);
    }
    std::string ready = place_ + ".ready";
    for (int tries = 0; access(ready.c_str(), F_OK) != 0; ++tries) {
      need(tries < 5000 && waitpid(process_, nullptr, WNOHANG) == 0, "starting the server");
      usleep(1000);
    }
  }
  server(const server &) = delete;
  server &operator=(const server &) = delete;
  ~server() {
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
    std::filesystem::remove_all(directory_);
  }
  const std::string &place() const { return place_; }
  bool is_of(const way &w) const { return way_ == &w; }

private:
  const way *way_;
  char directory_[32] = "/tmp/corvane-call-XXXXXX";
  std::string place_;
  pid_t process_ = -1;
};

// The server that the last benchmark called; the repetitions of one benchmark share it.
std::unique_ptr<server> running;

template <const way &w>
void start(const benchmark::State & /*state*/) {
  if (running && running->is_of(w)) return;
  running = nullptr;
  running = std::make_unique<server>(w);
}

template <const way &w>
void kept(benchmark::State &state, size_t size) {
  const std::string bytes(size, 'x');
  std::unique_ptr<caller> c = w.connect(running->place());
  c->call(bytes);
  for (auto _ : state)
    c->call(bytes);
}

template <const way &w>
void connecting(benchmark::State &state, size_t size) {
  const std::string bytes(size, 'x');
  for (auto _ : state)
    w.connect(running->place())->call(bytes);
}

template <const way &w>
void add_rows() {
  const struct {
    const char *row;
    void (*work)(benchmark::State &state, size_t size);
    size_t size;
    int clients;
    bool packets;
  } rows[] = {
      {"call 200 B, kept", kept<w>, 200, 1, false},
      {"call 64 KB, kept", kept<w>, 65536, 1, false},
      {"call 200 B, connecting", connecting<w>, 200, 1, false},
      {"call 64 KB, connecting", connecting<w>, 65536, 1, false},
      {"call 200 B, kept, 8 clients", kept<w>, 200, 8, false},
      {"call 200 B, connecting, 8 clients", connecting<w>, 200, 8, false},
      {"port call 200 B, kept", kept<w>, 200, 1, true},
      {"port call 65,392 B, kept", kept<w>, port_room, 1, true},
      {"port call 200 B, connecting", connecting<w>, 200, 1, true},
  };
  for (const auto &row : rows) {
    if (row.packets != w.packets) continue;
    std::string name = std::string(row.row) + "/" + w.name;
    auto *b = benchmark::RegisterBenchmark(name.c_str(),
                                           [row](benchmark::State &state) { row.work(state, row.size); });
    b->Setup(start<w>)->UseRealTime()->Threads(row.clients);
  }
}

}  // namespace
}  // namespace bench

int main(int argc, char **argv) {
  if (argc == 4 && strcmp(argv[1], "--serve") == 0) {
    bench::ways[std::stoul(argv[2])]->serve(argv[3]);
    return 1;
  }
  signal(SIGPIPE, SIG_IGN);
  bench::add_rows<bench::call_ours>();
  bench::add_rows<bench::call_sd_bus>();
  bench::add_rows<bench::call_socket>();
  bench::add_rows<bench::call_dbus_daemon>();
  bench::add_rows<bench::call_gdbus>();
  bench::add_rows<bench::call_capnp>();
  bench::add_rows<bench::call_port>();
  bench::add_rows<bench::call_packet>();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  bench::running = nullptr;
  return 0;
}
