// Where the application's own resources lie. A build tree has the shape of an installation, so that one rule
// serves both: <prefix>/bin/corvane-settings and <prefix>/share/corvane-settings/Resources.

#ifndef APP_MAIN_BUNDLE_H
#define APP_MAIN_BUNDLE_H

#include <filesystem>

// The resource folder that belongs to an executable; empty when it is not there.
std::filesystem::path cv_resources_of(const std::filesystem::path &executable);

// That of the running program.
std::filesystem::path cv_main_resources();

#endif
