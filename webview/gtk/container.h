// Where a view is put: the few kinds of widget that can hold it.

#ifndef XP_WEBVIEW_GTK_CONTAINER_H
#define XP_WEBVIEW_GTK_CONTAINER_H

#include <gtk/gtk.h>
#include <stdint.h>

// Puts `child` into `container`, filling it; in a GtkFixed at its origin. Nothing for another kind of widget.
void xp_gtk_container_add(GtkWidget *container, GtkWidget *child);

// Takes `child` out of the widget that holds it, if one does.
void xp_gtk_container_remove(GtkWidget *child);

// Sizes `child` where its container leaves that to it: in a GtkFixed. Elsewhere it fills the container, and a
// request would only keep the window from being made smaller.
void xp_gtk_container_size(GtkWidget *child, int64_t height, int64_t width);

#endif
