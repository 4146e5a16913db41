// The settings window: a header bar that the page continues, and below it the room for the page.

#ifndef APP_GTK_WINDOW_H
#define APP_GTK_WINDOW_H

#include "app/desktop.h"

#include <adwaita.h>

#include <functional>
#include <string>

class gtk_settings_window {
public:
  gtk_settings_window() = default;
  gtk_settings_window(const gtk_settings_window &) = delete;
  gtk_settings_window &operator=(const gtk_settings_window &) = delete;
  ~gtk_settings_window() { close(); }

  // Makes the window, whose room for the page is `width` by `height`. `resized` is called when that room has
  // changed, `closed` when the person closes the window, which stays until close() takes it away.
  void make(AdwApplication *application, int width, int height, const std::string &title,
            std::function<void()> resized, std::function<void()> closed);
  void close();
  void present();

  // Null when there is no window.
  GtkWindow *window() const { return window_; }
  GtkWidget *room() const { return room_; }

  // The size of the room for the page: what was asked for until the window is on the screen.
  cv_rect content() const;

  // Header bar and room together.
  GtkWidget *sheet() const;

  // The window's own background in the present appearance.
  GdkRGBA colour() const;

private:
  static void surface_made(GtkWidget *window, gpointer self);
  static void surface_laid_out(GdkSurface *surface, int width, int height, gpointer self);
  static gboolean close_wanted(GtkWindow *window, gpointer self);
  void note_size();

  GtkWindow *window_ = nullptr;  // owned: GTK holds a window until it is destroyed
  GtkWidget *room_ = nullptr;
  int width_ = 0;
  int height_ = 0;
  guint pending_ = 0;  // a size notification that has not gone out yet
  std::function<void()> resized_;
  std::function<void()> closed_;
};

#endif
