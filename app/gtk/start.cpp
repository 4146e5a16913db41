#include "app/gtk/start.h"

#include "app/gtk/main_queue.h"
#include "setup/resources.h"
#include "webview/gtk/platform.h"
#include "webview/webview.h"

namespace {

// What the page may load: its own files, and nothing that brings a foreign page into it, for any frame could
// call native code. Inline script and style stay allowed: localised words may bring markup of their own.
constexpr const char *page_policy =
    "default-src local: 'unsafe-inline'; img-src local: data:; frame-src 'none'; object-src 'none'; "
    "base-uri 'none'; form-action 'none'";

}  // namespace

void cv_gtk_start(cv_desktop &desktop, const std::filesystem::path &resources) {
  cv_gtk_serve_main_queue();
  xp_webview_setplatform(xp_gtk_engine_platform(desktop.os_major_version()));
  xp_webview_setpolicy(page_policy);
  cv_setup_setbundle(resources.c_str());
}
