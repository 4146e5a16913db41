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
  GtkWidget *sheet;
  GdkRGBA ground;
  std::string path;
  std::function<void(std::optional<std::string>)> done;
  gulong handler;
};

GskRenderNode *drawing_of(GtkWidget *sheet, const GdkRGBA &ground, const graphene_rect_t &bounds) {
  const auto paintable = adopt(gtk_widget_paintable_new(sheet));
  GtkSnapshot *snapshot = gtk_snapshot_new();
  gtk_snapshot_append_color(snapshot, &ground, &bounds);
  gdk_paintable_snapshot(paintable.get(), snapshot, bounds.size.width, bounds.size.height);
  return gtk_snapshot_free_to_node(snapshot);
}

// What the sheet showed in the frame that has just been painted.
object<GdkTexture> texture_of(GtkWidget *sheet, const GdkRGBA &ground) {
  const auto width = static_cast<float>(gtk_widget_get_width(sheet));
  const auto height = static_cast<float>(gtk_widget_get_height(sheet));
  if (width < 1 || height < 1) return adopt<GdkTexture>(nullptr);
  graphene_rect_t bounds;
  graphene_rect_init(&bounds, 0, 0, width, height);
  GskRenderNode *node = drawing_of(sheet, ground, bounds);
  GskRenderer *renderer = gtk_native_get_renderer(gtk_widget_get_native(sheet));
  auto texture = adopt(gsk_renderer_render_texture(renderer, node, &bounds));
  gsk_render_node_unref(node);
  return texture;
}

std::optional<std::string> write(GtkWidget *sheet, const GdkRGBA &ground, const std::string &path) {
  const auto texture = texture_of(sheet, ground);
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
  const auto reason = write(wanted->sheet, wanted->ground, wanted->path);
  const auto done = std::move(wanted->done);
  g_signal_handler_disconnect(clock, wanted->handler);
  done(reason);
}

}  // namespace

void cv_gtk_write_picture(GtkWidget *sheet, const GdkRGBA &ground, const std::string &path,
                          std::function<void(std::optional<std::string>)> done) {
  GdkFrameClock *clock = gtk_widget_get_frame_clock(sheet);
  if (clock == nullptr) return done("the window is not shown");
  auto *wanted =
      new request{.sheet = sheet, .ground = ground, .path = path, .done = std::move(done), .handler = 0};
  wanted->handler = g_signal_connect_data(
      clock, "after-paint", G_CALLBACK(painted), wanted,
      [](gpointer data, GClosure *) { delete static_cast<request *>(data); }, static_cast<GConnectFlags>(0));
  gtk_widget_queue_draw(sheet);
  gdk_frame_clock_request_phase(clock, GDK_FRAME_CLOCK_PHASE_PAINT);
}
