#include "app/gtk/window.h"

#include <utility>

namespace {

// Below this the page is of no use.
constexpr int least_width = 360;
constexpr int least_height = 240;

GtkWidget *header_bar() {
  GtkWidget *bar = adw_header_bar_new();
  // The page has the window's own colour: without a line between them the two are one sheet.
  gtk_widget_add_css_class(bar, "flat");
  return bar;
}

}  // namespace

void gtk_settings_window::make(AdwApplication *application, int width, int height, const std::string &title,
                               std::function<void()> resized, std::function<void()> closed) {
  close();
  width_ = width;
  height_ = height;
  resized_ = std::move(resized);
  closed_ = std::move(closed);
  window_ = GTK_WINDOW(adw_application_window_new(GTK_APPLICATION(application)));
  gtk_window_set_title(window_, title.c_str());

  room_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_widget_set_vexpand(room_, TRUE);
  // The room asks for its size until the window is shown: whatever the desktop draws around it comes on top.
  gtk_widget_set_size_request(room_, width, height);

  GtkWidget *sheet = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_box_append(GTK_BOX(sheet), header_bar());
  gtk_box_append(GTK_BOX(sheet), room_);
  adw_application_window_set_content(ADW_APPLICATION_WINDOW(window_), sheet);

  g_signal_connect(window_, "close-request", G_CALLBACK(close_wanted), this);
  // After: the window's own handler makes the surface that ours looks at.
  g_signal_connect_after(window_, "realize", G_CALLBACK(surface_made), this);
}

void gtk_settings_window::surface_made(GtkWidget *window, gpointer self) {
  GdkSurface *surface = gtk_native_get_surface(GTK_NATIVE(window));
  g_signal_connect_after(surface, "layout", G_CALLBACK(surface_laid_out), self);
}

// The room's new size is told from an idle: resizing the page within the layout would start another one.
void gtk_settings_window::surface_laid_out(GdkSurface *, int, int, gpointer self) {
  auto *window = static_cast<gtk_settings_window *>(self);
  if (window->pending_ != 0) return;
  window->pending_ = g_idle_add_full(
      G_PRIORITY_HIGH_IDLE,
      [](gpointer data) -> gboolean {
        auto *settings = static_cast<gtk_settings_window *>(data);
        settings->pending_ = 0;
        settings->note_size();
        return G_SOURCE_REMOVE;
      },
      self, nullptr);
}

void gtk_settings_window::note_size() {
  if (window_ == nullptr || gtk_widget_get_width(room_) == 0) return;
  gtk_widget_set_size_request(room_, least_width, least_height);
  const int width = gtk_widget_get_width(room_);
  const int height = gtk_widget_get_height(room_);
  if (width == width_ && height == height_) return;
  width_ = width;
  height_ = height;
  resized_();
}

gboolean gtk_settings_window::close_wanted(GtkWindow *, gpointer self) {
  static_cast<gtk_settings_window *>(self)->closed_();
  return GDK_EVENT_STOP;
}

void gtk_settings_window::close() {
  if (window_ == nullptr) return;
  if (pending_ != 0) g_source_remove(std::exchange(pending_, 0));
  g_signal_handlers_disconnect_by_data(window_, this);
  GdkSurface *surface = gtk_native_get_surface(GTK_NATIVE(window_));
  if (surface != nullptr) g_signal_handlers_disconnect_by_data(surface, this);
  room_ = nullptr;
  gtk_window_destroy(std::exchange(window_, nullptr));
}

void gtk_settings_window::present() {
  if (window_ == nullptr) return;
  gtk_window_unminimize(window_);
  gtk_window_present(window_);
}

cv_rect gtk_settings_window::content() const {
  if (window_ == nullptr) return {};
  return {.x = 0, .y = 0, .width = static_cast<double>(width_), .height = static_cast<double>(height_)};
}

GtkWidget *gtk_settings_window::sheet() const {
  return gtk_widget_get_parent(room_);
}

GdkRGBA gtk_settings_window::colour() const {
  GdkRGBA colour = {};
  if (window_ == nullptr || !gtk_style_context_lookup_color(gtk_widget_get_style_context(GTK_WIDGET(window_)),
                                                            "window_bg_color", &colour)) {
    const bool dark = adw_style_manager_get_dark(adw_style_manager_get_default()) != FALSE;
    gdk_rgba_parse(&colour, dark ? "#242424" : "#fafafa");
  }
  return colour;
}
