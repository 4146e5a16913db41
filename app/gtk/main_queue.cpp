#include "app/gtk/main_queue.h"

#include "xp/service/main_queue.h"

#include <glib.h>

#include <new>

namespace {

struct posted {
  xp_work work;
  void *argument;
};

gboolean run(gpointer data) {
  const auto *item = static_cast<posted *>(data);
  item->work(item->argument);
  return G_SOURCE_REMOVE;
}

// Sources of one priority run in the order in which they were added. The default priority, not that of idles:
// an answer to the page must not wait until the window has nothing left to draw.
int32_t post(xp_work work, void *argument) {
  auto *item = new (std::nothrow) posted{.work = work, .argument = argument};
  if (item == nullptr) return -1;
  g_idle_add_full(G_PRIORITY_DEFAULT, run, item, [](gpointer data) { delete static_cast<posted *>(data); });
  return 0;
}

}  // namespace

void cv_gtk_serve_main_queue() {
  xp_main_setposter(post);
}
