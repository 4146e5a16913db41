#include "app/gtk/workspace.h"

#include "app/bundle.h"

#include <gio/gio.h>

bool cv_gtk_open_uri(const std::string &uri) {
  return g_app_info_launch_default_for_uri(uri.c_str(), nullptr, nullptr) != FALSE;
}

bool cv_gtk_open_bundle(const std::string &path) {
  std::string executable = cv_bundle_executable(path).string();
  if (executable.empty()) return false;
  char *arguments[] = {executable.data(), nullptr};
  // Its output is not ours: what the screenshot run prints must stay readable by programs.
  constexpr auto flags = static_cast<GSpawnFlags>(G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL);
  return g_spawn_async("/", arguments, nullptr, flags, nullptr, nullptr, nullptr, nullptr) != FALSE;
}
