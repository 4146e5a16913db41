// The main queue over the GLib main context.

#ifndef APP_GTK_MAIN_QUEUE_H
#define APP_GTK_MAIN_QUEUE_H

// From now on posted work runs in GLib's default main context, in the order in which it was posted.
void cv_gtk_serve_main_queue();

#endif
