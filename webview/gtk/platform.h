// The engines over WebKitGTK 6.0 and GTK 4. What xp_webview_new takes as `window` is a GtkWindow (of which
// the view becomes the child) or a GtkBox, GtkOverlay or GtkFixed in one (to which it is added); the widget
// must outlive the view or drop it as GTK containers do. GTK must be initialised. Main thread.

#ifndef XP_WEBVIEW_GTK_PLATFORM_H
#define XP_WEBVIEW_GTK_PLATFORM_H

#include "webview/engine.h"

// The process's platform, reporting `os_major_version` as the operating system's generation. Hand it to
// xp_webview_setplatform.
xp_engine_platform *xp_gtk_engine_platform(int os_major_version);

#endif
