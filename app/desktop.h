// The seam to the desktop: verbs go down (cv_desktop), notifications come up (cv_desktop_delegate), plain
// values cross. A desktop translates and forwards; what happens at launch and at the end is decided by
// CorvaneSettings.
//
// Everything happens on the main thread. Texts are UTF-8, sizes points, times milliseconds. There is one
// window.

#ifndef APP_DESKTOP_H
#define APP_DESKTOP_H

#include <stdint.h>

#include <functional>
#include <optional>
#include <string>

struct cv_rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
};

// Notifications, named after the delegate methods that they are.
class cv_desktop_delegate {
public:
  virtual ~cv_desktop_delegate() = default;

  // Once, when the loop runs.
  virtual void applicationDidFinishLaunching() = 0;
  // Once, when the loop has ended; also when the launch failed.
  virtual void applicationWillTerminate() = 0;
  // The window was closed. True ends the application.
  virtual bool applicationShouldTerminateAfterLastWindowClosed() = 0;
  // The application was started or activated once more.
  virtual void applicationShouldHandleReopen() = 0;
  // The window's content has another size than before.
  virtual void windowDidResize() = 0;
  // The desktop went from light to dark or back.
  virtual void effectiveAppearanceDidChange() = 0;
};

class cv_desktop {
public:
  virtual ~cv_desktop() = default;

  // The operating system's generation, which decides about engine and settings panes.
  virtual int os_major_version() = 0;
  // The main screen's frame, all zero when there is no screen.
  virtual cv_rect main_screen() = 0;

  // Makes the window, not shown yet, and returns what xp_webview_new takes as its window; null when it cannot
  // be made. The place is a wish; the size is that of the content alone.
  virtual void *make_window(const cv_rect &content, const std::string &title) = 0;
  // Where the page goes within the window, all zero when there is no window.
  virtual cv_rect content_rect() = 0;
  // The colour behind the page in the present appearance, as 0xRRGGBB.
  virtual uint32_t window_colour() = 0;
  // Activates the application, restores the window when it is minimised and puts it in front.
  virtual void bring_to_front() = 0;
  // Takes the window away. From then on it notifies nobody.
  virtual void close_window() = 0;

  // Asks for whatever handles this address. False when nothing does.
  virtual bool open_uri(const std::string &uri) = 0;
  // Starts the application whose bundle is the folder `path`. False when there is none, or it does not start.
  virtual bool open_bundle(const std::string &path) = 0;
  // A message over the window, with one button.
  virtual void alert(const std::string &message, const std::string &button) = 0;

  // Ends the loop. Code after the call still runs.
  virtual void terminate() = 0;
  // One line for the system log.
  virtual void log(const std::string &line) = 0;

  // Runs `work` once, after at least `delay` milliseconds. Not run any more once the loop has ended.
  virtual void after(int64_t delay, std::function<void()> work) = 0;
  // Writes a picture of what the window shows, without the frame that the desktop draws, as a PNG file, once
  // it has been drawn the next time. `done` then gets the reason why that failed, or nothing.
  virtual void write_picture(const std::string &path,
                             std::function<void(std::optional<std::string>)> done) = 0;
};

#endif
