// GDBus, peer to peer.

#include "call.h"

#include <gio/gio.h>
#include <stdio.h>

namespace {

constexpr char path[] = "/org/example/Echo";
constexpr char interface[] = "org.example.Echo";
constexpr char introspection[] =
    "<node><interface name='org.example.Echo'><method name='Echo'>"
    "<arg type='ay' direction='in'/><arg type='ay' direction='out'/></method></interface></node>";

template <typename T>
T *check(T *result, const GError *error) {
  if (result == nullptr) fprintf(stderr, "%s\n", error == nullptr ? "no result" : error->message);
  bench::need(result != nullptr, "GDBus");
  return result;
}

void echo(GDBusConnection * /*connection*/, const char * /*sender*/, const char * /*path*/,
          const char * /*interface*/, const char * /*method*/, GVariant *parameters,
          GDBusMethodInvocation *invocation, void * /*context*/) {
  g_dbus_method_invocation_return_value(invocation, parameters);
}

constexpr GDBusInterfaceVTable methods = {
    .method_call = echo, .get_property = nullptr, .set_property = nullptr, .padding = {}};

void end_connection(GDBusConnection *connection, gboolean /*remote*/, GError * /*error*/,
                    void * /*context*/) {
  g_object_unref(connection);
}

gboolean accept_connection(GDBusServer * /*server*/, GDBusConnection *connection, void *node) {
  g_object_ref(connection);
  g_signal_connect(connection, "closed", G_CALLBACK(end_connection), nullptr);
  GError *error = nullptr;
  g_dbus_connection_register_object(connection, path, static_cast<GDBusNodeInfo *>(node)->interfaces[0],
                                    &methods, nullptr, nullptr, &error);
  return TRUE;
}

void serve(const std::string &place) {
  GError *error = nullptr;
  GDBusNodeInfo *node = check(g_dbus_node_info_new_for_xml(introspection, &error), error);
  char *guid = g_dbus_generate_guid();
  GDBusServer *server = check(g_dbus_server_new_sync(("unix:path=" + place).c_str(), G_DBUS_SERVER_FLAGS_NONE,
                                                     guid, nullptr, nullptr, &error),
                              error);
  g_signal_connect(server, "new-connection", G_CALLBACK(accept_connection), node);
  g_dbus_server_start(server);
  bench::ready(place);
  g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}

class client : public bench::caller {
public:
  explicit client(const std::string &place) {
    GError *error = nullptr;
    connection_ = check(g_dbus_connection_new_for_address_sync(("unix:path=" + place).c_str(),
                                                               G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT,
                                                               nullptr, nullptr, &error),
                        error);
  }
  ~client() override {
    g_dbus_connection_close_sync(connection_, nullptr, nullptr);
    g_object_unref(connection_);
  }
  void call(const std::string &bytes) override {
    GError *error = nullptr;
    GVariant *data = g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1);
    GVariant *reply = check(g_dbus_connection_call_sync(connection_, nullptr, path, interface, "Echo",
                                                        g_variant_new_tuple(&data, 1), G_VARIANT_TYPE("(ay)"),
                                                        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error),
                            error);
    GVariant *returned = g_variant_get_child_value(reply, 0);
    bench::need(g_variant_get_size(returned) == bytes.size(), "the reply");
    g_variant_unref(returned);
    g_variant_unref(reply);
  }

private:
  GDBusConnection *connection_;
};

}  // namespace

const bench::way bench::call_gdbus = {
    .name = "GDBus", .serve = serve, .connect = [](const std::string &place) -> std::unique_ptr<caller> {
      return std::make_unique<client>(place);
    }};
