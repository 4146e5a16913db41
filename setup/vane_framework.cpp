#include "setup/vane.h"
#include "xp/object/ref.h"
#include "xp/service/system_root.h"
#include "xp/string/string.h"

#include <dlfcn.h>

#include <atomic>

namespace {

// The executable of the framework bundle inside the client application.
constexpr const char *framework_path = "/Library/Corvane/Corvane.app/Contents/Frameworks/Vane.framework/Vane";

// One function of the library under its fixed name; absent ones answer CV_VANE_ABSENT.
template <typename... Arguments>
class function {
public:
  function(void *library, const char *name)
      : entry_(library == nullptr ? nullptr : reinterpret_cast<entry>(dlsym(library, name))) {}

  int16_t operator()(Arguments... arguments) const {
    return entry_ == nullptr ? CV_VANE_ABSENT : entry_(arguments...);
  }

private:
  using entry = int16_t (*)(Arguments...);
  entry entry_;
};

using zero_arg = cv_vane_zero;

class framework final : public cv_setup_vane {
public:
  explicit framework(void *library)
      : version_(library, "VaneVersion"),
        get_options_(library, "VaneGetOptions"),
        set_options_(library, "VaneSetOptions"),
        get_pref_data_(library, "VaneGetPrefData"),
        display_server_page_(library, "VaneDisplayServerPage"),
        logon_(library, "VaneLogon"),
        get_session_status_(library, "VaneGetSessionStatus"),
        authenticate_(library, "VaneAuthenticate") {}

  int16_t VaneVersion(uint16_t *version, zero_arg zero) override { return version_(version, zero); }
  int16_t VaneGetOptions(zero_arg zero, uint32_t *options, uint32_t *allowed) override {
    return get_options_(zero, options, allowed);
  }
  int16_t VaneSetOptions(zero_arg zero, uint32_t values, uint32_t mask) override {
    return set_options_(zero, values, mask);
  }
  int16_t VaneGetPrefData(zero_arg zero, uint32_t code, zero_arg zero2, uint32_t size, void *buffer,
                          zero_arg zero3) override {
    return get_pref_data_(zero, code, zero2, size, buffer, zero3);
  }
  int16_t VaneDisplayServerPage(zero_arg zero, uint32_t code) override {
    return display_server_page_(zero, code);
  }
  int16_t VaneLogon(zero_arg zero, zero_arg zero2, zero_arg zero3) override {
    return logon_(zero, zero2, zero3);
  }
  int16_t VaneGetSessionStatus(zero_arg zero, zero_arg zero2, zero_arg zero3, uint64_t *status) override {
    return get_session_status_(zero, zero2, zero3, status);
  }
  int16_t VaneAuthenticate(zero_arg zero) override { return authenticate_(zero); }

private:
  function<uint16_t *, zero_arg> version_;
  function<zero_arg, uint32_t *, uint32_t *> get_options_;
  function<zero_arg, uint32_t, uint32_t> set_options_;
  function<zero_arg, uint32_t, zero_arg, uint32_t, void *, zero_arg> get_pref_data_;
  function<zero_arg, uint32_t> display_server_page_;
  function<zero_arg, zero_arg, zero_arg> logon_;
  function<zero_arg, zero_arg, zero_arg, uint64_t *> get_session_status_;
  function<zero_arg> authenticate_;
};

// Made by the first thread that asks, and never destroyed: request threads may still run while the process
// ends.
cv_setup_vane *installed_framework() {
  static cv_setup_vane *const installed = [] {
    const xp::ref path = xp::ref::adopt(xp_root_path(framework_path));
    return cv_setup_loadvane(xp_str_getptr(path.get())).release();
  }();
  return installed;
}

std::atomic<cv_setup_vane *> current_vane = nullptr;

}  // namespace

std::unique_ptr<cv_setup_vane> cv_setup_loadvane(const char *path) {
  // A null path would give dlopen's handle of our own program.
  void *library = path == nullptr ? nullptr : dlopen(path, RTLD_NOW | RTLD_LOCAL);
  return std::make_unique<framework>(library);
}

void cv_setup_setvane(cv_setup_vane *vane) {
  current_vane.store(vane, std::memory_order_release);
}

cv_setup_vane *cv_setup_getvane() {
  cv_setup_vane *vane = current_vane.load(std::memory_order_acquire);
  return vane != nullptr ? vane : installed_framework();
}
