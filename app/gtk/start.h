// What is put together before the application runs: main queue, engines, the page's files and what it may
// load.

#ifndef APP_GTK_START_H
#define APP_GTK_START_H

#include "app/desktop.h"

#include <filesystem>

// Once per process, after GTK's own start and before CorvaneSettings launches.
void cv_gtk_start(cv_desktop &desktop, const std::filesystem::path &resources);

#endif
