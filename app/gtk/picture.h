// Pictures of what a window shows, as PNG files. Main thread only.

#ifndef APP_GTK_PICTURE_H
#define APP_GTK_PICTURE_H

#include <gtk/gtk.h>

#include <functional>
#include <optional>
#include <string>

// Draws `sheet` once more and writes what it then shows, on a ground of that colour: the window's content
// without the desktop's frame and shadow, which differ from one desktop to the next. `done` gets the reason
// why that failed, or nothing. It is not called when the window goes before.
void cv_gtk_write_picture(GtkWidget *sheet, const GdkRGBA &ground, const std::string &path,
                          std::function<void(std::optional<std::string>)> done);

#endif
