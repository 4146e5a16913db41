// corvane-settings: the process. Reads the command line, prepares the toolkit and runs the application.

#include "app/corvane_settings.h"
#include "app/gtk/gtk_desktop.h"
#include "app/gtk/start.h"
#include "app/main_bundle.h"
#include "app/options.h"
#include "app/screenshot.h"

#include <adwaita.h>
#include <glib-unix.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace {

constexpr const char *application_identifier = "com.brindle.Corvane.Settings";

enum : int {
  exit_failed = 1,
  exit_usage = 2,
};

int fail(int status, const std::string &line) {
  std::fprintf(stderr, "corvane-settings: %s\n", line.c_str());
  return status;
}

// Some drivers leave the window blank or end the program. What the person has set already stands.
void prepare_graphics(bool safe) {
  std::error_code ignored;
  if (safe || std::filesystem::exists("/sys/module/nvidia", ignored)) {
    g_setenv("WEBKIT_DISABLE_DMABUF_RENDERER", "1", FALSE);
  }
  if (safe) {
    g_setenv("WEBKIT_DISABLE_COMPOSITING_MODE", "1", FALSE);
    g_setenv("GSK_RENDERER", "cairo", FALSE);
  }
}

// CorvaneSettings, with a screenshot taken after the launch when one is wanted.
class application : public CorvaneSettings {
public:
  application(cv_desktop &desktop, const cv_options &options)
      : CorvaneSettings(desktop), desktop_(desktop), path_(options.screenshot) {}

  void applicationDidFinishLaunching() override {
    CorvaneSettings::applicationDidFinishLaunching();
    if (path_.empty() || webview() == nullptr) return;
    screenshot_.emplace(desktop_, webview(), path_, [this](const cv_screenshot_result &result) {
      result_ = result;
      desktop_.terminate();
    });
    screenshot_->start();
  }

  // The exit status of the run; prints what a screenshot run has to say.
  int finish(int status) const {
    if (status != 0 || path_.empty()) return status;
    if (!result_.error.empty()) return fail(result_.status, result_.error);
    std::printf("%s\n", result_.received.c_str());
    return result_.status;
  }

private:
  cv_desktop &desktop_;
  std::string path_;
  std::optional<cv_screenshot> screenshot_;
  cv_screenshot_result result_{
      .status = CV_SCREENSHOT_FAILED, .received = {}, .error = "the window was closed"};
};

// SIGINT and SIGTERM end the application as closing its window does.
void end_on_signals(cv_desktop &desktop) {
  for (const int signal : {SIGINT, SIGTERM}) {
    g_unix_signal_add(
        signal,
        [](gpointer data) -> gboolean {
          static_cast<cv_desktop *>(data)->terminate();
          return G_SOURCE_CONTINUE;
        },
        &desktop);
  }
}

int run(const cv_options &options, const std::filesystem::path &resources) {
  gtk_desktop desktop(application_identifier, !options.screenshot.empty());
  cv_gtk_start(desktop, resources);
  gtk_window_set_default_icon_name(application_identifier);
  end_on_signals(desktop);
  application settings(desktop, options);
  return settings.finish(desktop.run(settings));
}

int start(std::span<const char *const> arguments) {
  if (cv_wants_extension(arguments)) {
    return fail(exit_failed, "this version cannot activate the system extension yet");
  }
  const cv_options options = cv_read_options(arguments);
  if (!options.error.empty()) return fail(exit_usage, options.error + " (--help lists the options)");
  if (options.help || options.version) {
    std::fputs(options.help ? cv_help_text().c_str() : "corvane-settings " CORVANE_VERSION "\n", stdout);
    return 0;
  }
  const auto resources = cv_main_resources();
  if (resources.empty()) return fail(exit_failed, "the page's files are missing: reinstall the program");
  prepare_graphics(options.safe_graphics);
  g_set_application_name("Sablewick");
  if (!gtk_init_check()) return fail(exit_failed, "there is no display to show the window on");
  return run(options, resources);
}

}  // namespace

int main(int argc, char **argv) {
  const int status = start({argv, static_cast<size_t>(argc)});
  std::fflush(nullptr);
  // Requests may still be waiting for the client on threads of their own: the process ends under them,
  // without taking apart what they use.
  std::quick_exit(status);
}
