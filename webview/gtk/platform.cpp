#include "webview/gtk/platform.h"

#include "webview/gtk/modern_engine.h"

namespace {

class gtk_platform final : public xp_engine_platform {
public:
  int version = 0;

  int os_major_version() const override { return version; }
  std::unique_ptr<xp_engine> make_modern(const xp_engine_config &config) override {
    return std::make_unique<xp_gtk_modern_engine>(config);
  }
  // There is no older engine on this platform yet.
  std::unique_ptr<xp_engine> make_legacy(const xp_engine_config & /*config*/) override { return nullptr; }
};

}  // namespace

xp_engine_platform *xp_gtk_engine_platform(int os_major_version) {
  static gtk_platform platform;
  platform.version = os_major_version;
  return &platform;
}
