// Values of page script as plain values.

#ifndef XP_WEBVIEW_GTK_PAGE_VALUE_H
#define XP_WEBVIEW_GTK_PAGE_VALUE_H

#include "webview/engine.h"

#include <webkit/webkit.h>

// A value that a script returned.
xp_engine_value xp_gtk_page_value(JSCValue *value);

// A message that was posted to `handler`.
xp_engine_message xp_gtk_page_message(const char *handler, JSCValue *body);

#endif
