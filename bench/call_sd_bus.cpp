// sd-bus, peer to peer and over a private bus.

#include "call.h"

#include <errno.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>
#include <unistd.h>

namespace {

constexpr char path[] = "/org/example/Echo";
constexpr char interface[] = "org.example.Echo";
constexpr char name[] = "org.example.Echo";

void check(int result, const char *what) {
  if (result < 0) errno = -result;
  bench::need(result >= 0, what);
}

int echo(sd_bus_message *call, void * /*context*/, sd_bus_error * /*error*/) {
  const void *bytes;
  size_t size;
  check(sd_bus_message_read_array(call, 'y', &bytes, &size), "sd_bus_message_read_array");
  sd_bus_message *reply = nullptr;
  check(sd_bus_message_new_method_return(call, &reply), "sd_bus_message_new_method_return");
  check(sd_bus_message_append_array(reply, 'y', bytes, size), "sd_bus_message_append_array");
  int result = sd_bus_send(nullptr, reply, nullptr);
  sd_bus_message_unref(reply);
  return result;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
const sd_bus_vtable methods[] = {SD_BUS_VTABLE_START(0),
                                 SD_BUS_METHOD("Echo", "ay", "ay", echo, SD_BUS_VTABLE_UNPRIVILEGED),
                                 SD_BUS_VTABLE_END};
#pragma GCC diagnostic pop

void loop(sd_event *event, const std::string &place) {
  bench::ready(place);
  check(sd_event_loop(event), "sd_event_loop");
}

// --- Peer to peer ---

int end_connection(sd_bus_message *signal, void * /*context*/, sd_bus_error * /*error*/) {
  sd_bus *bus = sd_bus_message_get_bus(signal);
  sd_bus_detach_event(bus);
  sd_bus_unref(bus);
  return 0;
}

int accept_connection(sd_event_source *source, int listener, uint32_t /*events*/, void * /*context*/) {
  int s = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  bench::need(s >= 0, "accept");
  sd_id128_t id;
  sd_bus *bus = nullptr;
  check(sd_id128_randomize(&id), "sd_id128_randomize");
  check(sd_bus_new(&bus), "sd_bus_new");
  check(sd_bus_set_fd(bus, s, s), "sd_bus_set_fd");
  check(sd_bus_set_server(bus, 1, id), "sd_bus_set_server");
  check(sd_bus_start(bus), "sd_bus_start");
  check(sd_bus_attach_event(bus, sd_event_source_get_event(source), 0), "sd_bus_attach_event");
  check(sd_bus_add_object_vtable(bus, nullptr, path, interface, methods, nullptr),
        "sd_bus_add_object_vtable");
  check(sd_bus_match_signal(bus, nullptr, "org.freedesktop.DBus.Local", "/org/freedesktop/DBus/Local",
                            "org.freedesktop.DBus.Local", "Disconnected", end_connection, nullptr),
        "sd_bus_match_signal");
  return 0;
}

void serve(const std::string &place) {
  int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, place.data(), place.size());
  bench::need(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0, "bind");
  bench::need(listen(listener, SOMAXCONN) == 0, "listen");
  sd_event *event = nullptr;
  check(sd_event_default(&event), "sd_event_default");
  check(sd_event_add_io(event, nullptr, listener, EPOLLIN, accept_connection, nullptr), "sd_event_add_io");
  loop(event, place);
}

// --- Over a bus ---

sd_bus *open_bus(const std::string &place, bool over_bus) {
  sd_bus *bus = nullptr;
  check(sd_bus_new(&bus), "sd_bus_new");
  check(sd_bus_set_address(bus, ("unix:path=" + place).c_str()), "sd_bus_set_address");
  check(sd_bus_set_bus_client(bus, over_bus), "sd_bus_set_bus_client");
  check(sd_bus_start(bus), "sd_bus_start");
  return bus;
}

void serve_over_bus(const std::string &place) {
  if (fork() == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile",
           ("--address=unix:path=" + place).c_str(), nullptr);
    _exit(1);
  }
  for (int tries = 0; access(place.c_str(), F_OK) != 0 && tries < 5000; ++tries)
    usleep(1000);
  sd_event *event = nullptr;
  check(sd_event_default(&event), "sd_event_default");
  sd_bus *bus = open_bus(place, true);
  check(sd_bus_attach_event(bus, event, 0), "sd_bus_attach_event");
  check(sd_bus_add_object_vtable(bus, nullptr, path, interface, methods, nullptr),
        "sd_bus_add_object_vtable");
  check(sd_bus_request_name(bus, name, 0), "sd_bus_request_name");
  loop(event, place);
}

// --- The client of both ---

class client : public bench::caller {
public:
  client(const std::string &place, bool over_bus)
      : bus_(open_bus(place, over_bus)), destination_(over_bus ? name : nullptr) {}
  ~client() override { sd_bus_flush_close_unref(bus_); }
  void call(const std::string &bytes) override {
    sd_bus_message *request = nullptr, *reply = nullptr;
    check(sd_bus_message_new_method_call(bus_, &request, destination_, path, interface, "Echo"),
          "sd_bus_message_new_method_call");
    check(sd_bus_message_append_array(request, 'y', bytes.data(), bytes.size()),
          "sd_bus_message_append_array");
    check(sd_bus_call(bus_, request, 0, nullptr, &reply), "sd_bus_call");
    const void *returned;
    size_t size;
    check(sd_bus_message_read_array(reply, 'y', &returned, &size), "sd_bus_message_read_array");
    bench::need(size == bytes.size(), "the reply");
    sd_bus_message_unref(reply);
    sd_bus_message_unref(request);
  }

private:
  sd_bus *bus_;
  const char *destination_;
};

}  // namespace

const bench::way bench::call_sd_bus = {
    .name = "sd-bus", .serve = serve, .connect = [](const std::string &place) -> std::unique_ptr<caller> {
      return std::make_unique<client>(place, false);
    }};
const bench::way bench::call_dbus_daemon = {
    .name = "dbus-daemon",
    .serve = serve_over_bus,
    .connect = [](const std::string &place) -> std::unique_ptr<caller> {
      return std::make_unique<client>(place, true);
    }};
