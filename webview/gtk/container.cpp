#include "webview/gtk/container.h"

#include <algorithm>
#include <limits>

namespace {

int to_pixels(int64_t points) {
  return static_cast<int>(std::clamp<int64_t>(points, 0, std::numeric_limits<int16_t>::max()));
}

}  // namespace

void xp_gtk_container_add(GtkWidget *container, GtkWidget *child) {
  gtk_widget_set_hexpand(child, TRUE);
  gtk_widget_set_vexpand(child, TRUE);
  if (GTK_IS_WINDOW(container)) {
    gtk_window_set_child(GTK_WINDOW(container), child);
  } else if (GTK_IS_BOX(container)) {
    gtk_box_append(GTK_BOX(container), child);
  } else if (GTK_IS_OVERLAY(container)) {
    gtk_overlay_set_child(GTK_OVERLAY(container), child);
  } else if (GTK_IS_FIXED(container)) {
    gtk_fixed_put(GTK_FIXED(container), child, 0, 0);
  }
}

void xp_gtk_container_remove(GtkWidget *child) {
  GtkWidget *container = gtk_widget_get_parent(child);
  if (GTK_IS_WINDOW(container)) {
    gtk_window_set_child(GTK_WINDOW(container), nullptr);
  } else if (GTK_IS_BOX(container)) {
    gtk_box_remove(GTK_BOX(container), child);
  } else if (GTK_IS_OVERLAY(container)) {
    gtk_overlay_set_child(GTK_OVERLAY(container), nullptr);
  } else if (GTK_IS_FIXED(container)) {
    gtk_fixed_remove(GTK_FIXED(container), child);
  }
}

void xp_gtk_container_size(GtkWidget *child, int64_t height, int64_t width) {
  if (GTK_IS_FIXED(gtk_widget_get_parent(child))) {
    gtk_widget_set_size_request(child, to_pixels(width), to_pixels(height));
  }
}
