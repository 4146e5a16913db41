#include "setup/host.h"

#include "setup/values.h"
#include "xp/dict/dict.h"
#include "xp/service/main_queue.h"
#include "xp/string/string.h"

#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>

namespace {

// Request threads hold the lock shared while they are inside the host. The main thread alone writes
// `current_host` and therefore reads it without the lock: an opened pane may run the loop, and with it a new
// cv_setup_sethost.
std::shared_mutex host_lock;
cv_setup_host *current_host = nullptr;

void open_fda(void *) {
  if (current_host != nullptr) current_host->openFullDiskAccess();
}

void open_app(void *argument) {
  const std::unique_ptr<std::string> name(static_cast<std::string *>(argument));
  if (current_host != nullptr) current_host->openExternalApp(*name);
}

}  // namespace

void cv_setup_sethost(cv_setup_host *host) {
  const std::unique_lock guard(host_lock);
  current_host = host;
}

void cv_setup_native_osopenfda() {
  xp_main_post(open_fda, nullptr);
}

void cv_setup_native_osopenapp(xp_obj *name) {
  if (xp_type(name) != xp_str_type()) return;
  auto copy = std::make_unique<std::string>(xp_str_getptr(name), static_cast<size_t>(xp_str_length(name)));
  // Queued work owns the copy; work that was not taken never runs.
  if (xp_main_post(open_app, copy.get()) == 0) static_cast<void>(copy.release());
}

void cv_setup_native_oscapabilities(xp_obj *capabilities) {
  cv_setup_capabilities now;
  {
    const std::shared_lock guard(host_lock);
    if (current_host != nullptr) now = current_host->capabilities();
  }
  cv_setup_store_boolean(capabilities, "kv", now.kv);
  cv_setup_store_boolean(capabilities, "kcheck", now.kcheck);
  cv_setup_store_boolean(capabilities, "fda", now.fda);
}
