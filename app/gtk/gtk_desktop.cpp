#include "app/gtk/gtk_desktop.h"

#include "app/gtk/picture.h"
#include "app/gtk/workspace.h"
#include "webview/log.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

namespace {

constexpr int default_os_version = 13;
constexpr std::string_view settings_scheme = "x-apple.systempreferences:";

}  // namespace

gtk_desktop::gtk_desktop(const char *identifier, bool alone)
    : application_(
          adw_application_new(identifier, alone ? G_APPLICATION_NON_UNIQUE : G_APPLICATION_DEFAULT_FLAGS)) {}

gtk_desktop::~gtk_desktop() {
  g_signal_handlers_disconnect_by_data(adw_style_manager_get_default(), this);
  g_object_unref(application_);
}

int gtk_desktop::run(cv_desktop_delegate &delegate) {
  delegate_ = &delegate;
  connect();
  return g_application_run(G_APPLICATION(application_), 0, nullptr);
}

void gtk_desktop::connect() {
  const auto activated = +[](GApplication *, gpointer self) {
    auto *desktop = static_cast<gtk_desktop *>(self);
    if (std::exchange(desktop->launched_, true)) {
      desktop->delegate_->applicationShouldHandleReopen();
    } else {
      desktop->delegate_->applicationDidFinishLaunching();
    }
  };
  const auto ended = +[](GApplication *, gpointer self) {
    static_cast<gtk_desktop *>(self)->delegate_->applicationWillTerminate();
  };
  const auto recoloured = +[](AdwStyleManager *, GParamSpec *, gpointer self) {
    static_cast<gtk_desktop *>(self)->delegate_->effectiveAppearanceDidChange();
  };
  g_signal_connect(application_, "activate", G_CALLBACK(activated), this);
  g_signal_connect(application_, "shutdown", G_CALLBACK(ended), this);
  g_signal_connect(adw_style_manager_get_default(), "notify::dark", G_CALLBACK(recoloured), this);
}

int gtk_desktop::os_major_version() {
  const char *text = std::getenv("CORVANE_OS_VERSION");
  const int64_t version = text == nullptr ? 0 : std::strtol(text, nullptr, 10);
  return version > 0 && version < INT_MAX ? static_cast<int>(version) : default_os_version;
}

cv_rect gtk_desktop::main_screen() {
  auto *monitors = gdk_display_get_monitors(gdk_display_get_default());
  auto *monitor = static_cast<GdkMonitor *>(g_list_model_get_item(monitors, 0));
  if (monitor == nullptr) return {};
  GdkRectangle frame = {};
  gdk_monitor_get_geometry(monitor, &frame);
  g_object_unref(monitor);
  return {.x = static_cast<double>(frame.x),
          .y = static_cast<double>(frame.y),
          .width = static_cast<double>(frame.width),
          .height = static_cast<double>(frame.height)};
}

// The wished place is left to the compositor: GTK 4 has no call for it.
void *gtk_desktop::make_window(const cv_rect &content, const std::string &title) {
  window_.make(
      application_, static_cast<int>(content.width), static_cast<int>(content.height), title,
      [this] { delegate_->windowDidResize(); },
      [this] {
        if (delegate_->applicationShouldTerminateAfterLastWindowClosed()) terminate();
      });
  return window_.room();
}

cv_rect gtk_desktop::content_rect() {
  return window_.content();
}
uint32_t gtk_desktop::window_colour() {
  const GdkRGBA colour = window_.colour();
  const auto channel = [](float value) { return static_cast<uint32_t>(std::lround(value * 255.0F)) & 0xff; };
  return channel(colour.red) << 16 | channel(colour.green) << 8 | channel(colour.blue);
}
void gtk_desktop::bring_to_front() {
  window_.present();
}
void gtk_desktop::close_window() {
  window_.close();
}

bool gtk_desktop::open_uri(const std::string &uri) {
  if (cv_gtk_open_uri(uri)) return true;
  // Of the settings panes this desktop knows nothing: better to be told than to press a button in vain.
  if (uri.starts_with(settings_scheme)) alert("This desktop has no settings of that kind.", "OK");
  return false;
}

bool gtk_desktop::open_bundle(const std::string &path) {
  return cv_gtk_open_bundle(path);
}

void gtk_desktop::alert(const std::string &message, const std::string &button) {
  GtkWidget *dialog = adw_message_dialog_new(window_.window(), nullptr, message.c_str());
  adw_message_dialog_add_response(ADW_MESSAGE_DIALOG(dialog), "close", button.c_str());
  gtk_window_present(GTK_WINDOW(dialog));
}

void gtk_desktop::terminate() {
  g_application_quit(G_APPLICATION(application_));
}

void gtk_desktop::log(const std::string &line) {
  xp_wv_log(line);
}

void gtk_desktop::after(int64_t delay, std::function<void()> work) {
  const auto run = +[](gpointer data) -> gboolean {
    (*static_cast<std::function<void()> *>(data))();
    return G_SOURCE_REMOVE;
  };
  const auto release = +[](gpointer data) { delete static_cast<std::function<void()> *>(data); };
  g_timeout_add_full(G_PRIORITY_DEFAULT, static_cast<guint>(delay), run,
                     new std::function<void()>(std::move(work)), release);
}

void gtk_desktop::write_picture(const std::string &path,
                                std::function<void(std::optional<std::string>)> done) {
  if (window_.window() == nullptr) return done("there is no window");
  cv_gtk_write_picture(window_.sheet(), window_.colour(), path, std::move(done));
}
