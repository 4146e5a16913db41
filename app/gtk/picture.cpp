#include "app/gtk/picture.h"

#include <memory>
#include <utility>

namespace {

template <typename T>
using object = std::unique_ptr<T, decltype(&g_object_unref)>;
template <typename T>
object<T> adopt(T *pointer) {
  return object<T>(pointer, g_object_unref);
}

struct request {
  GtkWindow *window;
  std::string path;
  std::function<void(std::optional<std::string>)> done;
  gulong handler;
};

// What the window showed in the frame that has just been painted; null when that was nothing.
object<GdkTexture> texture_of(GtkWindow *window) {
  const auto paintable = adopt(gtk_widget_paintable_new(GTK_WIDGET(window)));
  const int width = gdk_paintable_get_intrinsic_width(paintable.get());
  const int height = gdk_paintable_get_intrinsic_height(paintable.get());
  GtkSnapshot *snapshot = gtk_snapshot_new();
  gdk_paintable_snapshot(paintable.get(), snapshot, width, height);
  GskRenderNode *node = gtk_snapshot_free_to_node(snapshot);
  if (node == nullptr) return adopt<GdkTexture>(nullptr);
  const graphene_rect_t bounds =
      GRAPHENE_RECT_INIT(0, 0, static_cast<float>(width), static_cast<float>(height));
  GskRenderer *renderer = gtk_native_get_renderer(GTK_NATIVE(window));
  auto texture = adopt(gsk_renderer_render_texture(renderer, node, &bounds));
  gsk_render_node_unref(node);
  return texture;
}

std::optional<std::string> write(GtkWindow *window, const std::string &path) {
  const auto texture = texture_of(window);
  if (!texture) return "the window has not been drawn";
  GBytes *png = gdk_texture_save_to_png_bytes(texture.get());
  gsize length = 0;
  const auto *bytes = static_cast<const gchar *>(g_bytes_get_data(png, &length));
  GError *error = nullptr;
  g_file_set_contents(path.c_str(), bytes, static_cast<gssize>(length), &error);
  g_bytes_unref(png);
  if (error == nullptr) return std::nullopt;
  std::string reason = error->message;
  g_error_free(error);
  return reason;
}

// A widget's picture exists only from the painting of a frame to the next change, so it is taken right here.
void painted(GdkFrameClock *clock, gpointer data) {
  auto *wanted = static_cast<request *>(data);
  const auto reason = write(wanted->window, wanted->path);
  const auto done = std::move(wanted->done);
  g_signal_handler_disconnect(clock, wanted->handler);
  done(reason);
}

}  // namespace

void cv_gtk_write_picture(GtkWindow *window, const std::string &path,
                          std::function<void(std::optional<std::string>)> done) {
  GdkFrameClock *clock = gtk_widget_get_frame_clock(GTK_WIDGET(window));
  if (clock == nullptr) return done("the window is not shown");
  auto *wanted = new request{.window = window, .path = path, .done = std::move(done), .handler = 0};
  wanted->handler = g_signal_connect_data(
      clock, "after-paint", G_CALLBACK(painted), wanted,
      [](gpointer data, GClosure *) { delete static_cast<request *>(data); }, static_cast<GConnectFlags>(0));
  gtk_widget_queue_draw(GTK_WIDGET(window));
  gdk_frame_clock_request_phase(clock, GDK_FRAME_CLOCK_PHASE_PAINT);
}
