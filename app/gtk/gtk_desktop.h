// The desktop over GTK 4 and libadwaita. It runs the application's loop and hands notifications to its
// delegate. GTK must be initialised. Main thread only.

#ifndef APP_GTK_GTK_DESKTOP_H
#define APP_GTK_GTK_DESKTOP_H

#include "app/desktop.h"
#include "app/gtk/window.h"

#include <adwaita.h>

class gtk_desktop : public cv_desktop {
public:
  // A second process with the same identifier only activates the first, unless `alone` keeps this one to
  // itself.
  gtk_desktop(const char *identifier, bool alone);
  ~gtk_desktop() override;
  gtk_desktop(const gtk_desktop &) = delete;
  gtk_desktop &operator=(const gtk_desktop &) = delete;

  // Runs the loop until the application ends. The delegate is borrowed. The loop's exit status.
  int run(cv_desktop_delegate &delegate);

  int os_major_version() override;
  cv_rect main_screen() override;
  void *make_window(const cv_rect &content, const std::string &title) override;
  cv_rect content_rect() override;
  uint32_t window_colour() override;
  void bring_to_front() override;
  void close_window() override;
  bool open_uri(const std::string &uri) override;
  bool open_bundle(const std::string &path) override;
  void alert(const std::string &message, const std::string &button) override;
  void terminate() override;
  void log(const std::string &line) override;
  void after(int64_t delay, std::function<void()> work) override;
  void write_picture(const std::string &path, std::function<void(std::optional<std::string>)> done) override;

private:
  void connect();

  AdwApplication *application_;
  cv_desktop_delegate *delegate_ = nullptr;
  bool launched_ = false;
  gtk_settings_window window_;
};

#endif
