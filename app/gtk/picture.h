// Pictures of a window, as PNG files. Main thread only.

#ifndef APP_GTK_PICTURE_H
#define APP_GTK_PICTURE_H

#include <gtk/gtk.h>

#include <functional>
#include <optional>
#include <string>

// Draws the window once more and writes what it then shows. `done` gets the reason why that failed, or
// nothing. It is not called when the window goes before.
void cv_gtk_write_picture(GtkWindow *window, const std::string &path,
                          std::function<void(std::optional<std::string>)> done);

#endif
