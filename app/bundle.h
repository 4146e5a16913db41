// Application bundles: folders NAME.app with Contents/MacOS/<executable>.

#ifndef APP_BUNDLE_H
#define APP_BUNDLE_H

#include <filesystem>

// The program that a bundle starts: the one that bears the bundle's name. Empty when there is no such regular
// file.
std::filesystem::path cv_bundle_executable(const std::filesystem::path &bundle);

#endif
