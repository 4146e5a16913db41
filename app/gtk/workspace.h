// Starting other programs: always by a vector of arguments, never through a shell. Main thread only.

#ifndef APP_GTK_WORKSPACE_H
#define APP_GTK_WORKSPACE_H

#include <string>

// Hands the address to the desktop's handler for its scheme. False when there is none.
bool cv_gtk_open_uri(const std::string &uri);

// Starts the program of the bundle at `path`, detached from this one. False when there is none.
bool cv_gtk_open_bundle(const std::string &path);

#endif
